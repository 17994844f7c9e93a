#include "policy_config/PrefixList.h"

namespace Acl {

ORB_ENTITY_TYPE(PrefixList);
ORB_ENTITY_TYPE(Ipv6PrefixList);

Ipv6PrefixList::Ipv6PrefixList(Orb::Name name) : NamedEntity(std::move(name)) {}

PrefixList::PrefixList(Orb::Name name) : NamedEntity(std::move(name)) {}

}  // namespace Acl
