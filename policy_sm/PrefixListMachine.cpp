#include "policy_sm/PrefixListMachine.h"

#include "policy_sm/PrefixListConfigSm.h"
#include "policy_sm/detail/HandlerNames.h"
#include "policy_sm/detail/Trace.h"

namespace Routing::RouteMap {

template <class Family>
PrefixListMachine<Family>::PrefixListMachine(Orb::Ptr<Acl::AclListConfig const> config,
                                             Orb::Ptr<AllPrefixListSymbol> allSymbol,
                                             Orb::Ptr<PrefixListSymbolDedupTable const> symbolTable)
    : Base(std::move(config)),
      allSymbol_(std::move(allSymbol)),
      symbolTable_(std::move(symbolTable)) {
  handleLists();
  for (auto const& list : Family::lists(*this->config())) listSmIs(list);
  for (auto const& sm : listSms_) {
    if (!Family::list(*this->config(), sm->name())) listSmDel(sm->name());
  }
}

template <class Family>
PrefixListMachine<Family>::~PrefixListMachine() {
  listSmDelAll();
}

template <class Family>
void PrefixListMachine<Family>::onList(Orb::Name const& name) {
  Orb::Ptr<PrefixListMachine> const alive(this);  // a user who is told may drop the machine
  handleList(name);
  if (auto const list = Family::list(*config(), name)) {
    listSmIs(list);
  } else {
    listSmDel(name);
  }
}

template <class Family>
void PrefixListMachine<Family>::handleLists() {
  ORB_TRACE(traceSm(), 8, kHandlerNames<Family>.handleList);
  for (auto const& list : Family::lists(*config())) addList(list->name(), list);
}

template <class Family>
void PrefixListMachine<Family>::handleList(Orb::Name const& name) {
  ORB_TRACE(traceSm(), 8, kHandlerNames<Family>.handleList << " prefix-list: " << name);
  if (auto const list = Family::list(*config(), name)) {
    addList(name, list);
    return;
  }
  auto const symbol = allSymbol_->symbol(name);
  if (!symbol) return;
  symbol->statusIs(nullptr);
  symbol->versionInc(1);
  // A user who was told may have brought the list back, and its symbol stays then.
  if (!Family::list(*config(), name)) allSymbol_->symbolDel(name);
}

template <class Family>
void PrefixListMachine<Family>::addList(Orb::Name const& name,
                                        Orb::Ptr<List const> const& prefixList) {
  ORB_TRACE(traceSm(), 8, kHandlerNames<Family>.addList << " prefix-list: " << name);
  ORB_ASSERT(prefixList);
  auto const symbol = prefixListSymbolFactory(name)->dedup(symbolTable_);
  allSymbol_->symbolIs(symbol);
  // Those told of the symbol may have deleted the list: what they hold says so, and goes on to.
  if (allSymbol_->symbol(name) != symbol) return;
  auto const status = prefixListStatusFactory(name);
  status->trieIs(Orb::make<PatriciaTrieWithNodeData>(name, Family::kFamily));
  symbol->statusIs(status);
}

template <class Family>
auto PrefixListMachine<Family>::listSm(Orb::Name const& name) const -> Orb::Ptr<ListSm> {
  auto const* const found = listSms_.find(name);
  return found ? *found : nullptr;
}

template <class Family>
void PrefixListMachine<Family>::listSmIs(Orb::Ptr<List const> const& list) {
  HandlerNames const& names = kHandlerNames<Family>;
  if (!list) throw Orb::RangeException(Orb::nullParameterMessage(names.machine, names.listSm));
  if (auto const sm = listSm(list->name())) {
    if (sm->prefixList() == list) return;
    listSmDel(list->name());
  }
  listSms_.insertOrAssign(Orb::make<ListSm>(list, *this));
}

template <class Family>
void PrefixListMachine<Family>::listSmDel(Orb::Name const& name) {
  if (auto const sm = listSms_.take(name)) (*sm)->detach();
}

template <class Family>
void PrefixListMachine<Family>::listSmDelAll() {
  ListSms const gone = std::exchange(listSms_, ListSms());
  for (auto const& sm : gone) sm->detach();
}

template class PrefixListMachine<Acl::Ipv4Family>;
template class PrefixListMachine<Acl::Ipv6Family>;

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
