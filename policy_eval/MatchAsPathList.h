#pragma once

#include <span>
#include <string>

#include "policy_eval/ListMatch.h"
#include "policy_status/AsPathListStatus.h"

namespace Routing::PolicyEval {

using RouteMap::AsPathListStatus;

using AsPathListMatch = ListMatch<Acl::AsPathEntry>;

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
