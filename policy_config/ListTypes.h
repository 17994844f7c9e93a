#pragma once

#include "platform/orb/base/Enum.h"

/// The enumerations that all lists and route maps share. Their numbers are stored: they never
/// change.
namespace Acl {

/// The verdict of an entry. Permit is 1 and listed first, on purpose: the zero value denies.
ORB_ENUM(MatchPermit, "Acl::MatchPermit", permitMatch = 1, denyMatch = 0);

/// The BGP ORIGIN attribute (RFC 4271, section 4.3), and what stands for none or any.
ORB_ENUM(BGPOrigin, "Acl::BGPOrigin", notSet = 4294967295, bgpIGP = 0, bgpEGP = 1,
         bgpIncomplete = 2, bgpAny = 3);

/// The engine that AS-path expressions are compiled with.
ORB_ENUM(RegexMode, "Acl::RegexMode", regexModeDfa = 0, regexModePosix = 1);

/// Standard (RFC 1997), extended (RFC 4360) and large (RFC 8092) communities.
ORB_ENUM(CommunityType, "Acl::CommunityType", communityTypeStandard = 0, communityTypeExtended = 1,
         communityTypeLarge = 2);

/// What a community list holds: standard lists hold explicit values, expanded lists a regular
/// expression over the communities' text.
ORB_ENUM(CommunityListType, "Acl::CommunityListType", communityStandard = 0, communityExpanded = 1,
         extCommunityStandard = 2, extCommunityExpanded = 3, largeCommunityStandard = 4,
         largeCommunityExpanded = 5);

/// What a set action does with the communities that a route already has.
ORB_ENUM(CommSetFlag, "Acl::CommSetFlag", commSetDefault = 0, commSetDelete = 1, commSetNone = 2,
         commSetAdditive = 3);

/// How the link-bandwidth extended community is set.
ORB_ENUM(ExtCommLinkBandwidthSetFlag, "Acl::ExtCommLinkBandwidthSetFlag",
         extCommLinkBandwidthSetDefault = 0, extCommLinkBandwidthSetAggregate = 1,
         extCommLinkBandwidthSetAggregateRef = 2, extCommLinkBandwidthSetDivideEqual = 3,
         extCommLinkBandwidthSetDivideRatio = 4);

/// What an import does with a line that repeats an earlier one: refuse the file, skip the line,
/// or put it in the earlier one's place.
ORB_ENUM(UrlImportDuplicateOperation, "Acl::UrlImportDuplicateOperation", duplicateError = 0,
         duplicateIgnore = 1, duplicateOverride = 2);

}  // namespace Acl
