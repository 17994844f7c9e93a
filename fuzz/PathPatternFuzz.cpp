#include <regex.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/orb/base/Error.h"
#include "platform/regex/PathDfa.h"
#include "platform/regex/PathSet.h"
#include "platform/regex/PathText.h"
#include "platform/regex/PatternFault.h"
#include "platform/regex/RegexHelper.h"
#include "tests/support/PathModel.h"

// AS-path patterns. The input is read twice. As a pattern: what the checks say is what the engines
// do, and in their common part they say the same. As choices that grow a pattern with a slow
// matcher: the DFA engine and a set of patterns say of short paths what that says.

namespace {

using namespace Routing::AsPath;
using Path = std::vector<Orb::U32>;

std::vector<Path> const& paths() {
  static std::vector<Path> const all = [] {
    std::vector<Path> made{{}};
    for (std::size_t i = 0; i < made.size() && made[i].size() < 2; ++i) {
      for (Orb::U32 const number : {1U, 2U, 12U, 15U, 121U}) {
        made.push_back(made[i]);
        made.back().push_back(number);
      }
    }
    return made;
  }();
  return all;
}

bool matches(rd_dfa const* dfa, Path const& path) {
  return rd_match(dfa, path.data(), path.size()) != 0;
}

void checkText(std::string const& pattern) {
  rd_dfa const* const dfa = rd_parse_dfa(pattern.c_str());
  ORB_ASSERT(!dfa == dfaFault(pattern).has_value());
  char* const translated = asmatch_posix_regex_cli_to_gated(pattern.c_str());
  ORB_ASSERT(!translated == posixFault(pattern).has_value());
  regex_t posix;
  if (translated) ORB_ASSERT(regcomp(&posix, translated, REG_EXTENDED | REG_NOSUB) == 0);
  if (isCommonPattern(pattern)) {
    ORB_ASSERT(dfa && translated);
    std::string text;
    for (Path const& path : paths()) {
      pathText(text, path, Notation::asplain);
      bool const isMatch = regexec(&posix, text.c_str(), 0, nullptr, 0) == 0;
      ORB_ASSERT(isMatch == matches(dfa, path));
    }
  }
  if (translated) regfree(&posix);
  asmatch_free_regex(translated);
  rd_free_dfa(dfa);
}

void checkModel(std::uint8_t const* data, std::size_t size) {
  std::size_t at = 0;
  // An input that is at its end chooses what ends a pattern.
  TestSupport::PathModel const model(
      [&](unsigned below) { return at < size ? data[at++] % below : 0U; }, size % 2 == 1);
  rd_dfa const* const dfa = rd_parse_dfa(model.text().c_str());
  PathSetBuilder builder;
  bool const isAdded = builder.add(model.text(), kAnyOrigin);
  ORB_ASSERT(!dfa == dfaFault(model.text()).has_value());
  if (!dfa || !isAdded) return rd_free_dfa(dfa);
  while (!builder.work([] { return true; })) {
  }
  auto const set = builder.take();
  ORB_ASSERT(set);
  for (Path const& path : paths()) {
    bool const wanted = model.matches(path);
    ORB_ASSERT(matches(dfa, path) == wanted);
    ORB_ASSERT((set->firstMatch(path, OriginClass::igp) == 0) == wanted);
  }
  rd_free_dfa(dfa);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size > 200) return 0;
  std::string const pattern(reinterpret_cast<char const*>(data), size);
  if (pattern.find('\0') == pattern.npos) checkText(pattern);
  if (size <= 60) checkModel(data, size);
  return 0;
}
