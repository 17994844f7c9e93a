#include "policy_config/PrefixList.h"

namespace Acl {

ORB_ENTITY_TYPE(PrefixList);
ORB_ENTITY_TYPE(Ipv6PrefixList);

}  // namespace Acl
