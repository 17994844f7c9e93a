#include "policy_sm/PrefixListReactor.h"

#include <iterator>

#include "policy_sm/PrefixListMachine.h"
#include "policy_sm/detail/HandlerNames.h"
#include "policy_sm/detail/Trace.h"
#include "policy_status/PrefixListEntryData.h"

namespace Routing::RouteMap {

namespace {

/// Goes ahead of a build over the entries of a list, and announces to the trie what will be
/// added soon.
/// The entries may change between two steps: an iterator stands at what it has announced, and is
/// moved before it is looked through.
template <class Entries>
class Scout {
 public:
  Scout(PatriciaTrieWithNodeData const& trie, Entries const& entries, Orb::U32 from)
      : trie_(trie), far_(entries.lowerBound(from)), near_(far_) {
    using Trie = PatriciaTrieWithNodeData;
    announceFar();
    announceNear();
    for (int i = 1; i < Trie::kFar; ++i) stepFar();
    for (int i = 1; i < Trie::kNear; ++i) stepNear();
  }
  void step() {
    stepFar();
    stepNear();
  }

 private:
  using Iterator = typename Entries::Iterator;

  void stepFar() {
    if (far_ == std::default_sentinel) return;
    ++far_;
    announceFar();
  }
  void stepNear() {
    if (near_ == std::default_sentinel) return;
    ++near_;
    announceNear();
  }
  void announceFar() {
    if (far_ != std::default_sentinel) trie_.expectFar(Ipa::IpGenPrefix(far_->prefix()));
  }
  void announceNear() {
    if (near_ != std::default_sentinel) trie_.expectNear(Ipa::IpGenPrefix(near_->prefix()));
  }

  PatriciaTrieWithNodeData const& trie_;
  Iterator far_;
  Iterator near_;
};

/// A configured entry as it is compiled: with both bounds set, the full length of the family where
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
  Orb::Ptr<PrefixListReactor> const alive(this);
  if (machine_) {  // before anything that may throw: no change of the version is lost
    bookmark_ = 0;
    newTrie_ = nullptr;
    wantsTrie_ = true;
    timer_.timeMinIs(Orb::Clock::kNextTurn);
  }
  ORB_TRACE(traceSm(), 8,
            kHandlerNames<Family>.handleVersion << " version: " << prefixList()->version());
  if (wantsTrie_) makeTrie();
}

template <class Family>
void PrefixListReactor<Family>::makeTrie() {
  newTrie_ = Orb::make<PatriciaTrieWithNodeData>(name(), Family::kFamily);
  wantsTrie_ = false;
}

template <class Family>
Orb::U64 PrefixListReactor<Family>::processClock() {
  if (inSlice_) return 0;
  Orb::Ptr<PrefixListReactor> const alive(this);
  Orb::FirstError error;
  Orb::U64 count = 0;
  inSlice_ = true;
  error.guard([&] { runSlice(count); });
  inSlice_ = false;
  if (isBuilding()) timer_.timeMinIs(Orb::Clock::kNextTurn);  // it paused, began anew or threw
  error.rethrow();
  return count;
}

/// Counts the entries that it adds. Whatever is traced, and each look at the clock, may change the
/// list and the reactor: they are looked at anew after it.
template <class Family>
void PrefixListReactor<Family>::runSlice(Orb::U64& count) {
  ORB_TRACE(traceSm(), 8, "processClock");
  if (!initialized_ || !machine_) return;
  if (wantsTrie_) makeTrie();
  auto const& entries = Family::entries(*prefixList());
  if (!newTrie_ && entries.empty()) return;
  auto const trie = newTrie_;
  ORB_ASSERT(trie);

  auto const clock = this->clock();
  double const deadline = clock->now() + clockQuantum_;
  if (newTrie_ != trie) return;
  auto const symbol = machine_->allSymbol()->symbol(name());
  if (!symbol) return stopBuilding();
  auto const status = prefixListStatusFactory(name());  // there before the last entry is

  Scout scout(*trie, entries, bookmark_);
  auto at = entries.lowerBound(bookmark_);
  while (at != entries.end()) {
    GenPrefixEntry const entry = compiled<Family>(*at);
    scout.step();
    addEntry(*trie, entry);
    if (newTrie_ != trie) return;
    ++count;
    bookmark_ = entry.seqno() + 1;  // 0 behind the highest number, where nothing is left to add
    bool const isSpent = clock->now() >= deadline;
    if (newTrie_ != trie) return;
    ++at;  // to the first entry behind, whatever has come or gone
    if (isSpent && at != entries.end()) {
      bookmark_ = at.key();
      ORB_TRACE(traceSm(), 5, "PL: " << name() << " pausing processing at " << at.key());
      return;
    }
  }
  publish(*symbol, status);
}

template <class Family>
void PrefixListReactor<Family>::addEntry(PatriciaTrieWithNodeData& trie,
                                         GenPrefixEntry const& entry) {
  ORB_TRACE(traceSm(), 8, "PL: " << name() << " seqno: " << entry.seqno());
  trie.routeIs(entry.prefix(), prefixListEntryDataFactory(entry));
}

template <class Family>
void PrefixListReactor<Family>::publish(PrefixListSymbol& symbol,
                                        Orb::Ptr<PrefixListStatus> const& status) {
  // Everything is idle before observers are notified: one of them may raise the list's version and
  // so start the next build, or delete the list and this reactor with it.
  status->trieIs(newTrie_);
  stopBuilding();
  symbol.statusIs(status);
  symbol.versionInc(1);
}

template <class Family>
void PrefixListReactor<Family>::stopBuilding() noexcept {
  bookmark_ = 0;
  timer_.timeMinIs(Orb::Clock::kNever);
  newTrie_ = nullptr;
  wantsTrie_ = false;
}

template <class Family>
void PrefixListReactor<Family>::detach() noexcept {
  this->stopReacting();
  machine_ = nullptr;
  stopBuilding();
}

template <class Family>
void PrefixListReactor<Family>::Timer::onTime() {
  // The time source, which is called when the timer is armed, may have ended the build meanwhile.
  if (reactor_.isBuilding()) reactor_.processClock();
}

template class PrefixListReactor<Acl::Ipv4Family>;
template class PrefixListReactor<Acl::Ipv6Family>;

}  // namespace Routing::RouteMap
