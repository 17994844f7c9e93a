#pragma once

#include "list_import/StagedEntries.h"
#include "policy_config/AsPathList.h"

namespace Acl {

/// The staging set of an AS-path list import.
class ROUTEPOLICY_EXPORT AsPathEntries
    : public StagedEntries<AsPathEntry, &AsPathEntry::userRegex> {
 public:
  /// The number of the next entry: they count from 1, unlike those of prefix lists, on purpose.
  Orb::U32 nextSeqno() const noexcept { return nextSeqno_; }
  void nextSeqnoIs(Orb::U32 seqno) noexcept { nextSeqno_ = seqno; }

  /// The first entry with the very text of this expression that duplicate checks see, or kNone.
  Record withRegex(Orb::String const& userRegex) const;
  /// REQUIRES: withRegex() gave the record, and nothing was added or removed since.
  AsPathEntry const& entry(Record record) const { return collection_[record].entry; }

  /// Removes the entry with this number and expression: the first one that duplicate checks see, or
  /// else the first of all. Number, expression and entry must be there: fatal assertions otherwise.
  void removeEntry(Orb::U32 seqno, Orb::String const& userRegex);

 private:
  Orb::U32 nextSeqno_ = 1;
};

}  // namespace Acl
