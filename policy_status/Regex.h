#pragma once

#include <regex.h>

#include "platform/orb/base/Types.h"

namespace Routing::RouteMap {

/// A regular expression of the system's own engine, without sub-matches: for code that needs no
/// counted object.
class ROUTEPOLICY_EXPORT Regex {
 public:
  Regex() = default;
  Regex(Regex const&) = delete;
  Regex& operator=(Regex const&) = delete;
  ~Regex();

  /// Compiles a pattern in the place of the one before, which goes first. `flags` are those of
  /// regcomp(), to which REG_NOSUB is added. 0, or the error of regcomp().
  int compile(char const* pattern, int flags);
  /// The same, of an extended regular expression.
  int compile(char const* pattern) { return compile(pattern, REG_EXTENDED); }
  /// 0 when the pattern matches, else REG_NOMATCH, also when the last compile() failed. REQUIRES:
  /// compile() was called; a fatal assertion otherwise.
  int execute(char const* text) const;

 private:
  regex_t regex_{};  // zeroed unless the last compile() succeeded: regfree() may be called on it
  bool compiled_ = false;
  bool isValid_ = false;
};

}  // namespace Routing::RouteMap
