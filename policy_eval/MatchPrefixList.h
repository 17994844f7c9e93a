#pragma once

#include "policy_status/RouteMapStatusImpl.h"

/// Routing::RouteMap has an option of the name matchPrefixList: matching has a namespace of its
/// own.
namespace Routing::PolicyEval {

using RouteMap::PrefixListEntryData;
using RouteMap::PrefixListStatus;

/// The result of matching a route against a prefix list.
struct PrefixListMatch {
  enum class Outcome : Orb::U8 {
    noSuchList,  ///< no status, or one without a trie: the list is not configured
    noMatch,     ///< no entry matches
    match,       ///< `entry` matches, and no entry of a lower sequence number does
  };

  Outcome outcome = Outcome::noSuchList;
  bool isPermit = false;  ///< the entry's verdict; false unless it matches
  Orb::U32 seqno = 0;     ///< the entry's sequence number; 0 unless it matches
  /// The entry; null unless it matches. It belongs to the status: good as long as that is held.
  PrefixListEntryData const* entry = nullptr;

  friend bool operator==(PrefixListMatch const&, PrefixListMatch const&) = default;
};

/// Finds the entry of the lowest sequence number whose prefix covers the route's and whose bounds
/// hold its length: `eq` when that is set, else `ge` to `le`. Any thread that holds the status; no
/// allocation. A route of the other address family matches nothing.
ROUTEPOLICY_EXPORT PrefixListMatch matchPrefixList(PrefixListStatus const* status,
                                                   Ipa::IpGenPrefix const& route) noexcept;
inline PrefixListMatch matchPrefixList(Orb::Ptr<PrefixListStatus const> const& status,
                                       Ipa::IpGenPrefix const& route) noexcept {
  return matchPrefixList(status.get(), route);
}

}  // namespace Routing::PolicyEval
