#pragma once

#include "policy_status/AsPathListStatus.h"
#include "policy_status/PolicySymbol.h"

namespace Routing::RouteMap {

/// The AS-path kind of symbols.
struct ROUTEPOLICY_EXPORT AsPathListKind {
  using Status = AsPathListStatus;
  static constexpr char const* kCollectionName = "Routing::RouteMap::AllAsPathListSymbol";
};

/// How the users of an AS-path list reach its compiled form, and learn of a new one.
using AsPathListSymbol = SymbolOf<AsPathListKind>;
using AsPathListSymbolDedupTable = DedupTableOf<AsPathListKind>;
/// Those symbols by their names.
using AllAsPathListSymbol = AllSymbolsOf<AsPathListKind>;

ROUTEPOLICY_EXPORT Orb::Ptr<AsPathListSymbol> asPathListSymbolFactory(Orb::String name);
ROUTEPOLICY_EXPORT Orb::Ptr<AsPathListSymbolDedupTable> asPathListSymbolDedupTableFactory();
ROUTEPOLICY_EXPORT Orb::Ptr<AllAsPathListSymbol> allAsPathListSymbolFactory();

}  // namespace Routing::RouteMap
