#pragma once

#include "platform/ipa/Address.h"
#include "platform/orb/base/Enum.h"
#include "platform/orb/base/Value.h"
#include "platform/orb/containers/FieldMap.h"

namespace Routing::RouteMap {

/// What a rule looks at. The numbers are stored; 0 and 16 to 99 are unassigned, on purpose.
ORB_ENUM(MatchOption, "Routing::RouteMap::MatchOption", matchAccessList = 1, matchPrefixList = 2,
         matchPrefixTree = 3, matchBgpNextHop = 4, matchGateway = 5, matchMcastGroupAcl = 6,
         matchMcastGroupPrefixList = 7, matchMcastGroupPrefixTree = 8, matchMcastSourceAcl = 9,
         matchMcastSourcePrefixList = 10, matchMcastSourcePrefixTree = 11, matchNextHop = 12,
         matchRouteSource = 13, matchNextHopPrefixList = 14, matchResolvedNextHopPrefixList = 15,
         matchAs = 100, matchAsPath = 101, matchAsPathList = 102, matchCommunity = 103,
         matchExtCommunity = 104, matchDistance = 105, matchInstance = 106, matchInterface = 107,
         matchIsisLevel = 108, matchLocalPref = 109, matchMed = 110, matchMetric = 111,
         matchMetricType = 112, matchProtocol = 113, matchRibs = 114, matchTag = 115,
         matchIpv6PrefixList = 116, matchIpv6NextHop = 117, matchIpv6NextHopPrefixList = 118,
         matchIpv6ResolvedNextHopPrefixList = 119, matchRouterId = 120, matchAsRange = 121,
         matchRouteType = 122, matchIpAddrDynamicPrefixList = 123,
         matchIpv6AddrDynamicPrefixList = 124, matchCommunityInstances = 125,
         matchAsPathLength = 126, matchLargeCommunity = 127,
         matchContributorAggregateAttributes = 128);

/// An inclusive range; 0..0 by default. A `low` above `high` is a RangeException wherever it
/// would come about, and is not stored: to move a range, set it as a whole, or the far end first.
class ROUTEPOLICY_EXPORT U32Range : public Orb::Value<U32Range> {
 public:
  ORB_VALUE(U32Range, "Routing::RouteMap::U32Range", low, high);
  U32Range(Orb::U32 low, Orb::U32 high);

  ORB_FIELD(low, Orb::U32);
  ORB_FIELD(high, Orb::U32);

  /// Throws that `low` is above `high`.
  void check() const;
};

/// A set of names of community lists, in ascending order. Its text form is "None" whatever it
/// holds, and does not read back: an attempt is a fatal assertion, on purpose, as for every value
/// that holds a collection. The set is changed name by name.
class ROUTEPOLICY_EXPORT CommListSet : public Orb::Value<CommListSet> {
 public:
  ORB_VALUE(CommListSet, "Routing::RouteMap::CommListSet", commListSet);

  /// The names, each with a flag that is stored and compared; a name is a member whatever its flag.
  ORB_FIELD_MAP(commListSet, Orb::String, bool);
  /// The names parted by single blanks.
  ORB_FIELD_DERIVED(stringValue, Orb::String);
};
ROUTEPOLICY_EXPORT void writeText(std::string& out, CommListSet const& set);
[[noreturn]] ROUTEPOLICY_EXPORT void readText(Orb::TextReader& in, CommListSet& set);

/// One rule of a route-map entry: what it looks at, and operands, of which each option uses some.
/// All are stored for every option and none is checked against it. The text form writes the set
/// of names as "None" and, because of it, does not read back.
class ROUTEPOLICY_EXPORT MatchRule : public Orb::Value<MatchRule> {
 public:
  ORB_VALUE(MatchRule, "Routing::RouteMap::MatchRule", option, strValue, intValue, ipAddrValue,
            ip6AddrValue, int2Value, commListSet, u32Range, invert, exact);
  explicit MatchRule(MatchOption option) : option_(option) {}

  ORB_FIELD(option, MatchOption, matchAccessList);  ///< the key in the entry
  ORB_FIELD(strValue, Orb::String);                 ///< a list, interface, expression, route map
  ORB_FIELD(intValue, Orb::U32);                    ///< a metric, tag, preference, distance, level
  ORB_FIELD(ipAddrValue, Ipa::IpAddr);
  ORB_FIELD(ip6AddrValue, Ipa::Ip6Addr);
  ORB_FIELD(int2Value, Orb::U32);
  ORB_FIELD(commListSet, CommListSet);  ///< of community matches that name several lists
  ORB_FIELD(u32Range, U32Range);
  ORB_FIELD(invert, bool);  ///< the result is inverted
  ORB_FIELD(exact, bool);   ///< the option's exact variant

  /// Whether this is the default rule of matchAccessList.
  bool operator!() const { return *this == MatchRule(); }
};

}  // namespace Routing::RouteMap
