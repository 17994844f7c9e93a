#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <vector>

#include "list_import/RecordIndex.h"
#include "platform/orb/base/Text.h"

/// The staging set of an import, whatever the kind of list: the entries that the lines of a source
/// file gave, kept apart until the whole file has been read.
///
/// A record is an entry in its place in acceptance order. Two dictionaries lead to records:
///  1. The dictionary of contents (prefixes, expressions), from what entries have in common that
///     may repeat each other, to the chain of their records in acceptance order. The first record
///     of a chain knows the last one.
///  2. The sequence-number dictionary, from a number to the record that holds it. Where a later
///     record takes a number over, the older one stays in the set.
///  3. To remove an entry takes its content out of the dictionary altogether, on purpose: other
///     entries of the content stay in the set, and are applied, but duplicate checks no longer see
///     them.
///  4. A removed record stays where it is, marked, until the set goes: record numbers never change,
///     and a removal takes the same time however large the set is.
namespace Acl {

/// `contentOf` is the accessor of an entry's content, for which hashOf() gives 32 bits.
template <class EntryT, auto contentOf>
class StagedEntries {
 public:
  using Entry = EntryT;
  using Content = std::remove_cvref_t<std::invoke_result_t<decltype(contentOf), Entry const&>>;
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

  /// Adds an entry as the last one; its number now leads to it. Nothing has changed when there is
  /// no memory.
  void add(Entry const& entry) {
    auto const record = static_cast<Record>(collection_.size());
    Position const ofContent = findContent(std::invoke(contentOf, entry));
    Position const ofSeqno = findSeqno(entry.seqno());
    bool const isFirst = ofContent == contentDict_.end();
    bool const isNewSeqno = ofSeqno == seqnoDict_.end();
    if (isFirst) contentDict_.reserveOne();
    if (isNewSeqno) seqnoDict_.reserveOne();
    collection_.push_back({entry, kNone, record});
    ++size_;
    if (isFirst) {
      contentDict_.insert(hashOf(std::invoke(contentOf, entry)), record);
    } else {
      Item& first = collection_[contentDict_[ofContent]];
      collection_[first.last].next = record;
      first.last = record;
    }
    if (isNewSeqno) {
      seqnoDict_.insert(seqnoHash(entry.seqno()), record);
    } else {
      seqnoDict_.replace(ofSeqno, record);
    }
  }

  /// Removes the very record, and its number from the dictionary if that leads to it.
  void remove(Record record) {
    Item& item = collection_[record];
    Position const ofSeqno = findSeqno(item.entry.seqno());
    if (ofSeqno != seqnoDict_.end() && seqnoDict_[ofSeqno] == record) seqnoDict_.erase(ofSeqno);
    Position const ofContent = findContent(std::invoke(contentOf, item.entry));
    if (ofContent != contentDict_.end()) contentDict_.erase(ofContent);
    item = {Entry(), kRemoved, kNone};
    --size_;
  }

 protected:
  using Position = RecordIndex::Position;
  struct Item {
    Entry entry;
    Record next = kNone;  // in the chain of the content; kRemoved: no longer in the set
    Record last = kNone;  // of the chain; kept in its first record only
  };
  static constexpr Record kRemoved = kNone - 1;

  Position findContent(Content const& content) const {
    return contentDict_.find(hashOf(content), [&](Record record) {
      return std::invoke(contentOf, collection_[record].entry) == content;
    });
  }
  Position findSeqno(Orb::U32 seqno) const {
    return seqnoDict_.find(seqnoHash(seqno), [&](Record record) {
      return collection_[record].entry.seqno() == seqno;
    });
  }
  /// The record with this number and content: the first in the chain that begins with
  /// `firstOfContent`, or else the first of all; the end of the collection when there is none.
  auto find(Orb::U32 seqno, Content const& content, Record firstOfContent) const {
    for (Record record = firstOfContent; record != kNone; record = collection_[record].next) {
      if (collection_[record].entry.seqno() == seqno) return collection_.begin() + record;
    }
    return std::find_if(collection_.begin(), collection_.end(), [&](Item const& item) {
      return item.next != kRemoved && item.entry.seqno() == seqno &&
             std::invoke(contentOf, item.entry) == content;
    });
  }

  std::vector<Item> collection_;
  RecordIndex contentDict_;
  RecordIndex seqnoDict_;

 private:
  /// Sixteen numbers in a row lie side by side: most files count upwards.
  static Orb::U32 seqnoHash(Orb::U32 seqno) noexcept {
    return Orb::hashOf(seqno >> 4) << 4 | (seqno & 15);
  }

  std::size_t size_ = 0;
};

}  // namespace Acl
