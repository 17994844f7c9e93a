#pragma once

#include "platform/orb/model/Attribute.h"
#include "policy_config/CommunityValue.h"
#include "policy_config/ListTypes.h"

namespace Acl {

class CommunityList;

/// One entry of a community list: explicit communities, or a regular expression.
class ROUTEPOLICY_EXPORT CommunityListEntry : public Orb::NumberedEntity {
 public:
  ORB_ENTITY(CommunityListEntry, "Acl::CommunityListEntry", seqno, permit, community, commRegex,
             commRegexDisplay, lbwDisplay, listType, version);
  CommunityListEntry(CommunityList const& list, Orb::U32 seqno);
  /// An entry of no list: its description shows an empty name.
  explicit CommunityListEntry(Orb::U32 seqno);
  /// What the compiled form of a list keeps: an entry of no list, with the same number, verdict,
  /// communities, expression and type.
  Orb::Ptr<CommunityListEntry> compiledCopy() const;

  ORB_GETTER_ROW(seqno, key);
  /// Permits by default, unlike an entry of a prefix list, on purpose.
  ORB_ATTRIBUTE(permit, MatchPermit, permitMatch);
  /// The explicit communities; a set whose members each carry a flag.
  ORB_MAP(community, CommunityValue, bool);
  /// The regular expression of an expanded list.
  ORB_ATTRIBUTE(commRegex, Orb::String);
  /// The expression as the user typed it.
  ORB_ATTRIBUTE(commRegexDisplay, Orb::String);
  /// Display texts of link-bandwidth extended communities, by index.
  ORB_MAP(lbwDisplay, Orb::U8, Orb::String);
  ORB_ATTRIBUTE(listType, CommunityListType, communityStandard);
  /// Raised by one whenever a committed session changed the entry.
  ORB_COUNTER(version);

  /// The one-line description for logs.
  Orb::String toStrep() const;

 private:
  Orb::Name const listName_;
};

/// A named, ordered set of community entries, which it makes by sequence number.
class ROUTEPOLICY_EXPORT CommunityList : public Orb::NamedEntity {
 public:
  ORB_ENTITY(CommunityList, "Acl::CommunityList", communityListEntry);
  explicit CommunityList(Orb::Name name);

  ORB_COLLECTION(communityListEntry, Orb::OrderedChildren<CommunityListEntry>);
};

}  // namespace Acl
