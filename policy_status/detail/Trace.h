#pragma once

#include "platform/orb/base/Trace.h"

namespace Routing::RouteMap {

/// The compiled lists: level 6 for each entry that is put in, taken out or refused, level 8 for
/// each use of a POSIX expression.
ORB_TRACE_FACILITY(traceStatusType, "RouteMapStatusType");

}  // namespace Routing::RouteMap
