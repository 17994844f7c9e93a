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

/// How the users of a community list in one family reach its compiled form, and learn of a new one.
using CommListSymbol = SymbolOf<CommListKind>;
using CommListSymbolDedupTable = DedupTableOf<CommListKind>;
/// Those symbols by their names.
using AllCommListSymbol = AllSymbolsOf<CommListKind>;

ROUTEPOLICY_EXPORT Orb::Ptr<CommListSymbol> commListSymbolFactory(Orb::String name);
ROUTEPOLICY_EXPORT Orb::Ptr<CommListSymbolDedupTable> commListSymbolDedupTableFactory();
ROUTEPOLICY_EXPORT Orb::Ptr<AllCommListSymbol> allCommListSymbolFactory();

}  // namespace Routing::RouteMap
