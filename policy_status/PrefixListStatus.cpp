#include "policy_status/PrefixListStatus.h"

namespace Routing::RouteMap {

Orb::Ptr<PrefixListStatus> prefixListStatusFactory(Orb::String name) {
  return Orb::make<PrefixListStatus>(std::move(name));
}

}  // namespace Routing::RouteMap
