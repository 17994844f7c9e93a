#include "policy_config/CommunityList.h"

namespace Acl {

ORB_ENTITY_TYPE(CommunityListEntry);
ORB_ENTITY_TYPE(CommunityList);

CommunityList::CommunityList(Orb::Name name) : NamedEntity(std::move(name)) {}

CommunityListEntry::CommunityListEntry(CommunityList const& list, Orb::U32 seqno)
    : NumberedEntity(seqno), listName_(list.name()) {}

CommunityListEntry::CommunityListEntry(Orb::U32 seqno) : NumberedEntity(seqno) {}

Orb::Ptr<CommunityListEntry> CommunityListEntry::compiledCopy() const {
  auto copy = Orb::make<CommunityListEntry>(seqno());
  copy->permitIs(permit());
  copy->community_.assign(community_);
  copy->commRegexIs(commRegex());
  copy->listTypeIs(listType());
  return copy;
}

Orb::String CommunityListEntry::toStrep() const {
  std::string out;
  writeText(out, listType());
  (out += ' ') += listName_.view();
  out += " seq ";
  Orb::writeText(out, seqno());
  out += " permit: ";
  writeText(out, permit());
  // Standard and extended only: a large expanded list shows its (empty) communities, on purpose.
  if ((static_cast<Orb::U32>(listType()) & ~2U) == static_cast<Orb::U32>(communityExpanded)) {
    (out += " regex: ") += commRegex().view();
  } else {
    out += " communities: ";
    for (auto const& member : community()) {
      writeText(out, member.key);
      out += ' ';
    }
  }
  return Orb::String(out);
}

}  // namespace Acl
