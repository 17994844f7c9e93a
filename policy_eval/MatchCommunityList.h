#pragma once

#include <span>
#include <string>

#include "policy_eval/ListMatch.h"
#include "policy_status/CommListStatus.h"

namespace Routing::PolicyEval {

using RouteMap::CommListStatus;

using CommunityListMatch = ListMatch<Acl::CommunityListEntry>;

/// Which routes an entry of explicit values matches.
enum class CommunityMatch : Orb::U8 {
  contained,  ///< those that carry all of its values
  exact,      ///< those that carry these and no others
};

/// Finds the entry of the lowest sequence number that matches the communities that a route carries,
/// of one family. REQUIRES: they ascend; one that stands there twice counts once. A list has a
/// status in each family that it has entries of; where all of a route's communities count, the
/// lowest of the sequence numbers that the families give decides.
///
/// An entry of explicit values matches as `how` says; the flags of its values do not count, and one
/// without values is contained in every route. An expanded entry matches when its expression does:
/// it reads the communities as writeCommunity() has them in the entry's family, in ascending order,
/// a blank between two of them, and the empty text where there are none. `how` does not concern it:
/// an expression says with ^ and $ that there are no others. One that has no compiled expression
/// matches nothing.
///
/// `text` is a buffer that the caller keeps from call to call, of one thread. The first expanded
/// entry of a family that is reached writes the communities into it; but for what the system's
/// engine takes, nothing else is allocated than what it grows by. std::bad_alloc is thrown when
/// there is no memory, for the system's engine too. Any thread that holds the status.
ROUTEPOLICY_EXPORT CommunityListMatch
matchCommunityList(CommListStatus const* status, std::span<Acl::CommunityValue const> communities,
                   CommunityMatch how, std::string& text);
inline CommunityListMatch matchCommunityList(Orb::Ptr<CommListStatus const> const& status,
                                             std::span<Acl::CommunityValue const> communities,
                                             CommunityMatch how, std::string& text) {
  return matchCommunityList(status.get(), communities, how, text);
}

}  // namespace Routing::PolicyEval
