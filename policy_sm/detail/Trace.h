#pragma once

#include "platform/orb/base/Trace.h"

namespace Routing::RouteMap {

/// The state machines: level 8 on entry to every handler, lower levels for notable events.
ORB_TRACE_FACILITY(traceSm, "RouteMapSm");

}  // namespace Routing::RouteMap
