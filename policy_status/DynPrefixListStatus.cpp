#include "policy_status/DynPrefixListStatus.h"

namespace Routing::RouteMap {

auto DynPrefixListStatus::pfxList(Orb::Ptr<PrefixListSymbol const> symbol) -> PfxList {
  auto status = symbol ? symbol->status() : nullptr;
  return {std::move(symbol), std::move(status)};
}

void DynPrefixListStatus::ipv4PfxListSymbolIs(Orb::Ptr<PrefixListSymbol const> symbol) {
  ipv4_ = pfxList(std::move(symbol));
}

void DynPrefixListStatus::ipv6PfxListSymbolIs(Orb::Ptr<PrefixListSymbol const> symbol) {
  ipv6_ = pfxList(std::move(symbol));
}

DynamicPrefixList::DplEvalState DynPrefixListStatus::activeInVrf(VrfId vrf) const {
  auto const* const found = activeInVrf_.find(vrf);
  return found ? found->value : DynamicPrefixList::inactive;
}

auto DynPrefixListStatus::activeInVrfIs(VrfId vrf, DplEvalState state)
    -> ActiveInVrf::value_type const& {
  return *activeInVrf_.insertOrAssign({vrf, state}).first;
}

Orb::Ptr<DynPrefixListStatus> dynPrefixListStatusFactory(Orb::String name) {
  return Orb::make<DynPrefixListStatus>(std::move(name));
}

}  // namespace Routing::RouteMap
