#include "list_import/PfxEntries.h"

#include <algorithm>

#include "platform/orb/base/Error.h"

namespace Acl {

namespace {

/// Sixteen numbers in a row lie side by side: most files count upwards.
Orb::U32 seqnoHash(Orb::U32 seqno) noexcept { return Orb::hashOf(seqno >> 4) << 4 | (seqno & 15); }

}  // namespace

template <class Family>
RecordIndex::Position PfxEntries<Family>::findPrefix(Prefix const& prefix) const {
  return prefixDict_.find(
      hashOf(prefix), [&](Record record) { return collection_[record].entry.prefix() == prefix; });
}

template <class Family>
RecordIndex::Position PfxEntries<Family>::findSeqno(Orb::U32 seqno) const {
  return seqnoDict_.find(seqnoHash(seqno),
                         [&](Record record) { return collection_[record].entry.seqno() == seqno; });
}

template <class Family>
auto PfxEntries<Family>::duplicateOf(Entry const& entry) const -> Record {
  RecordIndex::Position const place = findPrefix(entry.prefix());
  if (place == prefixDict_.end()) return kNone;
  Record record = prefixDict_[place];
  for (; record != kNone; record = collection_[record].next) {
    Entry const& earlier = collection_[record].entry;
    bool const repeats = entry.eq() != 0 ? earlier.eq() == entry.eq()
                                         : earlier.le() == entry.le() && earlier.ge() == entry.ge();
    if (repeats) break;
  }
  return record;
}

template <class Family>
void PfxEntries<Family>::add(Entry const& entry) {
  auto const record = static_cast<Record>(collection_.size());
  RecordIndex::Position const ofPrefix = findPrefix(entry.prefix());
  RecordIndex::Position const ofSeqno = findSeqno(entry.seqno());
  collection_.push_back({entry, kNone, record});
  ++size_;
  if (ofPrefix == prefixDict_.end()) {
    prefixDict_.insert(hashOf(entry.prefix()), record);
  } else {
    Item& first = collection_[prefixDict_[ofPrefix]];
    collection_[first.last].next = record;
    first.last = record;
  }
  if (ofSeqno == seqnoDict_.end()) {
    seqnoDict_.insert(seqnoHash(entry.seqno()), record);
  } else {
    seqnoDict_.replace(ofSeqno, record);
  }
}

template <class Family>
void PfxEntries<Family>::remove(Record record) {
  Item& item = collection_[record];
  RecordIndex::Position const ofSeqno = findSeqno(item.entry.seqno());
  if (ofSeqno != seqnoDict_.end() && seqnoDict_[ofSeqno] == record) seqnoDict_.erase(ofSeqno);
  RecordIndex::Position const ofPrefix = findPrefix(item.entry.prefix());
  if (ofPrefix != prefixDict_.end()) prefixDict_.erase(ofPrefix);
  item.next = kRemoved;
  --size_;
}

/// The record with this number and prefix: the first in the chain, or else the first of all.
template <class Family>
auto PfxEntries<Family>::find(Orb::U32 seqno, Prefix const& prefix, Record firstOfPrefix) const ->
    typename std::vector<Item>::const_iterator {
  for (Record record = firstOfPrefix; record != kNone; record = collection_[record].next) {
    if (collection_[record].entry.seqno() == seqno) return collection_.begin() + record;
  }
  return std::find_if(collection_.begin(), collection_.end(), [&](Item const& item) {
    return item.next != kRemoved && item.entry.seqno() == seqno && item.entry.prefix() == prefix;
  });
}

template <class Family>
void PfxEntries<Family>::removeEntry(Orb::U32 seqno, Prefix const& prefix) {
  // Under the names that the assertions print.
  auto const& seqnoDict = seqnoDict_;
  auto const& prefixDict = prefixDict_;
  auto const& collection = collection_;
  auto const seqnoDictIter = findSeqno(seqno);
  ORB_ASSERT(seqnoDictIter != seqnoDict.end());
  auto const pfxDictIter = findPrefix(prefix);
  ORB_ASSERT(pfxDictIter != prefixDict.end());
  auto const collIter = find(seqno, prefix, prefixDict[pfxDictIter]);
  ORB_ASSERT(collIter != collection.end());
  remove(static_cast<Record>(collIter - collection.begin()));
}

template class PfxEntries<Ipv4Family>;
template class PfxEntries<Ipv6Family>;

}  // namespace Acl
