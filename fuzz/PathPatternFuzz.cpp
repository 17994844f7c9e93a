#include <regex.h>

#include <string>
#include <vector>

#include "fuzz/Input.h"
#include "platform/orb/base/Error.h"
#include "platform/regex/PathDfa.h"
#include "platform/regex/PathText.h"
#include "platform/regex/PatternFault.h"
#include "platform/regex/RegexHelper.h"

// AS-path patterns: what the checks say is what the engines do, and in their common part they say
// the same of a path. PathModelFuzz holds the engines to a model.

namespace {

using namespace Routing::AsPath;
using Path = std::vector<Orb::U32>;

/// A path of up to three short numbers that follows from the pattern.
Path pathFor(std::string const& pattern) {
  constexpr Orb::U32 kNumbers[] = {1, 2, 12, 15, 121, 65001};
  std::size_t choice = Fuzz::chosen(pattern, 4 * 6 * 6 * 6);
  Path path(choice % 4);
  choice /= 4;
  for (Orb::U32& number : path) {
    number = kNumbers[choice % 6];
    choice /= 6;
  }
  return path;
}

void checkCommon(rd_dfa const* dfa, char const* translated, Path const& path) {
  regex_t posix;
  ORB_ASSERT(regcomp(&posix, translated, REG_EXTENDED | REG_NOSUB) == 0);
  std::string text;
  pathText(text, path, Notation::asplain);
  bool const isMatch = regexec(&posix, text.c_str(), 0, nullptr, 0) == 0;
  regfree(&posix);
  ORB_ASSERT(isMatch == (rd_match(dfa, path.data(), path.size()) != 0));
}

}  // namespace

FUZZ_MOST_BYTES(64);

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const pattern(Fuzz::textOf(data, size));
  if (pattern.find('\0') != pattern.npos) return 0;
  rd_dfa const* const dfa = rd_parse_dfa(pattern.c_str());
  ORB_ASSERT(!dfa == dfaFault(pattern).has_value());
  char* const translated = asmatch_posix_regex_cli_to_gated(pattern.c_str());
  ORB_ASSERT(!translated == posixFault(pattern).has_value());
  if (isCommonPattern(pattern)) {
    ORB_ASSERT(dfa && translated);
    checkCommon(dfa, translated, pathFor(pattern));
  } else if (translated) {
    regex_t posix;
    ORB_ASSERT(regcomp(&posix, translated, REG_EXTENDED | REG_NOSUB) == 0);
    regfree(&posix);
  }
  asmatch_free_regex(translated);
  rd_free_dfa(dfa);
  return 0;
}
