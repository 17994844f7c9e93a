#pragma once

#include "platform/orb/base/Trace.h"

namespace Routing::RouteMap {

/// The trace facility "RouteMapSm" of the state machines: level 8 on entry to every handler, lower
/// levels for notable events.
Orb::TraceFacility const& traceSm();

}  // namespace Routing::RouteMap
