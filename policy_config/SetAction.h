#pragma once

#include "platform/ipa/Address.h"
#include "platform/orb/base/Enum.h"
#include "platform/orb/base/Value.h"

/// What the set actions of a route map are made of. The numbers of all enumerations are stored:
/// they never change.
namespace Routing::RouteMap {

/// The actions, by name.
ORB_ENUM(SetOption, "Routing::RouteMap::SetOption", setAsPathPrependLastAs = 0,
         setAsPathPrepend = 1, setNextHop = 2, setIpv6NextHop = 3, setLocalPref = 4, setWeight = 5,
         setMetric = 6, setMetricType = 7, setOrigin = 8, setDistance = 9, setTag = 10,
         setCommunityAddReplace = 11, setCommunityDelete = 12, setExtCommunity = 13,
         setContinueSeq = 14, setNextHopPeerAddr = 15, setIpv6NextHopPeerAddr = 16,
         setNextHopUnchanged = 17, setIpv6NextHopUnchanged = 18, setEvpnNextHopUnchanged = 19,
         setSegmentIndex = 20, setIgpMetric = 21, setLargeCommunity = 22, setIsisLevel = 23,
         setAsPathReplace = 24, setPathAttrsNextHop = 25);

/// What a new metric is made from.
ORB_ENUM(MedType, "Routing::RouteMap::MedType", medNormal = 0, medIgpNexthopCost = 1,
         medAdditive = 2, medAddIgpNexthopCost = 3, medSubtractive = 4,
         medValueAddIgpNexthopCost = 5, medIgpMetric = 6, medAddIgpMetric = 7,
         medValueAddIgpMetric = 8);

/// Where a new next hop comes from.
ORB_ENUM(SetNextHopArgTag, "Routing::RouteMap::SetNextHopArgTag", nextHopArgNone = 0,
         nextHopArgAddr = 1, nextHopArgIpv6Addr = 2, nextHopArgUnchanged = 3,
         nextHopArgIpv6Unchanged = 4, nextHopArgPeerAddr = 5, nextHopArgIpv6PeerAddr = 6);

/// How a route was learnt.
ORB_ENUM(RouteType, "Routing::RouteMap::RouteType", typeLocal = 1, typeInternal = 2,
         typeExternal = 3, typeConfedEbgp = 4);

/// Where a route comes from.
ORB_ENUM(Protocol, "Routing::RouteMap::Protocol", protoDirect = 1, protoOspf = 2, protoOspf3 = 3,
         protoBGP = 4, protoStatic = 5, protoRip = 6, protoIsis = 7, protoAttachedHost = 8,
         protoDynamic = 9);

/// A new metric (for BGP the MULTI_EXIT_DISC, RFC 4271, section 4.3).
class Metric : public Orb::Value<Metric> {
 public:
  ORB_VALUE(Metric, "Routing::RouteMap::Metric", metricValue, medType);
  ORB_FIELD(metricValue, Orb::U32);
  ORB_FIELD(medType, MedType, medNormal);
};

/// A new next hop; `address` counts when `tag` says so.
class SetNextHopArg : public Orb::Value<SetNextHopArg> {
 public:
  ORB_VALUE(SetNextHopArg, "Routing::RouteMap::SetNextHopArg", tag, address);
  ORB_FIELD(tag, SetNextHopArgTag, nextHopArgNone);
  ORB_FIELD(address, Ipa::IpGenAddr);
};

}  // namespace Routing::RouteMap
