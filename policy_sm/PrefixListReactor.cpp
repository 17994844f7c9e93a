#include "policy_sm/PrefixListReactor.h"

#include <iterator>

#include "policy_sm/ListMachine.h"
#include "policy_sm/detail/ListReactorBody.h"
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
    : ListReactor<PrefixLists<Family>>(std::move(list), machine) {}

template <class Family>
void PrefixListReactor<Family>::prepare() {
  if (!newTrie_) newTrie_ = Orb::make<PatriciaTrieWithNodeData>(this->name(), Family::kFamily);
}

template <class Family>
void PrefixListReactor<Family>::compileSome(Orb::U64& count) {
  if (this->isBuilding()) prepare();
  if (!newTrie_ && Family::entries(*prefixList()).empty()) return;
  auto const trie = newTrie_;
  ORB_ASSERT(trie);
  Slice const slice(*this);
  if (slice.isOver()) return;
  auto const symbol = prefixListConfigSm()->allSymbol()->symbol(this->name());
  if (!symbol) return this->stop();
  auto const status = prefixListStatusFactory(this->name());  // there before the last entry is
  status->trieIs(trie);
  if (!addEntries(slice, count)) return;
  // Everything is idle before observers are notified: one of them may raise the list's version and
  // so start the next build, or delete the list and this reactor with it.
  this->stop();
  symbol->statusIs(status);
  symbol->versionInc(1);
}

/// Adds entries from the bookmark on, and counts them. True when none is left. Whatever is traced,
/// and each look at the clock, may change the list and the reactor: they are looked at anew after
/// it.
template <class Family>
bool PrefixListReactor<Family>::addEntries(Slice const& slice, Orb::U64& count) {
  auto const trie = newTrie_;
  auto const& entries = Family::entries(*prefixList());
  Scout scout(*trie, entries, bookmark_);
  auto at = entries.lowerBound(bookmark_);
  while (at != entries.end()) {
    GenPrefixEntry const entry = compiled<Family>(*at);
    scout.step();
    ORB_TRACE(traceSm(), 8, "PL: " << this->name() << " seqno: " << entry.seqno());
    trie->routeIs(entry.prefix(), prefixListEntryDataFactory(entry));
    if (slice.isOver()) return false;
    ++count;
    bookmark_ = entry.seqno() + 1;  // 0 behind the highest number, where nothing is left to add
    bool const isSpent = slice.isSpent();
    if (slice.isOver()) return false;
    ++at;  // to the first entry behind, whatever has come or gone
    if (isSpent && at != entries.end()) {
      bookmark_ = at.key();
      ORB_TRACE(traceSm(), 5, "PL: " << this->name() << " pausing processing at " << at.key());
      return false;
    }
  }
  return true;
}

template <class Family>
void PrefixListReactor<Family>::drop() noexcept {
  bookmark_ = 0;
  newTrie_ = nullptr;
}

template class ListReactor<PrefixLists<Acl::Ipv4Family>>;
template class ListReactor<PrefixLists<Acl::Ipv6Family>>;
template class PrefixListReactor<Acl::Ipv4Family>;
template class PrefixListReactor<Acl::Ipv6Family>;

}  // namespace Routing::RouteMap
