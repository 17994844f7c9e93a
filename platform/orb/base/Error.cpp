#include "platform/orb/base/Error.h"

#include <cstdio>
#include <cstdlib>

namespace Orb {

RangeException::~RangeException() = default;

ParseException::ParseException(std::string attribute, std::string const& reason)
    : RangeException(attribute.empty() ? reason : attribute + ": " + reason),
      attribute_(std::move(attribute)),
      reason_(reason) {}

ParseException::~ParseException() = default;

std::string nullParameterMessage(std::string_view className, std::string_view attribute) {
  std::string message = "null _";
  message.append(attribute).append(" parameter to mutator for ").append(className);
  message.append("::").append(attribute).append(" not allowed\"");
  return message;
}

void assertionFailed(char const* text, char const* file, int line) {
  std::fprintf(stderr, "%s:%d: assertion failed: %s\n", file, line, text);
  std::fflush(stderr);
  std::abort();
}

}  // namespace Orb
