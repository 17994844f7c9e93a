#pragma once

#include "platform/orb/base/Trace.h"

namespace Routing::RouteMap {

/// The trace facility "RouteMapStatusType" of the compiled lists.
Orb::TraceFacility const& traceStatusType();

}  // namespace Routing::RouteMap
