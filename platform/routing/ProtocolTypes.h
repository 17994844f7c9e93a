#pragma once

#include "platform/orb/base/Enum.h"
#include "platform/orb/base/Types.h"

/// Attribute types of the routing protocols that policy can set.
namespace Routing {

namespace Ospf {

/// The two types of external metric (RFC 2328, section 2.3).
ORB_ENUM(OspfExtMetricType, "Routing::Ospf::OspfExtMetricType", ospfExtMetricType1 = 1,
         ospfExtMetricType2 = 2);

}  // namespace Ospf

namespace Isis {

/// The levels of routing (ISO 10589; RFC 1195).
ORB_ENUM(Level, "Routing::Isis::Level", level1 = 1, level2 = 2, level1And2 = 3);

}  // namespace Isis
}  // namespace Routing

namespace Vrf::VrfIdMap {

/// The number that the system has given to a VRF (a routing and forwarding instance, RFC 4364).
using VrfId = Orb::U32;

}  // namespace Vrf::VrfIdMap
