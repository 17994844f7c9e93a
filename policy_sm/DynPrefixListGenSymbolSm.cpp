#include "policy_sm/DynPrefixListGenSymbolSm.h"

#include <algorithm>

#include "policy_sm/detail/Trace.h"
#include "policy_sm/detail/Withdraw.h"

namespace Routing::RouteMap {

using DynamicPrefixList::DynamicPrefixListEntry;
using DynamicPrefixList::DynamicPrefixListVrfSet;

namespace {

using VrfSetSm = Orb::Relay<DynamicPrefixListVrfSet, DynamicPrefixListVrfSet::Attr::activeInVrf,
                            &DynPrefixListGenSymbolSm::handleDynPrefixListState>;

}  // namespace

/// What differs between the two prefix lists.
struct DynPrefixListGenSymbolSm::PfxListFamily {
  PfxList DynPrefixListGenSymbolSm::*list;
  Orb::String const& (DynamicPrefixListEntry::*nameOf)() const;
  Orb::Ptr<PrefixListSymbolDedupTable const> DynPrefixListSource::*table;
  char const* updating;
  char const* deleting;

  static PfxListFamily const all[2];
};

DynPrefixListGenSymbolSm::PfxListFamily const DynPrefixListGenSymbolSm::PfxListFamily::all[2] = {
    {&DynPrefixListGenSymbolSm::ipv4_, &DynamicPrefixListEntry::ipv4PrefixList,
     &DynPrefixListSource::ipPrefixListTable,
     " with ipv4 prefix-list: ", " Deleting ipv4 prefix-list for dpl: "},
    {&DynPrefixListGenSymbolSm::ipv6_, &DynamicPrefixListEntry::ipv6PrefixList,
     &DynPrefixListSource::ipv6PrefixListTable,
     " with ipv6 prefix-list: ", " Deleting ipv6 prefix-list for dpl: "},
};

DynPrefixListGenSymbolSm::DynPrefixListGenSymbolSm(DynPrefixListSource source)
    : Reactor(source.dplConfig),
      source_(std::move(source)),
      stateSm_(Orb::make<VrfSetSm>(dplState(), *this)) {}

DynPrefixListGenSymbolSm::~DynPrefixListGenSymbolSm() {
  try {
    detach();
  } catch (...) {
    // Of an observer. Everything is done, and there is no caller left to throw it at.
  }
}

void DynPrefixListGenSymbolSm::PfxList::symbolIs(Orb::Ptr<PrefixListSymbol const> const& s) {
  follow(s ? s->symbolNotifier() : nullptr);  // may find no memory, and changes nothing then
  symbol = s;
}

void DynPrefixListGenSymbolSm::PfxList::follow(Orb::Ptr<PolicySymbolNotifier const> notifier) {
  notifierIs(notifier);
  followed = std::move(notifier);
}

void DynPrefixListGenSymbolSm::handleInitialized() {
  if (stage_ != Stage::made) return;
  Orb::Ptr<DynPrefixListGenSymbolSm> const alive(this);
  stage_ = Stage::atWork;
  Orb::FirstError error;
  error.guard([&] { ORB_TRACE(traceSm(), 8, " Initializing dpl: " << name()); });
  if (dplConfig()->version() != 0) error.guard([&] { handleDynPrefixListVersion(); });
  error.guard([&] { updateDynPrefixListSymbol(); });
  initialized_ = true;
  if (isToPublish_) error.guard([&] { updateDynPrefixListSymbol(); });
  error.rethrow();
}

void DynPrefixListGenSymbolSm::handleDynPrefixListVersion() {
  if (stage_ != Stage::atWork) return;
  Orb::Ptr<DynPrefixListGenSymbolSm> const alive(this);
  isToLookUp_ = true;  // before anything that may throw: no change of the version is lost
  isToPublish_ = true;
  Orb::FirstError error;
  error.guard([&] { ORB_TRACE(traceSm(), 8, " Dpl config version update: " << name()); });
  error.guard([&] { catchUp(); });
  error.rethrow();
}

void DynPrefixListGenSymbolSm::handleDynPrefixListState(VrfId vrf) {
  if (stage_ != Stage::atWork) return;
  Orb::Ptr<DynPrefixListGenSymbolSm> const alive(this);
  Orb::FirstError error;
  error.guard(
      [&] { ORB_TRACE(traceSm(), 8, " Dpl state change " << name() << " in vrf " << vrf); });
  error.guard([&] { updateDynPrefixListSymbol(); });
  error.rethrow();
}

void DynPrefixListGenSymbolSm::handleIpPrefixListVersion() {
  if (stage_ != Stage::atWork) return;
  Orb::Ptr<DynPrefixListGenSymbolSm> const alive(this);
  Orb::FirstError error;
  error.guard([&] { ORB_TRACE(traceSm(), 8, " Ip pfx-list version update: " << name()); });
  isToPublish_ = true;  // once it is initialized, if a prefix list changes before
  if (initialized_) error.guard([&] { updateDynPrefixListSymbol(); });
  error.rethrow();
}

void DynPrefixListGenSymbolSm::catchUp() {
  if (stage_ != Stage::atWork) return;
  Orb::Ptr<DynPrefixListGenSymbolSm> const alive(this);
  Orb::FirstError error;
  if (isToLookUp_) {
    for (auto const& family : PfxListFamily::all) error.guard([&] { lookUp(family); });
    isToLookUp_ = !isLookedUp();
  }
  if (isToPublish_) error.guard([&] { updateDynPrefixListSymbol(); });
  armIfBehind();
  error.rethrow();
}

/// Trace sinks may change the name, and let the generator go.
void DynPrefixListGenSymbolSm::lookUp(PfxListFamily const& family) {
  Orb::FirstError error;
  error.guard([&] { traceLookUp(family); });
  error.guard([&] {
    if (stage_ != Stage::atWork || isLookedUp(family)) return;
    Orb::String const listName = (*dplConfig().*family.nameOf)();
    (this->*family.list)
        .symbolIs(listName.empty() ? nullptr : (source_.*family.table)->symbolIs(listName));
  });
  error.rethrow();
}

void DynPrefixListGenSymbolSm::traceLookUp(PfxListFamily const& family) const {
  Orb::String const listName = (*dplConfig().*family.nameOf)();
  if (listName.empty()) {
    ORB_TRACE(traceSm(), 8, family.deleting << name());
  } else if (!isLookedUp(family)) {
    ORB_TRACE(traceSm(), 8, " Updating dpl: " << name() << family.updating << listName);
  }
}

bool DynPrefixListGenSymbolSm::isLookedUp(PfxListFamily const& family) const {
  auto const& symbol = (this->*family.list).symbol;
  return (symbol ? symbol->name() : Orb::String()) == (*dplConfig().*family.nameOf)();
}

bool DynPrefixListGenSymbolSm::isLookedUp() const {
  return std::all_of(std::begin(PfxListFamily::all), std::end(PfxListFamily::all),
                     [&](auto const& family) { return isLookedUp(family); });
}

void DynPrefixListGenSymbolSm::updateDynPrefixListSymbol() {
  if (stage_ != Stage::atWork) return;
  Orb::Ptr<DynPrefixListGenSymbolSm> const alive(this);
  isToPublish_ = dplConfig()->version() != 0;
  if (isToPublish_ && isToLookUp_) return;  // catchUp() is under way, or will be called
  Orb::FirstError error;
  if (isToPublish_) {
    error.guard([&] { publish(); });
  } else if (allDplSymbol()->symbol(name())) {
    error.guard([&] { handleDynPrefixListGenSymbolSmDelete(); });
  }
  armIfBehind();
  error.rethrow();
}

void DynPrefixListGenSymbolSm::publish() {
  Orb::U64 const publication = ++publication_;
  auto const status = dynPrefixListStatusFactory(name());
  status->activeInVrfIs(dplState()->activeInVrf());
  auto const symbol = dplSymbolTable()->symbolIs(name());
  Orb::FirstError error;
  error.guard([&] { allDplSymbol()->symbolIs(symbol); });
  // An observer of the collection may have let the generator go, had it publish what is newer, or
  // named other prefix lists, for which there was no memory.
  bool const isOver = stage_ != Stage::atWork || publication_ != publication || isToLookUp_;
  if (!isOver && allDplSymbol()->symbol(name()) == symbol) {
    isToPublish_ = false;
    status->ipv4PfxListSymbolIs(ipv4_.symbol);
    status->ipv6PfxListSymbolIs(ipv6_.symbol);
    symbol->statusIs(status);
    auto const notifier = symbol->symbolNotifier();  // observers may take it from the symbol
    error.guard([&] { symbol->versionInc(1); });
    error.guard([&] {
      ORB_TRACE(traceSm(), 8,
                " Updated dpl symbol: " << name()
                                        << " version: " << (notifier ? notifier->version() : 0));
    });
  }
  error.rethrow();
}

void DynPrefixListGenSymbolSm::armIfBehind() {
  if (stage_ == Stage::atWork && (isToLookUp_ || isToPublish_)) {
    timer_.timeMinIs(Orb::Clock::kNextTurn);
  }
}

// The destructor calls these two, too: they take no reference to the generator. One that was never
// at work has published nothing, and another one may be at work under its name.
void DynPrefixListGenSymbolSm::detach() {
  Stage const stage = std::exchange(stage_, Stage::detached);
  if (stage == Stage::detached) return;
  stopReacting();
  stateSm_ = nullptr;
  ipv4_.symbolIs(nullptr);
  ipv6_.symbolIs(nullptr);
  timer_.timeMinIs(Orb::Clock::kNever);
  if (stage == Stage::atWork) handleDynPrefixListGenSymbolSmDelete();
}

/// Holders find no status before anything is called that may bring the list back, whose symbol
/// stays then.
void DynPrefixListGenSymbolSm::handleDynPrefixListGenSymbolSmDelete() {
  Orb::Name const name = this->name();
  auto const all = allDplSymbol();
  auto const symbol = all->symbol(name);
  auto const old = symbol ? symbol->status() : nullptr;
  if (symbol) symbol->statusIs(nullptr);
  Orb::FirstError error;
  error.guard([&] { ORB_TRACE(traceSm(), 8, " Dpl symbol delete : " << name); });  // blank: kept
  if (symbol && !symbol->status()) error.guard([&] { withdraw(*all, *symbol); });
  error.rethrow();
}

Orb::Ptr<DynPrefixListGenSymbolSm> dynPrefixListGenSymbolSmFactory(
    Orb::Ptr<DynamicPrefixListEntry const> dplConfig,
    Orb::Ptr<DynamicPrefixListVrfSet const> dplState,
    Orb::Ptr<PrefixListSymbolDedupTable const> ipPrefixListTable,
    Orb::Ptr<PrefixListSymbolDedupTable const> ipv6PrefixListTable,
    Orb::Ptr<AllDynPrefixListSymbol> allDplSymbol,
    Orb::Ptr<DynPrefixListSymbolDedupTable const> dplSymbolTable) {
  auto generator = Orb::make<DynPrefixListGenSymbolSm>(DynPrefixListSource{
      std::move(dplConfig), std::move(dplState), std::move(ipPrefixListTable),
      std::move(ipv6PrefixListTable), std::move(allDplSymbol), std::move(dplSymbolTable)});
  generator->handleInitialized();
  return generator;
}

Orb::Ptr<DynPrefixListGenSymbolSm> DynPrefixListGenSymbolSm::DynPrefixListGenSymbolSmIs(
    Orb::Ptr<DynamicPrefixListEntry const> dplConfig,
    Orb::Ptr<DynamicPrefixListVrfSet const> dplState,
    Orb::Ptr<PrefixListSymbolDedupTable const> ipPrefixListTable,
    Orb::Ptr<PrefixListSymbolDedupTable const> ipv6PrefixListTable,
    Orb::Ptr<AllDynPrefixListSymbol> allDplSymbol,
    Orb::Ptr<DynPrefixListSymbolDedupTable const> dplSymbolTable) {
  return dynPrefixListGenSymbolSmFactory(
      std::move(dplConfig), std::move(dplState), std::move(ipPrefixListTable),
      std::move(ipv6PrefixListTable), std::move(allDplSymbol), std::move(dplSymbolTable));
}

}  // namespace Routing::RouteMap
