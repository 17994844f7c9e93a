#include "policy_status/CommListSnapshot.h"

namespace Routing::RouteMap {

bool CommListSnapshot::comm(Acl::CommunityValue const& value) const {
  auto const* const found = comm_.find(value);
  return found && found->value;
}

void CommListSnapshot::commIs(Acl::CommunityValue const& value, bool flag) {
  comm_.insertOrAssign({value, flag});
}

Orb::Ptr<CommListSnapshot> CommListSnapshot::clone() const {
  auto copy = Orb::make<CommListSnapshot>();
  copy->comm_ = comm_;
  return copy;
}

Orb::Ptr<CommListSnapshot> commListSnapshotFactory() { return Orb::make<CommListSnapshot>(); }

}  // namespace Routing::RouteMap
