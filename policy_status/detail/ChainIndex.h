#pragma once

#include <memory>

#include "policy_status/PrefixListEntryData.h"

namespace Routing::RouteMap::detail {

/// Makes long chains quick: for each route length the first entry behind the head that holds it,
/// and the tail, so that entries which come in the order of their numbers are put behind it at
/// once.
///
/// A chain gets its index when an insertion has walked past kWorthwhile entries, and keeps it from
/// then on; it belongs to the head, and moves when another entry becomes the head. An insertion
/// updates it, a removal makes it anew.
class ChainIndex {
 public:
  static constexpr std::size_t kWorthwhile = 16;

  /// The index of `head`'s chain, or null.
  static ChainIndex* of(PrefixListEntryData const& head) noexcept {
    return head.hasIndex_ ? head.index_ : nullptr;
  }
  /// Gives `head` an index of its chain. REQUIRES: it has none.
  static void make(PrefixListEntryData& head);
  /// Moves the index, if there is one, to another entry, as it is.
  static void move(PrefixListEntryData& from, PrefixListEntryData& to) noexcept;
  static void drop(PrefixListEntryData& head) noexcept;

  /// Makes it anew for the chain of `head`.
  void fill(PrefixListEntryData const& head) noexcept;
  /// Notes an entry that was put into the chain behind its head.
  void add(PrefixListEntryData& entry) noexcept;

  PrefixListEntryData const* first(Orb::U32 length) const noexcept {
    return length <= longest_ ? first_[length] : nullptr;
  }
  PrefixListEntryData* tail() const noexcept { return tail_; }
  Orb::U64 low() const noexcept { return low_; }

 private:
  /// Puts the entry first for the lengths that it holds and where it comes before what is first.
  template <class IsBefore>
  void note(PrefixListEntryData& entry, IsBefore const& isBefore) noexcept;

  ChainIndex(Orb::U64 low, Orb::U32 longest)
      : low_(low),
        longest_(longest),
        first_(std::make_unique<PrefixListEntryData const*[]>(longest + 1)) {}

  Orb::U64 const low_;  // of the head's prefix, whose place this took
  Orb::U32 const longest_;
  PrefixListEntryData* tail_ = nullptr;
  std::unique_ptr<PrefixListEntryData const*[]> const first_;
};

}  // namespace Routing::RouteMap::detail
