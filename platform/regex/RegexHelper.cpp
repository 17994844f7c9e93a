#include "platform/regex/RegexHelper.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/regex/PatternFault.h"
#include "platform/regex/detail/CommonPart.h"
#include "platform/regex/detail/Dfa.h"
#include "platform/regex/detail/PosixPattern.h"
#include "platform/regex/detail/Scratch.h"

namespace Routing::AsPath {

using detail::PathPattern;
using detail::PatternTree;
using detail::Refused;

namespace {

template <class Read>
std::optional<PatternFault> faultOf(Read const& read) {
  try {
    read();
    return std::nullopt;
  } catch (Refused const& refused) {
    return refused.fault;
  }
}

/// A copy that asmatch_free_regex() frees.
char* copied(std::string_view text) {
  auto* const copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (!copy) throw std::bad_alloc();
  std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

}  // namespace

std::optional<PatternFault> dfaFault(std::string_view pattern) {
  return faultOf([&] { detail::Dfa::compiled(pattern); });
}

std::optional<PatternFault> posixFault(std::string_view pattern) {
  return faultOf([&] {
    detail::Scratch scratch;
    detail::posixExpression(PatternTree(pattern, scratch.memory()));
  });
}

bool isCommonPattern(std::string_view pattern) {
  try {
    detail::Scratch scratch;
    PatternTree const tree(pattern, scratch.memory());
    PathPattern const path(tree);
    if (detail::posixExpression(tree).hasLoopedAnchor || !detail::isParted(path)) return false;
    detail::Dfa::compiled(pattern);
    return true;
  } catch (Refused const&) {
    return false;
  }
}

}  // namespace Routing::AsPath

namespace Routing::RouteMap {

bool Helper::validatePosixRegex(Orb::String const& pattern) const {
  return !AsPath::posixFault(pattern);
}

bool Helper::validateDfaRegex(Orb::String const& pattern) const {
  return !AsPath::dfaFault(pattern);
}

Orb::Ptr<Helper> helperFactory() { return Orb::make<Helper>(); }

}  // namespace Routing::RouteMap

char* asmatch_posix_regex_cli_to_gated(char const* pattern) {
  using namespace Routing::AsPath;
  try {
    detail::Scratch scratch;
    return copied(detail::posixExpression(PatternTree(pattern, scratch.memory())).text);
  } catch (Refused const&) {
    return nullptr;
  }
}

char* asmatch_dfa_regex_cli_to_gated(char const* pattern) {
  using namespace Routing::AsPath;
  try {
    detail::Scratch scratch;
    PatternTree const tree(pattern, scratch.memory());
    PathPattern const valid(tree);
    return copied(pattern);
  } catch (Refused const&) {
    return nullptr;
  }
}

void asmatch_free_regex(char* translated) noexcept { std::free(translated); }
