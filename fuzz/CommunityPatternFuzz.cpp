#include <regex.h>

#include <string>

#include "fuzz/Input.h"
#include "platform/orb/base/Error.h"
#include "platform/regex/PosixBounds.h"

// The expressions of community lists, which the system's engine reads as they are. What is within
// the bounds compiles or is refused, and is executed, without harm to the process.

FUZZ_MOST_BYTES(64);

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const expression(Fuzz::textOf(data, size));
  if (expression.find('\0') != expression.npos) return 0;
  if (!Routing::AsPath::isWithinPosixBounds(expression)) return 0;
  regex_t compiled;
  if (regcomp(&compiled, expression.c_str(), REG_EXTENDED | REG_NOSUB) != 0) return 0;
  for (char const* const text : {"", "65000:100 no-export", "rt 192.0.2.1:100"}) {
    int const result = regexec(&compiled, text, 0, nullptr, 0);
    ORB_ASSERT(result == 0 || result == REG_NOMATCH);
  }
  regfree(&compiled);
  return 0;
}
