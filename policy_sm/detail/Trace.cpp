#include "policy_sm/detail/Trace.h"

namespace Routing::RouteMap {

Orb::TraceFacility const& traceSm() {
  static Orb::TraceFacility const& facility = Orb::traceFacility("RouteMapSm");
  return facility;
}

}  // namespace Routing::RouteMap
