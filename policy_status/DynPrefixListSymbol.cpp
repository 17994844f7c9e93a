#include "policy_status/DynPrefixListSymbol.h"

namespace Routing::RouteMap {

namespace {

Orb::TypeRegistration const kDynPrefixListCollectionRegistration{
    Orb::typeInfoOf<AllDynPrefixListSymbol>()};

}  // namespace

Orb::Ptr<DynPrefixListSymbol> dynPrefixListSymbolFactory(Orb::String name) {
  return Orb::make<DynPrefixListSymbol>(std::move(name));
}

Orb::Ptr<DynPrefixListSymbolDedupTable> dynPrefixListSymbolDedupTableFactory() {
  return Orb::make<DynPrefixListSymbolDedupTable>();
}

Orb::Ptr<AllDynPrefixListSymbol> allDynPrefixListSymbolFactory() {
  return Orb::make<AllDynPrefixListSymbol>();
}

}  // namespace Routing::RouteMap
