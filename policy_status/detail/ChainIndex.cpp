#include "policy_status/detail/ChainIndex.h"

#include <algorithm>

namespace Routing::RouteMap::detail {

void ChainIndex::make(PrefixListEntryData& head) {
  std::unique_ptr<ChainIndex> index(new ChainIndex(head.low_, head.isIpv4_ ? 32 : 128));
  index->fill(head);
  head.index_ = index.release();
  head.hasIndex_ = true;
}

/// The index lies where the last 64 bits of its head's prefix were: the old head gets them back,
/// and the new head, which has the same prefix, leaves its own to the index.
void ChainIndex::move(PrefixListEntryData& from, PrefixListEntryData& to) noexcept {
  ChainIndex* const index = of(from);
  if (!index) return;
  from.low_ = index->low_;
  from.hasIndex_ = false;
  to.index_ = index;
  to.hasIndex_ = true;
}

void ChainIndex::drop(PrefixListEntryData& head) noexcept {
  std::unique_ptr<ChainIndex> const index(of(head));
  if (!index) return;
  head.low_ = index->low_;
  head.hasIndex_ = false;
}

void ChainIndex::fill(PrefixListEntryData const& head) noexcept {
  std::fill_n(first_.get(), longest_ + 1, nullptr);
  tail_ = nullptr;
  for (auto* entry = head.nextEntryData_.get(); entry; entry = entry->nextEntryData_.get()) {
    note(*entry, [](PrefixListEntryData const*) { return false; });
  }
}

void ChainIndex::add(PrefixListEntryData& entry) noexcept {
  // Of entries with one number, the last to be added stands first.
  note(entry, [&](PrefixListEntryData const* first) { return entry.seqno_ <= first->seqno_; });
}

template <class IsBefore>
void ChainIndex::note(PrefixListEntryData& entry, IsBefore const& isBefore) noexcept {
  EntrySummary const bounds(entry.summary());
  for (Orb::U32 length = 0; length <= longest_; ++length) {
    PrefixListEntryData const*& first = first_[length];
    if (bounds.matchesLength(length) && (!first || isBefore(first))) first = &entry;
  }
  if (!entry.nextEntryData_) tail_ = &entry;
}

}  // namespace Routing::RouteMap::detail
