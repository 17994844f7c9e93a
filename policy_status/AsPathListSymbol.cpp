#include "policy_status/AsPathListSymbol.h"

namespace Routing::RouteMap {

namespace {

Orb::TypeRegistration const kAsPathCollectionRegistration{Orb::typeInfoOf<AllAsPathListSymbol>()};

}  // namespace

Orb::Ptr<AsPathListSymbol> asPathListSymbolFactory(Orb::String name) {
  return Orb::make<AsPathListSymbol>(std::move(name));
}

Orb::Ptr<AsPathListSymbolDedupTable> asPathListSymbolDedupTableFactory() {
  return Orb::make<AsPathListSymbolDedupTable>();
}

Orb::Ptr<AllAsPathListSymbol> allAsPathListSymbolFactory() {
  return Orb::make<AllAsPathListSymbol>();
}

}  // namespace Routing::RouteMap
