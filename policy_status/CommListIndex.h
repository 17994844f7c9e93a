#pragma once

#include <memory>
#include <span>
#include <vector>

#include "platform/orb/base/FunctionRef.h"
#include "platform/orb/base/Ptr.h"
#include "policy_config/CommunityValue.h"
#include "policy_status/detail/ValueTable.h"

namespace Acl {
class CommunityListEntry;
}

namespace Routing::RouteMap {

class CommListStatus;
class PosixRegex;

/// What makes matches against a community list quick: its entries by their values. It changes no
/// answer. What it points to belongs to the status that it was made of.
///
/// An entry of explicit values matches routes that carry all of them, so it is enough to look for
/// it under one, and that is the one which the fewest entries of the list have. A match looks each
/// of the route's values up, and compares the entries filed under it. Their number hardly depends
/// on the length of the list, where most entries have a value that few others have.
///
///  1. entries_ holds the entries of explicit values in ascending sequence number; the values of
///     entry i are those of values_ from entries_[i].values to entries_[i + 1].values, ascending.
///     One more, which is none, ends the last: its entry is null.
///  2. Each entry that has values is in one chain: that of the value of its own which occurs in the
///     fewest entries. first_ leads to the first entry of a chain, and next to the others, in
///     ascending order.
///  3. An entry without values is in no chain. Of those the first alone can be an answer.
class ROUTEPOLICY_EXPORT CommListIndex final : public Orb::RefCounted {
 public:
  /// An expanded entry. One that has no compiled engine matches nothing, and is left out.
  struct Expanded {
    Orb::U32 seqno;
    PosixRegex const* regex;
    Acl::CommunityListEntry const* entry;
  };

  /// Of the entries whose listType is that of explicit values, the one of the lowest sequence
  /// number whose values the route carries all: an entry without values always matches. `isExact`:
  /// and no others. Null when there is none. `values` ascend; what stands there twice counts once.
  /// Any thread, no allocation.
  Acl::CommunityListEntry const* firstExplicit(std::span<Acl::CommunityValue const> values,
                                               bool isExact) const noexcept;
  /// The expanded entries, in ascending sequence number.
  std::span<Expanded const> expanded() const noexcept { return expanded_; }
  /// What it takes, in bytes: 48 to 80 for each entry of explicit values and 12 for each of its
  /// values, and 24 for each expanded entry.
  std::size_t bytes() const noexcept;

 private:
  friend class CommListIndexBuilder;
  using Values = std::span<Acl::CommunityValue const>;
  static constexpr Orb::U32 kNone = ~Orb::U32{0};

  struct Explicit {
    Acl::CommunityListEntry const* entry;
    Orb::U32 values;
    Orb::U32 next;
  };

  Values valuesOf(Orb::U32 i) const noexcept;
  bool isMatch(Orb::U32 i, Values values, bool isExact) const noexcept;

  std::vector<Explicit> entries_;
  std::vector<Acl::CommunityValue> values_;
  detail::ValueTable first_;        // by value, the number of an entry plus one
  Orb::U32 withoutValues_ = kNone;  // the first entry that has none
  std::vector<Expanded> expanded_;
};

/// Makes the index of a status, a slice at a time.
class ROUTEPOLICY_EXPORT CommListIndexBuilder {
 public:
  /// REQUIRES: the status does not change any more.
  explicit CommListIndexBuilder(Orb::Ptr<CommListStatus const> status);
  CommListIndexBuilder(CommListIndexBuilder const&) = delete;
  CommListIndexBuilder& operator=(CommListIndexBuilder const&) = delete;
  ~CommListIndexBuilder();

  /// Works until it is done or `isSpent` says stop; at least one step, of some ten microseconds.
  /// True when done. After an exception (no memory) the builder is of no more use.
  bool work(Orb::FunctionRef<bool()> isSpent);
  /// The index, once; null until work() is done.
  Orb::Ptr<CommListIndex const> take();

 private:
  class Steps;
  std::unique_ptr<Steps> steps_;
};

}  // namespace Routing::RouteMap
