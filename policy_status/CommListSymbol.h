#pragma once

#include "policy_status/CommListStatus.h"
#include "policy_status/PolicySymbol.h"

namespace Routing::RouteMap {

/// The community kind of symbols: of standard, extended and large communities alike, in collections
/// and tables of their own.
struct ROUTEPOLICY_EXPORT CommListKind {
  using Status = CommListStatus;
  static constexpr char const* kCollectionName = "Routing::RouteMap::AllCommListSymbol";
};

using CommListSymbol = SymbolOf<CommListKind>;
using CommListSymbolDedupTable = DedupTableOf<CommListKind>;
using AllCommListSymbol = AllSymbolsOf<CommListKind>;

ROUTEPOLICY_EXPORT Orb::Ptr<CommListSymbol> commListSymbolFactory(Orb::String name);
ROUTEPOLICY_EXPORT Orb::Ptr<CommListSymbolDedupTable> commListSymbolDedupTableFactory();
ROUTEPOLICY_EXPORT Orb::Ptr<AllCommListSymbol> allCommListSymbolFactory();

}  // namespace Routing::RouteMap
