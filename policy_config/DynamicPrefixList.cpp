#include "policy_config/DynamicPrefixList.h"

namespace Routing::DynamicPrefixList {

ORB_ENTITY_TYPE(DynamicPrefixListEntry);
ORB_ENTITY_TYPE(Config);
ORB_ENTITY_TYPE(DynamicPrefixListVrfSet);
ORB_ENTITY_TYPE(AllDynamicPrefixListVrfSet);

DynamicPrefixListEntry::DynamicPrefixListEntry(Orb::Name name) : NamedEntity(std::move(name)) {}
Config::Config() = default;
DynamicPrefixListVrfSet::DynamicPrefixListVrfSet(Orb::Name name) : NamedEntity(std::move(name)) {}
AllDynamicPrefixListVrfSet::AllDynamicPrefixListVrfSet() = default;

}  // namespace Routing::DynamicPrefixList
