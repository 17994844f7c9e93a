#include "policy_config/AclListConfig.h"

namespace Acl {

ORB_ENTITY_TYPE(AclListConfig);

}  // namespace Acl
