#pragma once

#include <array>

#include "platform/orb/base/FunctionRef.h"
#include "policy_config/AclListConfig.h"
#include "policy_status/CommListSymbol.h"

/// What the community-list machine does with the symbols of one family of communities. Each
/// function is given the family's collection, which belongs to the caller and is not null. What
/// observers throw goes to the caller when all is done.
namespace Routing::RouteMap {

using CommListSymbols = Orb::Ptr<AllCommListSymbol>;
using CommListSymbolTable = Orb::Ptr<CommListSymbolDedupTable const>;

/// The symbols of one family.
struct CommListFamily {
  CommListSymbols all;
  CommListSymbolTable table;
};
/// Those of the standard, the extended and the large communities; by Acl::CommunityType.
using CommListFamilies = std::array<CommListFamily, 3>;

/// Installs a symbol, the canonical one of its name, with an empty status. One that an observer of
/// the collection has removed again keeps the status that it had. Changes nothing when there is no
/// memory.
ROUTEPOLICY_EXPORT Orb::Ptr<CommListSymbol> dedupCommListSym(CommListSymbolTable const& table,
                                                             CommListSymbols const& all,
                                                             Orb::Name const& name);

/// Makes a symbol's status null, raises its version by one, and removes it from the collection,
/// unless it has been given a status meanwhile. Whoever holds it is left with a valid symbol. Needs
/// no memory. Changes nothing when there is no symbol of that name.
ROUTEPOLICY_EXPORT void deleteSymbol(CommListSymbols const& all, Orb::Name const& name);
/// The same, for collections that need not hold the name.
ROUTEPOLICY_EXPORT void deleteSymbolIfExists(CommListSymbols const& all, Orb::Name const& name);
/// deleteSymbol() for every symbol whose name is not that of a configured community list.
ROUTEPOLICY_EXPORT void deleteSymbolIfMissingInConfig(
    CommListSymbols const& all, Orb::Ptr<Acl::AclListConfig const> const& config);

/// Removes one entry: the last one takes the symbol with it, another one leaves a new status behind
/// and raises the version by one. Returns 1, or 0 when the collection did not hold the entry. A
/// null status holds none. Changes nothing when there is no memory for the new status.
ROUTEPOLICY_EXPORT Orb::U32 deleteSymbolSeq(CommListSymbols const& all, Orb::Name const& name,
                                            Orb::U32 seqno);

namespace detail {

/// The entry in the status of that symbol; null when there is none.
Orb::Ptr<Acl::CommunityListEntry const> compiledEntry(CommListSymbols const& all,
                                                      Orb::Name const& name, Orb::U32 seqno);
/// Whether there is a symbol that nothing has been compiled into.
bool isEmpty(CommListSymbols const& all, Orb::Name const& name);
/// deleteSymbol() of such a one.
void deleteSymbolIfEmpty(CommListSymbols const& all, Orb::Name const& name);
/// deleteSymbol() of a name in all families: holders find no status in any before the first of them
/// is notified, and before `announce` is called, which is the first that may call others.
void deleteSymbols(CommListFamilies const& families, Orb::Name const& name,
                   Orb::FunctionRef<void()> announce);

}  // namespace detail

}  // namespace Routing::RouteMap
