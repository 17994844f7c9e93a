#include "policy_config/CommunityValue.h"

#include "platform/orb/base/Error.h"

namespace Acl {

Orb::U32 CommunityValue::standardCommunity() const {
  ORB_ASSERT(part0_ == 0 && part1_ == 0 &&
             "part0 and part1 must be 0 when used as standard community");
  return part2_;
}

Orb::U64 CommunityValue::extendedCommunity() const {
  ORB_ASSERT(part0_ == 0 && "part0 must be 0 when used as extended community");
  return Orb::U64{part1_} << 32 | part2_;
}

}  // namespace Acl
