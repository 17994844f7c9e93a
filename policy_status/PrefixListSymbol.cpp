#include "policy_status/PrefixListSymbol.h"

namespace Routing::RouteMap {

namespace {

Orb::TypeRegistration const kCollectionRegistration{Orb::typeInfoOf<AllPrefixListSymbol>()};

}  // namespace

Orb::Ptr<PrefixListSymbol> prefixListSymbolFactory(Orb::String name) {
  return Orb::make<PrefixListSymbol>(std::move(name));
}

Orb::Ptr<PrefixListSymbolDedupTable> prefixListSymbolDedupTableFactory() {
  return Orb::make<PrefixListSymbolDedupTable>();
}

Orb::Ptr<AllPrefixListSymbol> allPrefixListSymbolFactory() {
  return Orb::make<AllPrefixListSymbol>();
}

}  // namespace Routing::RouteMap
