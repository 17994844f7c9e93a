#pragma once

#include "policy_eval/ListMatch.h"
#include "policy_status/RouteMapStatusImpl.h"

/// Routing::RouteMap has an option of the name matchPrefixList: matching has a namespace of its
/// own.
namespace Routing::PolicyEval {

using RouteMap::PrefixListEntryData;
using RouteMap::PrefixListStatus;

using PrefixListMatch = ListMatch<PrefixListEntryData>;

/// Finds the entry of the lowest sequence number whose prefix covers the route's and whose bounds
/// hold its length: `eq` when that is set, else `ge` to `le`. Any thread that holds the status; no
/// allocation. A route of the other address family matches nothing, and a status without a trie is
/// no list.
ROUTEPOLICY_EXPORT PrefixListMatch matchPrefixList(PrefixListStatus const* status,
                                                   Ipa::IpGenPrefix const& route) noexcept;
inline PrefixListMatch matchPrefixList(Orb::Ptr<PrefixListStatus const> const& status,
                                       Ipa::IpGenPrefix const& route) noexcept {
  return matchPrefixList(status.get(), route);
}

}  // namespace Routing::PolicyEval
