#include "policy_status/detail/ChainIndex.h"

#include <algorithm>

namespace Routing::RouteMap::detail {

void ChainIndex::make(PrefixListEntryData& head) {
  std::unique_ptr<ChainIndex> index(new ChainIndex(head.low_, head.isIpv4_ ? 32 : 128));
  index->fill(head);
  head.index_ = index.release();
  head.hasIndex_ = true;
}

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
  for (auto* rule = head.nextEntryData_.get(); rule; rule = rule->nextEntryData_.get()) {
    note(*rule, [](PrefixListEntryData const*) { return false; });
  }
}

void ChainIndex::add(PrefixListEntryData& rule) noexcept {
  // Of rules with one number, the last to be added stands first.
  note(rule, [&](PrefixListEntryData const* first) { return rule.seqno_ <= first->seqno_; });
}

template <class IsBefore>
void ChainIndex::note(PrefixListEntryData& rule, IsBefore const& isBefore) noexcept {
  RuleSummary const bounds(rule.summary());
  for (Orb::U32 length = 0; length <= longest_; ++length) {
    PrefixListEntryData const*& first = first_[length];
    if (bounds.matchesLength(length) && (!first || isBefore(first))) first = &rule;
  }
  if (!rule.nextEntryData_) tail_ = &rule;
}

}  // namespace Routing::RouteMap::detail
