#pragma once

#include "platform/regex/detail/PathPattern.h"

namespace Routing::AsPath::detail {

/// Whether the pattern says the same of a path's numbers and of its text, as far as what stands
/// beside what decides that: each number has exactly one separator, or an anchor, on either side.
bool isParted(PathPattern const& pattern);

}  // namespace Routing::AsPath::detail
