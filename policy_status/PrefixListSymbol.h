#pragma once

#include "policy_status/PolicySymbol.h"
#include "policy_status/PrefixListStatus.h"

namespace Routing::RouteMap {

/// The prefix-list kind of symbols: of IPv4 and of IPv6 lists alike, in collections and tables of
/// their own.
struct ROUTEPOLICY_EXPORT PrefixListKind {
  using Status = PrefixListStatus;
  static constexpr char const* kCollectionName = "Routing::RouteMap::AllPrefixListSymbol";
};

/// How the users of a prefix list reach its compiled form, and learn of a new one.
using PrefixListSymbol = SymbolOf<PrefixListKind>;
using PrefixListSymbolDedupTable = DedupTableOf<PrefixListKind>;
/// Those symbols by their names.
using AllPrefixListSymbol = AllSymbolsOf<PrefixListKind>;

ROUTEPOLICY_EXPORT Orb::Ptr<PrefixListSymbol> prefixListSymbolFactory(Orb::String name);
ROUTEPOLICY_EXPORT Orb::Ptr<PrefixListSymbolDedupTable> prefixListSymbolDedupTableFactory();
ROUTEPOLICY_EXPORT Orb::Ptr<AllPrefixListSymbol> allPrefixListSymbolFactory();

}  // namespace Routing::RouteMap
