#pragma once

#include "platform/orb/base/Value.h"

namespace Acl {

/// One BGP community of any kind, in three parts:
///   standard (RFC 1997)   0,                     0,                 the community
///   extended (RFC 4360)   0,                     its high 32 bits,  its low 32 bits
///   large    (RFC 8092)   global administrator,  first local data,  second local data
/// Ordered by the parts in turn.
class ROUTEPOLICY_EXPORT CommunityValue : public Orb::Value<CommunityValue> {
 public:
  ORB_VALUE(CommunityValue, "Acl::CommunityValue", part0, part1, part2);

  ORB_FIELD(part0, Orb::U32);
  ORB_FIELD(part1, Orb::U32);
  ORB_FIELD(part2, Orb::U32);

  /// The 32-bit community. REQUIRES: the other parts are 0; a fatal assertion otherwise.
  Orb::U32 standardCommunity() const;
  /// The 64-bit community. REQUIRES: `part0` is 0; a fatal assertion otherwise.
  Orb::U64 extendedCommunity() const;

  /// The same as standardCommunity().
  operator Orb::U32() const { return standardCommunity(); }
  friend bool operator<(CommunityValue const& a, Orb::U32 b) { return a.standardCommunity() < b; }
};

/// The plain form: the text in the family of communityTypeOf(), see CommunityText.h.
ROUTEPOLICY_EXPORT void writePlain(std::string& out, CommunityValue const& value);
ROUTEPOLICY_EXPORT void readPlain(Orb::TextReader& in, CommunityValue& value);

}  // namespace Acl
