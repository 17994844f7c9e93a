#include "list_import/PfxEntries.h"

#include "platform/orb/base/Error.h"

namespace Acl {

template <class Family>
auto PfxEntries<Family>::duplicateOf(Entry const& entry) const -> Record {
  auto const place = this->findContent(entry.prefix());
  if (place == this->contentDict_.end()) return this->kNone;
  Record record = this->contentDict_[place];
  for (; record != this->kNone; record = this->collection_[record].next) {
    Entry const& earlier = this->collection_[record].entry;
    bool const repeats = entry.eq() != 0 ? earlier.eq() == entry.eq()
                                         : earlier.le() == entry.le() && earlier.ge() == entry.ge();
    if (repeats) break;
  }
  return record;
}

template <class Family>
void PfxEntries<Family>::removeEntry(Orb::U32 seqno, Prefix const& prefix) {
  // Under the names that the assertions print.
  auto const& seqnoDict = this->seqnoDict_;
  auto const& prefixDict = this->contentDict_;
  auto const& collection = this->collection_;
  auto const seqnoDictIter = this->findSeqno(seqno);
  ORB_ASSERT(seqnoDictIter != seqnoDict.end());
  auto const pfxDictIter = this->findContent(prefix);
  ORB_ASSERT(pfxDictIter != prefixDict.end());
  auto const collIter = this->find(seqno, prefix, prefixDict[pfxDictIter]);
  ORB_ASSERT(collIter != collection.end());
  this->remove(static_cast<Record>(collIter - collection.begin()));
}

template class PfxEntries<Ipv4Family>;
template class PfxEntries<Ipv6Family>;

}  // namespace Acl
