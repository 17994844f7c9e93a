#pragma once

#include "platform/orb/model/Attribute.h"
#include "platform/routing/ProtocolTypes.h"

/// Dynamic prefix lists: pairs of prefix lists that are in force in a VRF as long as routes in it
/// match a route map. Routing agents evaluate the map and publish the outcome.
namespace Routing::DynamicPrefixList {

/// Whether a dynamic prefix list is in force. The numbers are stored.
ORB_ENUM(DplEvalState, "Routing::DynamicPrefixList::DplEvalState", inactive = 0, active = 1);

/// One dynamic prefix list, as it is configured.
class ROUTEPOLICY_EXPORT DynamicPrefixListEntry : public Orb::NamedEntity {
 public:
  ORB_ENTITY(DynamicPrefixListEntry, "Routing::DynamicPrefixList::DynamicPrefixListEntry", dplName,
             matchMap, ipv4PrefixList, ipv6PrefixList, version);
  explicit DynamicPrefixListEntry(Orb::Name name);

  Orb::Name const& dplName() const noexcept { return name(); }
  ORB_GETTER_ROW(dplName, key);
  /// The name of the route map whose matches put the list in force.
  ORB_ATTRIBUTE(matchMap, Orb::String);
  /// The names of the prefix lists, which need not be configured; empty for none.
  ORB_ATTRIBUTE(ipv4PrefixList, Orb::String);
  ORB_ATTRIBUTE(ipv6PrefixList, Orb::String);
  /// A change makes the other attributes count; at 0 there is no compiled list: it is not stamped
  /// yet. Whoever writes the entry sets it to another value than it has, in a session too, which
  /// commits it as it does the other attributes: no commit raises it by itself.
  ORB_ATTRIBUTE(version, Orb::U32);
};

/// The root of all dynamic prefix lists.
class ROUTEPOLICY_EXPORT Config : public Orb::Entity {
 public:
  ORB_ENTITY(Config, "Routing::DynamicPrefixList::Config", dynamicPrefixList);
  Config();

  /// The lists, owned. Notifies of the name when one is made or removed.
  ORB_COLLECTION(dynamicPrefixList, Orb::OrderedChildren<DynamicPrefixListEntry>);
};

/// Where one dynamic prefix list is evaluated, and what came of it.
class ROUTEPOLICY_EXPORT DynamicPrefixListVrfSet : public Orb::NamedEntity {
 public:
  ORB_ENTITY(DynamicPrefixListVrfSet, "Routing::DynamicPrefixList::DynamicPrefixListVrfSet",
             dplName, activeInVrf);
  explicit DynamicPrefixListVrfSet(Orb::Name name);

  Orb::Name const& dplName() const noexcept { return name(); }
  ORB_GETTER_ROW(dplName, key);
  /// The state in each VRF in which the list is evaluated. Notifies of the VRF, also when one that
  /// was not there is given the state inactive. Copies of the map share what they hold.
  ORB_MAP(activeInVrf, Vrf::VrfIdMap::VrfId, DplEvalState);
};

/// The root of the state, of all dynamic prefix lists.
class ROUTEPOLICY_EXPORT AllDynamicPrefixListVrfSet : public Orb::Entity {
 public:
  ORB_ENTITY(AllDynamicPrefixListVrfSet, "Routing::DynamicPrefixList::AllDynamicPrefixListVrfSet",
             dynamicPrefixList);
  AllDynamicPrefixListVrfSet();

  /// The sets, owned. Notifies of the name when one is made or removed.
  ORB_COLLECTION(dynamicPrefixList, Orb::OrderedChildren<DynamicPrefixListVrfSet>);
};

}  // namespace Routing::DynamicPrefixList
