#include "list_import/AsPathEntries.h"

#include "platform/orb/base/Error.h"

namespace Acl {

auto AsPathEntries::withRegex(Orb::String const& userRegex) const -> Record {
  Position const place = findContent(userRegex);
  return place == contentDict_.end() ? kNone : contentDict_[place];
}

void AsPathEntries::removeEntry(Orb::U32 seqno, Orb::String const& userRegex) {
  // Under the names that the assertions print.
  auto const& seqnoDict = seqnoDict_;
  auto const& asPathDict = contentDict_;
  auto const& collection = collection_;
  auto const seqnoDictIter = findSeqno(seqno);
  ORB_ASSERT(seqnoDictIter != seqnoDict.end());
  auto const asPathDictIter = findContent(userRegex);
  ORB_ASSERT(asPathDictIter != asPathDict.end());
  auto const collIter = find(seqno, userRegex, asPathDict[asPathDictIter]);
  ORB_ASSERT(collIter != collection.end());
  remove(static_cast<Record>(collIter - collection.begin()));
}

}  // namespace Acl
