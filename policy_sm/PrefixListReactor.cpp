#include "policy_sm/PrefixListReactor.h"

#include "policy_sm/PrefixListMachine.h"
#include "policy_sm/detail/HandlerNames.h"
#include "policy_sm/detail/Trace.h"
#include "policy_status/PrefixListEntryData.h"

namespace Routing::RouteMap {

namespace {

/// Goes ahead of a build over the rules of a list, and tells the trie what will be added soon.
template <class Entries>
class Scout {
 public:
  Scout(PatriciaTrieWithNodeData const* trie, Entries const& entries, Orb::U32 from)
      : trie_(trie), far_(entries.lowerBound(from)), near_(far_), end_(entries.end()) {
    using Trie = PatriciaTrieWithNodeData;
    for (int i = 0; i < Trie::kFar; ++i) stepFar();
    for (int i = 0; i < Trie::kNear; ++i) stepNear();
  }
  void step() {
    stepFar();
    stepNear();
  }

 private:
  using Iterator = decltype(std::declval<Entries const&>().begin());

  void stepFar() {
    if (!trie_ || far_ == end_) return;
    trie_->expectFar(Ipa::IpGenPrefix(far_->prefix()));
    ++far_;
  }
  void stepNear() {
    if (!trie_ || near_ == end_) return;
    trie_->expectNear(Ipa::IpGenPrefix(near_->prefix()));
    ++near_;
  }

  PatriciaTrieWithNodeData const* const trie_;
  Iterator far_;
  Iterator near_;
  Iterator const end_;
};

/// A configured rule as it is compiled: with both bounds set, the full length of the family where
/// only the lower one is given.
template <class Family>
GenPrefixEntry compiled(typename Family::Entry const& entry) {
  Orb::U32 const length = entry.prefix().length();
  Orb::U32 const ge = entry.ge() ? entry.ge() : length;
  Orb::U32 const le = entry.le() ? entry.le() : entry.ge() ? Family::kMaxLength : length;
  return GenPrefixEntry::of(entry.seqno(), Ipa::IpGenPrefix(entry.prefix()), entry.permit(), ge, le,
                            entry.eq());
}

}  // namespace

template <class Family>
PrefixListReactor<Family>::PrefixListReactor(Orb::Ptr<List const> list, Machine& machine)
    : Base(std::move(list)), machine_(&machine), timer_(*this) {
  handleInitial();
}

template <class Family>
void PrefixListReactor<Family>::handleInitial() {
  ORB_TRACE(traceSm(), 8, kHandlerNames<Family>.handleInitial);
  clockIs(Orb::ActivityManager::current().clock());
  timer_.timeMinIs(Orb::Clock::kNever);
  if (!Family::entries(*prefixList()).empty()) handleVersion();
  initialized_ = true;
}

template <class Family>
void PrefixListReactor<Family>::handleVersion() {
  ORB_TRACE(traceSm(), 8,
            kHandlerNames<Family>.handleVersion << " version: " << prefixList()->version());
  if (!machine_) return;
  auto trie = Orb::make<PatriciaTrieWithNodeData>(name(), Family::kFamily);
  timer_.timeMinIs(Orb::Clock::kNextTurn);
  // There was memory for it all; else a build that was under way goes on as it was.
  bookmark_ = 0;
  newTrie_ = std::move(trie);
}

template <class Family>
Orb::U64 PrefixListReactor<Family>::processClock() {
  ORB_TRACE(traceSm(), 8, __func__);
  if (!initialized_ || !machine_) return 0;
  auto const& entries = Family::entries(*prefixList());
  if (!newTrie_ && entries.empty()) return 0;

  double const deadline = clock()->now() + clockQuantum_;
  Orb::Ptr<PrefixListSymbol> const symbol = machine_->allSymbol()->symbol(name());
  if (!symbol) {
    stopBuilding();
    return 0;
  }
  Scout scout(newTrie_.get(), entries, bookmark_);
  Orb::U64 count = 0;
  Orb::Ptr<PrefixListStatus> status;
  try {
    status = prefixListStatusFactory(name());  // there before the last rule is
    for (auto at = entries.lowerBound(bookmark_); at != entries.end(); ++at) {
      Entry const& entry = *at;
      if (count != 0 && clock()->now() >= deadline) {
        ORB_TRACE(traceSm(), 5, "PL: " << name() << " pausing processing at " << entry.seqno());
        bookmark_ = entry.seqno();
        timer_.timeMinIs(Orb::Clock::kNextTurn);
        return count;
      }
      scout.step();
      bookmark_ = entry.seqno();
      addEntry(entry);
      ++count;
    }
  } catch (...) {  // no memory: the build goes on at the bookmark when there may be some again
    timer_.timeMinIs(Orb::Clock::kNextTurn);
    throw;
  }
  publish(symbol, status);
  return count;
}

template <class Family>
void PrefixListReactor<Family>::addEntry(Entry const& entry) {
  ORB_TRACE(traceSm(), 8, "PL: " << name() << " seqno: " << entry.seqno());
  PatriciaTrieWithNodeData* const trie = newTrie_.get();
  ORB_ASSERT(trie);
  trie->routeIs(Ipa::IpGenPrefix(entry.prefix()),
                prefixListEntryDataFactory(compiled<Family>(entry)));
}

template <class Family>
void PrefixListReactor<Family>::publish(Orb::Ptr<PrefixListSymbol> const& symbol,
                                        Orb::Ptr<PrefixListStatus> const& status) {
  // Everything is idle before the users are told: one of them may raise the list's version and so
  // start the next build, or delete the list and this reactor with it.
  status->trieIs(newTrie_);
  stopBuilding();
  symbol->statusIs(status);
  symbol->versionInc(1);
}

template <class Family>
void PrefixListReactor<Family>::stopBuilding() noexcept {
  bookmark_ = 0;
  timer_.timeMinIs(Orb::Clock::kNever);
  newTrie_ = nullptr;
}

template <class Family>
void PrefixListReactor<Family>::detach() noexcept {
  this->stopReacting();
  machine_ = nullptr;
  stopBuilding();
}

template <class Family>
void PrefixListReactor<Family>::Timer::onTime() {
  Orb::Ptr<PrefixListReactor> const alive(&reactor_);
  reactor_.processClock();
}

template class PrefixListReactor<Acl::Ipv4Family>;
template class PrefixListReactor<Acl::Ipv6Family>;

}  // namespace Routing::RouteMap
