#include "policy_sm/DynPrefixListConfigSm.h"

#include "policy_sm/detail/ListSmSetBody.h"
#include "policy_sm/detail/Trace.h"
#include "policy_sm/detail/Withdraw.h"

namespace Routing::RouteMap {

using DynamicPrefixList::AllDynamicPrefixListVrfSet;
using DynamicPrefixList::DynamicPrefixListEntry;
using DynamicPrefixList::DynamicPrefixListVrfSet;

namespace {

using VrfSetsSm =
    Orb::Relay<AllDynamicPrefixListVrfSet, AllDynamicPrefixListVrfSet::Attr::dynamicPrefixList,
               &DynPrefixListConfigSm::createOrDelDynPrefixListSymbolSm>;

template <class T>
void traceIfOther(char const* attribute, Orb::Ptr<T> const& now, Orb::Ptr<T> const& before) {
  if (now == before) return;
  ORB_TRACE(traceSm(), 8,
            "Reinstantiating the pointer interface where constructor parameter attribute "
                << attribute << " has a different value of " << now.get()
                << " than the current value of " << before.get());
}

void traceWhatDiffers(DynPrefixListSource const& now, DynPrefixListSource const& before) {
  traceIfOther("_dplConfig", now.dplConfig, before.dplConfig);
  traceIfOther("_dplState", now.dplState, before.dplState);
  traceIfOther("_ipPrefixListTable", now.ipPrefixListTable, before.ipPrefixListTable);
  traceIfOther("_ipv6PrefixListTable", now.ipv6PrefixListTable, before.ipv6PrefixListTable);
  traceIfOther("_allDplSymbol", now.allDplSymbol, before.allDplSymbol);
  traceIfOther("_dplSymbolTable", now.dplSymbolTable, before.dplSymbolTable);
}

}  // namespace

MachineNames const& DynPrefixLists::names() {
  static constexpr MachineNames kNames{"Routing::RouteMap::DynPrefixListConfigSm",
                                       "dplSymbolGenSm"};
  return kNames;
}

DynPrefixListConfigSm::DynPrefixListConfigSm(
    Orb::Ptr<DynamicPrefixList::Config const> config,
    Orb::Ptr<AllDynamicPrefixListVrfSet const> state,
    Orb::Ptr<PrefixListSymbolDedupTable const> ipPrefixListTable,
    Orb::Ptr<PrefixListSymbolDedupTable const> ipv6PrefixListTable,
    Orb::Ptr<AllDynPrefixListSymbol> allDplSymbol,
    Orb::Ptr<DynPrefixListSymbolDedupTable const> dplSymbolTable)
    : ListSmSet(std::move(config)),
      state_(std::move(state)),
      shared_{nullptr,
              nullptr,
              std::move(ipPrefixListTable),
              std::move(ipv6PrefixListTable),
              std::move(allDplSymbol),
              std::move(dplSymbolTable)},
      stateSm_(Orb::make<VrfSetsSm>(state_, *this)) {
  try {
    handleInitialized();
  } catch (...) {
    stop();
    throw;
  }
}

DynPrefixListConfigSm::~DynPrefixListConfigSm() { stop(); }

void DynPrefixListConfigSm::stop() noexcept {
  stateSm_ = nullptr;  // before anything may change the state
  stopLists();
}

void DynPrefixListConfigSm::handleInitialized() {
  Orb::Ptr<DynPrefixListConfigSm> const alive(this);
  Orb::FirstError error;
  error.guard([] { ORB_TRACE(traceSm(), 8, " Initializing DynPrefixListConfigSm"); });
  for (Orb::Ptr<List const> const list : config()->dynamicPrefixList()) {
    error.guard([&] { createOrDelDynPrefixListSymbolSm(list->name()); });
  }
  for (auto const& held : allDplSymbol()->symbol()) {
    Orb::Ptr<DynPrefixListSymbol> const symbol = held;
    if (dplSymbolGenSm(Orb::Name(symbol->name()))) continue;
    error.guard([&] { withdrawWithStatus(*allDplSymbol(), *symbol); });
  }
  error.rethrow();
}

DynPrefixListSource DynPrefixListConfigSm::source(Orb::Name const& name) const {
  DynPrefixListSource source = shared_;
  source.dplConfig = config()->dynamicPrefixList(name);
  source.dplState = state()->dynamicPrefixList(name);
  return source;
}

void DynPrefixListConfigSm::announceList(Orb::Name const& name) {
  auto const sm = dplSymbolGenSm(name);
  auto const now = source(name);
  if (now) {
    ORB_TRACE(traceSm(), 8, " Creating dpl symbol sm for " << name);
    if (sm) traceWhatDiffers(now, sm->source());
  } else if (sm) {
    ORB_TRACE(traceSm(), 8, " Deleting dpl symbol sm for " << name);
  }
}

void DynPrefixListConfigSm::dplSymbolGenSmIs(
    Orb::Ptr<DynamicPrefixListEntry const> dplConfig,
    Orb::Ptr<DynamicPrefixListVrfSet const> dplState,
    Orb::Ptr<PrefixListSymbolDedupTable const> ipPrefixListTable,
    Orb::Ptr<PrefixListSymbolDedupTable const> ipv6PrefixListTable,
    Orb::Ptr<AllDynPrefixListSymbol> allDplSymbol,
    Orb::Ptr<DynPrefixListSymbolDedupTable const> dplSymbolTable) {
  Source const source{std::move(dplConfig),         std::move(dplState),
                      std::move(ipPrefixListTable), std::move(ipv6PrefixListTable),
                      std::move(allDplSymbol),      std::move(dplSymbolTable)};
  Orb::Ptr<DynPrefixListConfigSm> const alive(this);
  Orb::FirstError error;
  if (auto const sm = source ? dplSymbolGenSm(source->name()) : nullptr) {
    error.guard([&] { traceWhatDiffers(source, sm->source()); });
  }
  error.guard([&] { listSmIs(source); });
  error.rethrow();
}

template class ListSmSet<DynPrefixLists>;

Orb::Ptr<DynPrefixListConfigSm> dynPrefixListConfigSmFactory(
    Orb::Ptr<DynamicPrefixList::Config const> config,
    Orb::Ptr<AllDynamicPrefixListVrfSet const> state,
    Orb::Ptr<PrefixListSymbolDedupTable const> ipPrefixListTable,
    Orb::Ptr<PrefixListSymbolDedupTable const> ipv6PrefixListTable,
    Orb::Ptr<AllDynPrefixListSymbol> allDplSymbol,
    Orb::Ptr<DynPrefixListSymbolDedupTable const> dplSymbolTable) {
  return Orb::make<DynPrefixListConfigSm>(
      std::move(config), std::move(state), std::move(ipPrefixListTable),
      std::move(ipv6PrefixListTable), std::move(allDplSymbol), std::move(dplSymbolTable));
}

Orb::Ptr<DynPrefixListConfigSm> DynPrefixListConfigSm::DynPrefixListConfigSmIs(
    Orb::Ptr<DynamicPrefixList::Config const> config,
    Orb::Ptr<AllDynamicPrefixListVrfSet const> state,
    Orb::Ptr<PrefixListSymbolDedupTable const> ipPrefixListTable,
    Orb::Ptr<PrefixListSymbolDedupTable const> ipv6PrefixListTable,
    Orb::Ptr<AllDynPrefixListSymbol> allDplSymbol,
    Orb::Ptr<DynPrefixListSymbolDedupTable const> dplSymbolTable) {
  return dynPrefixListConfigSmFactory(std::move(config), std::move(state),
                                      std::move(ipPrefixListTable), std::move(ipv6PrefixListTable),
                                      std::move(allDplSymbol), std::move(dplSymbolTable));
}

}  // namespace Routing::RouteMap
