#include "policy_config/CommunityList.h"

namespace Acl {

ORB_ENTITY_TYPE(CommunityListEntry);
ORB_ENTITY_TYPE(CommunityList);

CommunityList::CommunityList(Orb::Name name) : NamedEntity(std::move(name)) {}

Orb::Ptr<CommunityListEntry> CommunityListEntry::blank() {
  return Orb::make<CommunityListEntry>(*Orb::make<CommunityList>(Orb::Name()), 0U);
}

CommunityListEntry::CommunityListEntry(CommunityList const& list, Orb::U32 seqno)
    : NumberedEntity(seqno), listName_(list.name()) {}

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
