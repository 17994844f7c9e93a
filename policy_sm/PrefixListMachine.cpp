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
  for (Orb::Ptr<List const> const list : Family::lists(*this->config())) listSmIs(list);
}

template <class Family>
PrefixListMachine<Family>::~PrefixListMachine() {
  listSmDelAll();
}

template <class Family>
void PrefixListMachine<Family>::onList(Orb::Name const& name) {
  Orb::Ptr<PrefixListMachine> const alive(this);  // an observer may drop the machine
  auto const list = [&]() -> Orb::Ptr<List const> { return Family::list(*config(), name); };
  // The reactor of a list that is gone publishes nothing from here on, until it goes.
  if (auto const sm = listSm(name); sm && sm->prefixList() != list()) sm->detach();
  Orb::FirstError error;
  error.guard([&] { handleList(name); });
  error.guard([&] {
    if (!list()) {
      listSmDel(name);
    } else if (allSymbol_->symbolHas(name)) {
      listSmIs(list());
    }
  });
  if (list() && !isInLine(list())) {
    error.guard([&] { catchUp_.timeMinIs(Orb::Clock::kNextTurn); });
  }
  error.rethrow();
}

template <class Family>
bool PrefixListMachine<Family>::isInLine(Orb::Ptr<List const> const& list) const {
  auto const symbol = allSymbol_->symbol(list->name());
  auto const sm = listSm(list->name());
  return symbol && symbol->status() && sm && sm->prefixList() == list;
}

template <class Family>
void PrefixListMachine<Family>::catchUp() {
  Orb::Ptr<PrefixListMachine> const alive(this);
  Orb::FirstError error;
  for (Orb::Ptr<List const> const list : Family::lists(*config())) {
    if (!isInLine(list)) error.guard([&] { onList(list->name()); });
  }
  error.rethrow();
}

template <class Family>
void PrefixListMachine<Family>::handleLists() {
  Orb::FirstError error;
  error.guard([] { ORB_TRACE(traceSm(), 8, kHandlerNames<Family>.handleList); });
  for (Orb::Ptr<List const> const list : Family::lists(*config())) {
    error.guard([&] { addList(list->name(), list); });
  }
  error.rethrow();
}

template <class Family>
void PrefixListMachine<Family>::handleList(Orb::Name const& name) {
  Orb::FirstError error;
  error.guard([&] {
    ORB_TRACE(traceSm(), 8, kHandlerNames<Family>.handleList << " prefix-list: " << name);
  });
  error.guard([&] {
    if (auto const list = Family::list(*config(), name)) {
      addList(name, list);
    } else {
      dropSymbol(name);
    }
  });
  error.rethrow();
}

template <class Family>
void PrefixListMachine<Family>::dropSymbol(Orb::Name const& name) {
  auto const symbol = allSymbol_->symbol(name);
  if (!symbol) return;
  symbol->statusIs(nullptr);
  Orb::FirstError error;
  error.guard([&] { symbol->versionInc(1); });
  // An observer may have added the list again, and its symbol stays then.
  if (!Family::list(*config(), name)) error.guard([&] { allSymbol_->symbolDel(name); });
  error.rethrow();
}

template <class Family>
void PrefixListMachine<Family>::addList(Orb::Name const& name,
                                        Orb::Ptr<List const> const& prefixList) {
  ORB_TRACE(traceSm(), 8, kHandlerNames<Family>.addList << " prefix-list: " << name);
  ORB_ASSERT(prefixList);
  auto const status = prefixListStatusFactory(name);
  status->trieIs(Orb::make<PatriciaTrieWithNodeData>(name, Family::kFamily));
  auto const symbol = prefixListSymbolFactory(name)->dedup(symbolTable_);
  symbol->statusIs(nullptr);  // it may be one that is there already, or that others hold
  Orb::FirstError error;
  error.guard([&] { allSymbol_->symbolIs(symbol); });
  // An observer of the collection may have deleted the list: a symbol that it holds has no status
  // then, and keeps none. It may also have added the list again: the symbol has its status then.
  if (allSymbol_->symbol(name) == symbol && !symbol->status()) symbol->statusIs(status);
  error.rethrow();
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
  Orb::Name const& name = list->name();
  if (auto const sm = listSm(name); sm && sm->prefixList() == list) return;
  auto const configured = Family::list(*config(), name);
  auto const made = Orb::make<ListSm>(list, *this);
  // A trace sink or the time source may have changed the configuration: onList() has seen to it.
  if (Family::list(*config(), name) != configured) return made->detach();
  auto const replaced = listSm(name);
  listSms_.insertOrAssign(Orb::Ptr<ListSm>(made));
  if (replaced) replaced->detach();
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

template <class Family>
PrefixListMachine<Family>::CatchUp::CatchUp(PrefixListMachine& machine)
    : Notifiee(Orb::ActivityManager::current().clock()), machine_(machine) {}

template <class Family>
void PrefixListMachine<Family>::CatchUp::onTime() {
  machine_.catchUp();
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
