#pragma once

#include "policy_eval/MatchPrefixList.h"
#include "policy_status/DynPrefixListStatus.h"

namespace Routing::PolicyEval {

using RouteMap::DynPrefixListStatus;
using Vrf::VrfIdMap::VrfId;

/// The result of matching a route in a VRF against a dynamic prefix list.
struct DynamicPrefixListMatch {
  enum class Outcome : Orb::U8 {
    noSuchList,  ///< there is no such dynamic list, or no prefix list of the route's family behind
                 ///< it
    inactive,    ///< the list is not in force in the VRF
    noMatch,     ///< no entry matches
    match,       ///< `entry` matches, and no entry of a lower sequence number does
  };

  Outcome outcome = Outcome::noSuchList;
  /// Whose prefix list decides: that of the route's family.
  Ipa::AddressFamily family = Ipa::AddressFamily::ipv4;
  /// As in ListMatch.
  bool isPermit = false;
  Orb::U32 seqno = 0;
  PrefixListEntryData const* entry = nullptr;

  friend bool operator==(DynamicPrefixListMatch const&, DynamicPrefixListMatch const&) = default;
};

/// matchPrefixList() with the prefix list of the route's family, as it was compiled when the status
/// was published, where the dynamic list is active. Any thread that holds the status; no
/// allocation. A prefix list that is made without entries is none, until its version is raised or
/// the dynamic list is published for another reason: it is not compiled, and not announced.
ROUTEPOLICY_EXPORT DynamicPrefixListMatch matchDynamicPrefixList(
    DynPrefixListStatus const* status, VrfId vrf, Ipa::IpGenPrefix const& route) noexcept;
inline DynamicPrefixListMatch matchDynamicPrefixList(
    Orb::Ptr<DynPrefixListStatus const> const& status, VrfId vrf,
    Ipa::IpGenPrefix const& route) noexcept {
  return matchDynamicPrefixList(status.get(), vrf, route);
}

}  // namespace Routing::PolicyEval
