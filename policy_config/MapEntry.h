#pragma once

#include "platform/keel/MaybeU63.h"
#include "platform/orb/base/Flags.h"
#include "platform/orb/model/Attribute.h"
#include "platform/routing/ProtocolTypes.h"
#include "policy_config/CommunityValue.h"
#include "policy_config/ListTypes.h"
#include "policy_config/MatchRule.h"
#include "policy_config/SetAction.h"

/// The actions that an entry can have, in the order of their bits, which are stored. The unused
/// ones hold their places, on purpose, and can be set like the others.
#define ROUTEPOLICY_SET_FLAGS(FLAG) \
  FLAG(hasAsPathPrepend)            \
  FLAG(hasPropagate)                \
  FLAG(hasNextHop)                  \
  FLAG(hasIpv6NextHop)              \
  FLAG(hasLevel)                    \
  FLAG(hasLocalPref)                \
  FLAG(unused3)                     \
  FLAG(hasMetric)                   \
  FLAG(hasMetricType)               \
  FLAG(unused2)                     \
  FLAG(hasOrigin)                   \
  FLAG(hasDistance)                 \
  FLAG(hasCommunityAddReplace)      \
  FLAG(hasCommunityDelete)          \
  FLAG(hasExtCommunity)             \
  FLAG(hasTag)                      \
  FLAG(hasContinue)                 \
  FLAG(hasWeight)                   \
  FLAG(hasNextHopPeerAddr)          \
  FLAG(hasIpv6NextHopPeerAddr)      \
  FLAG(hasNextHopUnchanged)         \
  FLAG(hasIpv6NextHopUnchanged)     \
  FLAG(hasEvpnNextHopUnchanged)     \
  FLAG(hasAdditiveMetric)           \
  FLAG(hasSubtractiveMetric)        \
  FLAG(hasAsPathPrependLastAs)      \
  FLAG(hasAsPathReplace)            \
  FLAG(hasSegmentIndex)             \
  FLAG(hasIgpMetric)                \
  FLAG(hasLargeCommunity)

/// An attribute that reads a flag of setFlags.
#define ROUTEPOLICY_SET_FLAG_GETTER(flag)         \
  bool flag() const { return setFlags().flag(); } \
  ORB_GETTER_ROW(flag, derived);

namespace Routing::RouteMap {

/// The communities that a set action works with, explicit or by the lists that hold them.
class ROUTEPOLICY_EXPORT CommunitySet : public Orb::NamedEntity {
 public:
  ORB_ENTITY(CommunitySet, "Routing::RouteMap::CommunitySet", community, communityListNameSet,
             useCommunityList, flag);
  explicit CommunitySet(Orb::Name name);

  /// The explicit communities, in ascending order. Each has a flag that is stored and compared; a
  /// community is a member whatever its flag. Observers are notified of the key.
  ORB_MAP(community, Acl::CommunityValue, bool);
  /// The names of community lists, in ascending order, likewise.
  ORB_MAP(communityListNameSet, Orb::String, bool);
  /// The members come from the named lists instead of the explicit communities.
  ORB_ATTRIBUTE(useCommunityList, bool);
  /// What the action does with the communities that a route has.
  ORB_ATTRIBUTE(flag, Acl::CommSetFlag, Acl::commSetDefault);
};

/// One entry of a route map: a verdict, at most one match rule of each kind, and the actions that
/// change a matching route. The entry stores and notifies; routing protocols apply it, and setFlags
/// says which actions count. Every mutator notifies of a real change; those of collections
/// notify of the key.
///
/// A MaybeU63 is below 2^63 and unset by default; numbers are 0 by default.
class ROUTEPOLICY_EXPORT MapEntry : public Orb::NumberedEntity {
  static void checkLastAs(Orb::U8 count);

 public:
  ORB_ENTITY(MapEntry, "Routing::RouteMap::MapEntry", seqno, permit, statementName,
             statementNameFromCli, matchRule, subRouteMap, asPathPrepend, asPathPrependLastAs,
             asPathPrependVersion, asPathReplace, asPathReplaceVersion, setNextHopArg, nextHop,
             ipv6NextHop, nextHopPeerAddr, ipv6NextHopPeerAddr, nextHopUnchanged,
             ipv6NextHopUnchanged, localPref, weight, metric, metricType, level, origin, distance,
             propagate, tag, communityAddReplace, communityAddReplaceVersion, communityDelete,
             communityDeleteVersion, extCommunity, extCommunityVersion, largeCommunity,
             largeCommunityVersion, lbwDisplay, linkBandwidthRefDisplay, linkBandwidthRefExtComm,
             extCommLinkBandwidthSetFlag, continueSeq, evpnNextHopUnchanged, segmentIndex,
             igpMetric, setFlags, ROUTEPOLICY_SET_FLAGS(ORB_LISTED) description);
  explicit MapEntry(Orb::U32 seqno);

  /// Which actions are configured.
  class ROUTEPOLICY_EXPORT SetFlags : public Orb::Flags<SetFlags> {
   public:
    ORB_FLAGS(SetFlags, "Routing::RouteMap::MapEntry::SetFlags", ROUTEPOLICY_SET_FLAGS);
  };

  ORB_GETTER_ROW(seqno, key);
  /// Permits by default, unlike an entry of a prefix list.
  ORB_ATTRIBUTE(permit, Acl::MatchPermit, Acl::permitMatch);
  ORB_ATTRIBUTE(statementName, Orb::String);
  /// The statement name was entered on the command line.
  ORB_ATTRIBUTE(statementNameFromCli, bool);
  /// At most one rule of each option.
  ORB_COLLECTION(matchRule, Orb::HashValues<MatchRule, &MatchRule::option>);
  /// The route map that is evaluated as a part of this entry.
  ORB_ATTRIBUTE(subRouteMap, Orb::String);

  // The six counters beside lists and sets are raised by a commit alone: readers take the list or
  // set as rewritten.

  /// The AS numbers to prepend to the AS path, by position.
  ORB_MAP(asPathPrepend, Orb::U32, Orb::U32);
  /// How many times to prepend the last AS: 0 to 15. More is a RangeException; it is stored all
  /// the same and nobody is notified, on purpose.
  ORB_CHECKED_ATTRIBUTE(asPathPrependLastAs, Orb::U8, &checkLastAs);
  ORB_COUNTER(asPathPrependVersion);
  /// The AS numbers that replace the AS path, by position.
  ORB_MAP(asPathReplace, Orb::U32, Orb::U32);
  ORB_COUNTER(asPathReplaceVersion);

  /// The next hop to set, which the six attributes behind it show.
  ORB_ATTRIBUTE(setNextHopArg, SetNextHopArg);
  /// The address of setNextHopArg where its tag and the address's family say so, else 0.0.0.0.
  ORB_DERIVED(nextHop, Ipa::IpAddr);
  /// The same for IPv6, else ::.
  ORB_DERIVED(ipv6NextHop, Ipa::Ip6Addr);
  /// Whether its tag is the one of that name, for each family.
  ORB_DERIVED(nextHopPeerAddr, bool);
  ORB_DERIVED(ipv6NextHopPeerAddr, bool);
  ORB_DERIVED(nextHopUnchanged, bool);
  ORB_DERIVED(ipv6NextHopUnchanged, bool);

  ORB_ATTRIBUTE(localPref, Keel::MaybeU63);  ///< LOCAL_PREF (RFC 4271, section 5.1.5)
  ORB_ATTRIBUTE(weight, Keel::MaybeU63);     ///< of the route, within this router alone
  ORB_ATTRIBUTE(metric, Metric);
  ORB_ATTRIBUTE(metricType, Ospf::OspfExtMetricType, Ospf::ospfExtMetricType1);
  ORB_ATTRIBUTE(level, Isis::Level, Isis::level1);
  ORB_ATTRIBUTE(origin, Acl::BGPOrigin, Acl::notSet);  ///< ORIGIN (RFC 4271, section 5.1.1)
  ORB_ATTRIBUTE(distance, Orb::U32);                   ///< administrative distance
  ORB_ATTRIBUTE(propagate, bool);
  ORB_ATTRIBUTE(tag, Keel::MaybeU63);  ///< of the route (for OSPF: RFC 2328, section A.4.5)

  // The sets are owned. Asking for one under another name puts an empty one in its place.

  ORB_NAMED_CHILD(communityAddReplace, CommunitySet);
  ORB_COUNTER(communityAddReplaceVersion);
  ORB_NAMED_CHILD(communityDelete, CommunitySet);
  ORB_COUNTER(communityDeleteVersion);
  ORB_NAMED_CHILD(extCommunity, CommunitySet);
  ORB_COUNTER(extCommunityVersion);
  ORB_NAMED_CHILD(largeCommunity, CommunitySet);
  ORB_COUNTER(largeCommunityVersion);

  /// The link bandwidth and the reference bandwidth as the user typed them.
  ORB_ATTRIBUTE(lbwDisplay, Orb::String);
  ORB_ATTRIBUTE(linkBandwidthRefDisplay, Orb::String);
  /// The reference bandwidth as the extended community takes it; compared bit by bit.
  ORB_ATTRIBUTE(linkBandwidthRefExtComm, float);
  /// How the link-bandwidth extended community is set.
  ORB_ATTRIBUTE(extCommLinkBandwidthSetFlag, Acl::ExtCommLinkBandwidthSetFlag,
                Acl::extCommLinkBandwidthSetDefault);
  /// The sequence number of the entry to go on with.
  ORB_ATTRIBUTE(continueSeq, Orb::U32);
  ORB_ATTRIBUTE(evpnNextHopUnchanged, bool);    ///< of EVPN routes (RFC 7432)
  ORB_ATTRIBUTE(segmentIndex, Keel::MaybeU63);  ///< of segment routing (RFC 8402)
  ORB_ATTRIBUTE(igpMetric, Keel::MaybeU63);     ///< the cost to the next hop

  /// Which actions are configured; each flag can be read as an attribute of its own as well.
  ORB_ATTRIBUTE(setFlags, SetFlags);
  ROUTEPOLICY_SET_FLAGS(ROUTEPOLICY_SET_FLAG_GETTER)
  /// Lines of text by their number.
  ORB_MAP(description, Orb::U32, Orb::String);
};

}  // namespace Routing::RouteMap

#undef ROUTEPOLICY_SET_FLAG_GETTER
