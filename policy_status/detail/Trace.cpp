#include "policy_status/detail/Trace.h"

namespace Routing::RouteMap {

Orb::TraceFacility const& traceStatusType() {
  static Orb::TraceFacility const& facility = Orb::traceFacility("RouteMapStatusType");
  return facility;
}

}  // namespace Routing::RouteMap
