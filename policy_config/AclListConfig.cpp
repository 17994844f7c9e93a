#include "policy_config/AclListConfig.h"

namespace Acl {

ORB_ENTITY_TYPE(AclListConfig);

AclListConfig::AclListConfig(Orb::Name name) : NamedEntity(std::move(name)) {}

}  // namespace Acl
