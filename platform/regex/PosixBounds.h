#pragma once

#include <string_view>

#include "platform/orb/base/Types.h"

namespace Routing::AsPath {

/// Whether the system's engine can be given an extended regular expression, from whomever it comes.
/// It recurses for each group, ends the process where these nest too deep, and bounds neither the
/// time nor the memory that it takes: one more "+" doubles both. True for what takes some 20 MB and
/// a fraction of a second, as far as that can be estimated: for up to a thousand plain
/// alternatives, groups and repetitions nested up to 500 deep, and, where a part that may take
/// nothing is repeated, 40 characters and operators, counted as often as they are repeated, and two
/// anchors or back-references. Of what is no expression, it is true as far as that is read. Throws
/// std::bad_alloc.
ROUTEPOLICY_EXPORT bool isWithinPosixBounds(std::string_view expression);

}  // namespace Routing::AsPath
