#pragma once

#include "list_import/StagedEntries.h"
#include "policy_config/PrefixListFamily.h"

namespace Acl {

/// The staging set of a prefix-list import. Numbers that were given automatically are not checked,
/// so a later entry may take a number over.
template <class Family>
class PfxEntries : public StagedEntries<typename Family::Entry, &Family::Entry::prefix> {
 public:
  using Entry = typename Family::Entry;
  using Prefix = typename Family::Prefix;
  using Record = RecordIndex::Record;

  /// The number of the next entry that has none of its own. Beyond 32 bits there are no more.
  Orb::U64 nextSeqno() const noexcept { return nextSeqno_; }
  void nextSeqnoIs(Orb::U64 seqno) noexcept { nextSeqno_ = seqno; }

  /// The first entry under the same prefix that `entry` repeats, or kNone: the one with the same
  /// `eq` where `entry` has one, else the one with the same `ge` and `le`. The verdict does not
  /// count. Both are in stored form: with `eq` set, `ge` and `le` equal it.
  Record duplicateOf(Entry const& entry) const;

  /// Removes the entry with this number and prefix: the first one that duplicate checks see, or
  /// else the first of all. Number, prefix and entry must be there: fatal assertions otherwise.
  void removeEntry(Orb::U32 seqno, Prefix const& prefix);

 private:
  Orb::U64 nextSeqno_ = 0;
};

using Ipv4PfxEntries = PfxEntries<Ipv4Family>;
using Ipv6PfxEntries = PfxEntries<Ipv6Family>;

extern template class ROUTEPOLICY_EXPORT PfxEntries<Ipv4Family>;
extern template class ROUTEPOLICY_EXPORT PfxEntries<Ipv6Family>;

}  // namespace Acl
