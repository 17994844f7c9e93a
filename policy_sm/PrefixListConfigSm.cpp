#include "policy_sm/PrefixListConfigSm.h"

#include "policy_sm/detail/ListMachineBody.h"

namespace Routing::RouteMap {

template <class Family>
HandlerNames const& PrefixLists<Family>::names() {
  static constexpr HandlerNames kIpv4{{"Routing::RouteMap::PrefixListConfigSm", "prefixList"},
                                      " prefix-list: ",
                                      "prefixList",
                                      "handlePrefixList",
                                      "addPrefixList",
                                      "handlePrefixEntry",
                                      "handlePrefixListVersion"};
  static constexpr HandlerNames kIpv6{
      {"Routing::RouteMap::Ipv6PrefixListConfigSm", "ipv6PrefixList"},
      " prefix-list: ",
      "prefixList",
      "handleIpv6PrefixList",
      "addIpv6PrefixList",
      "handleIpv6PrefixEntry",
      "handleIpv6PrefixListVersion"};
  return Family::kFamily == Ipa::AddressFamily::ipv4 ? kIpv4 : kIpv6;
}

template <class Family>
Orb::Ptr<PrefixListStatus const> PrefixLists<Family>::initialStatus(
    ListMachine<PrefixLists> const& /*machine*/, Orb::Name const& name,
    typename Family::List const& /*list*/) {
  auto const status = prefixListStatusFactory(name);
  status->trieIs(Orb::make<PatriciaTrieWithNodeData>(name, Family::kFamily));
  return status;
}

template struct PrefixLists<Acl::Ipv4Family>;
template struct PrefixLists<Acl::Ipv6Family>;
template class ListSmSet<PrefixLists<Acl::Ipv4Family>>;
template class ListMachine<PrefixLists<Acl::Ipv4Family>>;
template class ListSmSet<PrefixLists<Acl::Ipv6Family>>;
template class ListMachine<PrefixLists<Acl::Ipv6Family>>;

Orb::Ptr<PrefixListConfigSm> prefixListConfigSmFactory(
    Orb::Ptr<Acl::AclListConfig const> config, Orb::Ptr<AllPrefixListSymbol> allPlSymbol,
    Orb::Ptr<PrefixListSymbolDedupTable const> plSymbolTable) {
  return Orb::make<PrefixListConfigSm>(std::move(config), std::move(allPlSymbol),
                                       std::move(plSymbolTable));
}

Orb::Ptr<PrefixListConfigSm> PrefixListConfigSm::PrefixListConfigSmIs(
    Orb::Ptr<Acl::AclListConfig const> config, Orb::Ptr<AllPrefixListSymbol> allPlSymbol,
    Orb::Ptr<PrefixListSymbolDedupTable const> plSymbolTable) {
  return prefixListConfigSmFactory(std::move(config), std::move(allPlSymbol),
                                   std::move(plSymbolTable));
}

Orb::Ptr<Ipv6PrefixListConfigSm> ipv6PrefixListConfigSmFactory(
    Orb::Ptr<Acl::AclListConfig const> config, Orb::Ptr<AllPrefixListSymbol> allIpv6PlSymbol,
    Orb::Ptr<PrefixListSymbolDedupTable const> ipv6PlSymbolTable) {
  return Orb::make<Ipv6PrefixListConfigSm>(std::move(config), std::move(allIpv6PlSymbol),
                                           std::move(ipv6PlSymbolTable));
}

Orb::Ptr<Ipv6PrefixListConfigSm> Ipv6PrefixListConfigSm::Ipv6PrefixListConfigSmIs(
    Orb::Ptr<Acl::AclListConfig const> config, Orb::Ptr<AllPrefixListSymbol> allIpv6PlSymbol,
    Orb::Ptr<PrefixListSymbolDedupTable const> ipv6PlSymbolTable) {
  return ipv6PrefixListConfigSmFactory(std::move(config), std::move(allIpv6PlSymbol),
                                       std::move(ipv6PlSymbolTable));
}

}  // namespace Routing::RouteMap
