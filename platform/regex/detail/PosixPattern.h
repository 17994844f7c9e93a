#pragma once

#include <string>

#include "platform/regex/detail/PatternTree.h"

/// From a pattern to an extended regular expression for the system's engine.
///
/// "_" is a delimiter, the start or the end of the text: (^|[ ,{}()]|$). The system's engine loses
/// an anchor inside a group that it repeats: ^[0-9]+(^|[ ]|$)... in a repeated group matches in the
/// middle of a number. So an anchor is written only where it can hold:
///   1. Behind something that takes a character, no start; in front of such a thing, no end.
///   2. A repetition whose first or last round alone can touch an end of the text has that round
///      written apart: (65001_)+ becomes (65001[ ,{}()])*65001([ ,{}()]|$). This is sound when a
///      round takes a character at least.
/// What is left is an anchor in a repeated part that may take nothing, or that is written as such;
/// these patterns are outside the part that both engines share.
namespace Routing::AsPath::detail {

struct PosixExpression {
  std::string text;
  bool hasLoopedAnchor = false;  ///< an anchor stands in a repeated group
};

/// Throws Refused for what the POSIX engine does not read, and for what would cost the system's
/// compiler more than about 1 MB or 10 ms.
PosixExpression posixExpression(PatternTree const& tree);

}  // namespace Routing::AsPath::detail
