#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/orb/base/Types.h"

/// The patterns of AS-path lists. Two engines read them: one over AS numbers, a DFA, and one over
/// the path's text, the system's own regular expressions. docs/as-path-patterns.md defines both
/// languages and the part that they share.
namespace Routing::AsPath {

/// Why an engine refuses a pattern.
struct PatternFault {
  std::size_t place = 0;  ///< of the character at fault, from 0; the pattern's length for its end
  std::string reason;
};

/// What the engine says to a pattern: null when it accepts it. Takes at most 10 ms, whatever the
/// pattern is.
ROUTEPOLICY_EXPORT std::optional<PatternFault> dfaFault(std::string_view pattern);
ROUTEPOLICY_EXPORT std::optional<PatternFault> posixFault(std::string_view pattern);

/// Whether the pattern is in the part that both engines share: they accept it, and say the same of
/// every path in asplain notation. False for some patterns of which that holds as well.
ROUTEPOLICY_EXPORT bool isCommonPattern(std::string_view pattern);

}  // namespace Routing::AsPath
