#include "policy_status/Regex.h"

#include "platform/orb/base/Error.h"

namespace Routing::RouteMap {

Regex::~Regex() {
  if (compiled_) regfree(&regex_);
}

int Regex::compile(char const* pattern, int flags) {
  if (compiled_) regfree(&regex_);
  compiled_ = true;
  regex_ = {};
  int const result = regcomp(&regex_, pattern, flags | REG_NOSUB);
  isValid_ = result == 0;
  // What a failed regcomp() leaves behind is undefined.
  if (!isValid_) regex_ = {};
  return result;
}

int Regex::execute(char const* text) const {
  bool const compiled = compiled_;
  ORB_ASSERT(compiled);
  return isValid_ ? regexec(&regex_, text, 0, nullptr, 0) : REG_NOMATCH;
}

}  // namespace Routing::RouteMap
