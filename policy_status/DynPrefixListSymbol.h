#pragma once

#include "policy_status/DynPrefixListStatus.h"
#include "policy_status/PolicySymbol.h"

namespace Routing::RouteMap {

/// The dynamic prefix list kind of symbols.
struct ROUTEPOLICY_EXPORT DynPrefixListKind {
  using Status = DynPrefixListStatus;
  static constexpr char const* kCollectionName = "Routing::RouteMap::AllDynPrefixListSymbol";
};

using DynPrefixListSymbol = SymbolOf<DynPrefixListKind>;
using DynPrefixListSymbolDedupTable = DedupTableOf<DynPrefixListKind>;
using AllDynPrefixListSymbol = AllSymbolsOf<DynPrefixListKind>;

ROUTEPOLICY_EXPORT Orb::Ptr<DynPrefixListSymbol> dynPrefixListSymbolFactory(Orb::String name);
ROUTEPOLICY_EXPORT Orb::Ptr<DynPrefixListSymbolDedupTable> dynPrefixListSymbolDedupTableFactory();
ROUTEPOLICY_EXPORT Orb::Ptr<AllDynPrefixListSymbol> allDynPrefixListSymbolFactory();

}  // namespace Routing::RouteMap
