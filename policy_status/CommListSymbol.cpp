#include "policy_status/CommListSymbol.h"

namespace Routing::RouteMap {

namespace {

Orb::TypeRegistration const kCommListCollectionRegistration{Orb::typeInfoOf<AllCommListSymbol>()};

}  // namespace

Orb::Ptr<CommListSymbol> commListSymbolFactory(Orb::String name) {
  return Orb::make<CommListSymbol>(std::move(name));
}

Orb::Ptr<CommListSymbolDedupTable> commListSymbolDedupTableFactory() {
  return Orb::make<CommListSymbolDedupTable>();
}

Orb::Ptr<AllCommListSymbol> allCommListSymbolFactory() { return Orb::make<AllCommListSymbol>(); }

}  // namespace Routing::RouteMap
