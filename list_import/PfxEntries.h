#pragma once

#include <cstddef>
#include <vector>

#include "list_import/RecordIndex.h"
#include "policy_config/PrefixListFamily.h"

/// The staging set of a prefix-list import: the entries that the lines of a source file gave, kept
/// apart until the whole file has been read.
///
/// A record is an entry in its place in acceptance order. Two dictionaries lead to records:
///  1. The prefix dictionary, from a prefix to the chain of its records in acceptance order. The
///     first record of a chain knows the last one.
///  2. The sequence-number dictionary, from a number to the record that holds it. Numbers that
///     were given automatically are not checked, so a later record may take a number over; the
///     older one stays in the set.
///  3. To remove an entry takes its prefix out of the prefix dictionary altogether, on purpose:
///     other entries of the prefix stay in the set, and are applied, but duplicate checks no
///     longer see them.
///  4. A removed record stays where it is, marked, until the set goes: record numbers never change,
///     and a removal takes the same time however large the set is.
namespace Acl {

template <class Family>
class PfxEntries {
 public:
  using Entry = typename Family::Entry;
  using Prefix = typename Family::Prefix;
  using Record = RecordIndex::Record;
  static constexpr Record kNone = RecordIndex::kNone;

  /// How many entries there are.
  std::size_t size() const noexcept { return size_; }

  /// Calls visit(entry) for every entry in acceptance order.
  template <class Visit>
  void forEach(Visit const& visit) const {
    for (Item const& item : collection_) {
      if (item.next != kRemoved) visit(item.entry);
    }
  }

  /// Whether a record holds the number.
  bool seqnoHas(Orb::U32 seqno) const { return findSeqno(seqno) != seqnoDict_.end(); }

  /// The number of the next entry that has none of its own. Beyond 32 bits there are no more.
  Orb::U64 nextSeqno() const noexcept { return nextSeqno_; }
  void nextSeqnoIs(Orb::U64 seqno) noexcept { nextSeqno_ = seqno; }

  /// The first entry under the same prefix that `entry` repeats, or kNone: the one with the same
  /// `eq` where `entry` has one, else the one with the same `ge` and `le`. The verdict does not
  /// count. Both are in stored form: with `eq` set, `ge` and `le` equal it.
  Record duplicateOf(Entry const& entry) const;

  /// Adds an entry in stored form as the last one; its number now leads to it.
  void add(Entry const& entry);

  /// Removes the very record, and its number from the dictionary if that leads to it.
  void remove(Record record);

  /// Removes the entry with this number and prefix: the first one that duplicate checks see, or
  /// else the first of all. Number, prefix and entry must be there: fatal assertions otherwise.
  void removeEntry(Orb::U32 seqno, Prefix const& prefix);

 private:
  struct Item {
    Entry entry;
    Record next = kNone;  // in the chain of the prefix; kRemoved: no longer in the set
    Record last = kNone;  // of the chain; kept in its first record only
  };
  static constexpr Record kRemoved = kNone - 1;

  RecordIndex::Position findPrefix(Prefix const& prefix) const;
  RecordIndex::Position findSeqno(Orb::U32 seqno) const;
  auto find(Orb::U32 seqno, Prefix const& prefix, Record firstOfPrefix) const ->
      typename std::vector<Item>::const_iterator;

  std::vector<Item> collection_;
  RecordIndex prefixDict_;
  RecordIndex seqnoDict_;
  Orb::U64 nextSeqno_ = 0;
  std::size_t size_ = 0;
};

using Ipv4PfxEntries = PfxEntries<Ipv4Family>;
using Ipv6PfxEntries = PfxEntries<Ipv6Family>;

extern template class ROUTEPOLICY_EXPORT PfxEntries<Ipv4Family>;
extern template class ROUTEPOLICY_EXPORT PfxEntries<Ipv6Family>;

}  // namespace Acl
