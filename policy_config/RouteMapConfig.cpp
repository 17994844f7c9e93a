#include "policy_config/RouteMapConfig.h"

namespace Routing::RouteMap {

ORB_ENTITY_TYPE(Map);
ORB_ENTITY_TYPE(Config);
ORB_ENTITY_TYPE(PeerFilterConfig);

Config::Config() = default;
PeerFilterConfig::PeerFilterConfig() = default;

Map::Map(Orb::Name name) : NamedEntity(std::move(name)) {}

RouteMapOpModeType Config::routeMapOpModeDefault() const { return kRouteMapOpModeDefault; }

}  // namespace Routing::RouteMap
