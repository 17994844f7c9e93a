#pragma once

#include "policy_config/MapEntry.h"

namespace Routing::RouteMap {

/// A named route map: entries that are tried in ascending sequence number.
class ROUTEPOLICY_EXPORT Map : public Orb::NamedEntity {
 public:
  ORB_ENTITY(Map, "Routing::RouteMap::Map", name, mapEntry, description, version);
  explicit Map(Orb::Name name);

  ORB_GETTER_ROW(name, key);
  /// The entries, owned and made by sequence number; in no order of theirs: readers who need the
  /// sequence sort by seqno. Notifies of the number when an
  /// entry is made or removed.
  ORB_COLLECTION(mapEntry, Orb::HashChildren<MapEntry>);
  /// Lines of text by their number.
  ORB_MAP(description, Orb::U32, Orb::String);
  /// Raised by one whenever a committed session changed the map.
  ORB_COUNTER(version);
};

/// How maps are applied; for the readers to interpret. The numbers are stored.
ORB_ENUM(RouteMapOpModeType, "Routing::RouteMap::RouteMapOpModeType", routeMapSetOpModeMerged = 0,
         routeMapSetOpModeSequential = 1, routeMapOpModeSequential = 2);

/// The root of all route maps, which it makes and removes by name.
class ROUTEPOLICY_EXPORT Config : public Orb::Entity {
 public:
  ORB_ENTITY(Config, "Routing::RouteMap::Config", routeMapOpMode, routeMapOpModeDefault,
             noSetCommExplicitMembers, routeMap);
  Config();

  static constexpr RouteMapOpModeType kRouteMapOpModeDefault = routeMapSetOpModeMerged;

  ORB_ATTRIBUTE(routeMapOpMode, RouteMapOpModeType, kRouteMapOpModeDefault);
  /// The default of routeMapOpMode: a constant.
  ORB_DERIVED(routeMapOpModeDefault, RouteMapOpModeType);
  /// Stored for the readers, which interpret it.
  ORB_ATTRIBUTE(noSetCommExplicitMembers, bool);
  /// The maps, owned; in no order of theirs, with room for four from the first one on. Notifies of
  /// the name when a map is made or removed.
  ORB_COLLECTION(routeMap, Orb::HashChildren<Map>);
};

/// A root of its own: the filters of BGP peers, which are maps like any other.
class ROUTEPOLICY_EXPORT PeerFilterConfig : public Orb::Entity {
 public:
  ORB_ENTITY(PeerFilterConfig, "Routing::RouteMap::PeerFilterConfig", peerFilter);
  PeerFilterConfig();

  /// The filters, owned; in no order of theirs. Notifies of the name when one is made
  /// or removed.
  ORB_COLLECTION(peerFilter, Orb::HashChildren<Map>);
};

}  // namespace Routing::RouteMap
