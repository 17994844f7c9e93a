#pragma once

#include <string>
#include <string_view>

#include "policy_config/CommunityValue.h"
#include "policy_config/ListTypes.h"

/// The text of BGP communities, as people write them and as expanded lists match them. Numbers are
/// decimal, without sign and needless zeros; one blank stands where a blank is shown, no other.
///
///   standard (RFC 1997)
///     no-export                the name of a well-known community, where an RFC gave it one
///     65000:100                AS number and value, of 16 bits each
///   extended (RFC 4360)
///     rt 65000:100             route target of a two-octet AS and a number of 32 bits
///     rt 192.0.2.1:100         of an IPv4 address and a number of 16 bits
///     rt 65536:100             of a four-octet AS (RFC 5668) and a number of 16 bits; an AS number
///     rt 65000L:100            up to 65535 has an L behind it, and only such a one
///     soo ...                  route origin, the same
///     lbw 65000:1.25e+08       link bandwidth (type 0x40, sub-type 0x04) of a two-octet AS, in
///                              bytes a second, which is finite and not negative
///   large (RFC 8092)
///     65000:1:2                the three parts
///   of any family, all else
///     raw 0x0306000000000000   part1 and part2, when part0 is 0
///     raw 0x000000010000000200000003   all three parts, when it is not
///
/// A value has one text in a family. Three other ways to write it are read as well: a well-known
/// community by its numbers, and no-export-subconfed as local-as; a bandwidth as any decimal number
/// that a float may be; and every value in its raw form.
namespace Acl {

/// The family to which a value belongs by its parts: standard when part2 alone is not 0, else
/// extended when part0 is 0, else large.
inline CommunityType communityTypeOf(CommunityValue const& value) noexcept {
  return value.part0() != 0   ? communityTypeLarge
         : value.part1() != 0 ? communityTypeExtended
                              : communityTypeStandard;
}

/// The family of a list's values.
constexpr CommunityType communityTypeOf(CommunityListType type) noexcept {
  return static_cast<CommunityType>(static_cast<Orb::U32>(type) / 2);
}
/// Whether entries of that type hold an expression instead of values.
constexpr bool isExpanded(CommunityListType type) noexcept {
  return static_cast<Orb::U32>(type) % 2 != 0;
}

/// Appends the text of a value in a family; what the family cannot hold is written raw. Nothing is
/// allocated but what `out` grows by.
ROUTEPOLICY_EXPORT void writeCommunity(std::string& out, CommunityType family,
                                       CommunityValue const& value);

/// Reads the whole of a text of that family, or of a raw one: whatever value was written, it comes
/// back. ParseException for all else.
ROUTEPOLICY_EXPORT CommunityValue readCommunity(std::string_view text, CommunityType family);
/// The same for a text of any family, which its form shows.
ROUTEPOLICY_EXPORT CommunityValue readCommunity(std::string_view text);

}  // namespace Acl
