#pragma once

#include <span>
#include <string>

#include "policy_status/AsPathListStatus.h"

namespace Routing::PolicyEval {

using RouteMap::AsPathListStatus;

/// The result of matching a route's AS path against an AS-path list.
struct AsPathListMatch {
  enum class Outcome : Orb::U8 {
    noSuchList,  ///< no status: the list is not configured
    noMatch,     ///< no entry matches
    match,       ///< `entry` matches, and no entry of a lower sequence number does
  };

  Outcome outcome = Outcome::noSuchList;
  bool isPermit = false;  ///< the entry's verdict; false unless it matches
  Orb::U32 seqno = 0;     ///< the entry's sequence number; 0 unless it matches
  /// The entry; null unless it matches. It belongs to the status: good as long as that is held.
  Acl::AsPathEntry const* entry = nullptr;

  friend bool operator==(AsPathListMatch const&, AsPathListMatch const&) = default;
};

/// Finds the entry of the lowest sequence number whose expression matches the path, and whose
/// origin is bgpAny, notSet, or that of the route. `path` goes from the neighbour's number to the
/// origin's. An entry that has no compiled expression of the list's mode matches nothing.
///
/// In DFA mode it allocates nothing and throws nothing. In POSIX mode `text` is a buffer that the
/// caller keeps from call to call, of one thread: it takes the path's text, in the notation of the
/// list, and grows with the longest one; std::bad_alloc is thrown when there is no memory, for the
/// system's engine too. Any thread that holds the status.
ROUTEPOLICY_EXPORT AsPathListMatch matchAsPathList(AsPathListStatus const* status,
                                                   std::span<Orb::U32 const> path,
                                                   Acl::BGPOrigin origin, std::string& text);
inline AsPathListMatch matchAsPathList(Orb::Ptr<AsPathListStatus const> const& status,
                                       std::span<Orb::U32 const> path, Acl::BGPOrigin origin,
                                       std::string& text) {
  return matchAsPathList(status.get(), path, origin, text);
}

}  // namespace Routing::PolicyEval
