#pragma once

#include "policy_sm/RouteMapSm.h"
#include "tests/support/TestLoop.h"

namespace TestSupport {

/// The configuration of AS-path lists and their compiled form.
struct AsPathWorld : TestLoop {
  using List = Acl::AsPathList;

  Orb::Ptr<Acl::AclListConfig> config = Orb::make<Acl::AclListConfig>("root");
  Orb::Ptr<Routing::AsnConfig> asn = Orb::make<Routing::AsnConfig>();
  Orb::Ptr<Routing::RouteMap::AllAsPathListSymbol> all =
      Routing::RouteMap::allAsPathListSymbolFactory();
  Orb::Ptr<Routing::RouteMap::AsPathListSymbolDedupTable> table =
      Routing::RouteMap::asPathListSymbolDedupTableFactory();
  Orb::Ptr<Routing::RouteMap::AsPathListConfigSm> machine;

  ~AsPathWorld() { machine = nullptr; }

  void start() {
    machine = Routing::RouteMap::AsPathListConfigSm::AsPathListConfigSmIs(config, asn, all, table);
  }
  Orb::Ptr<List> list(Orb::Name const& name) { return config->pathListIs(name); }
  Orb::Ptr<Routing::RouteMap::AsPathListReactor> sm(Orb::Name const& name) {
    return machine->asPathList(name);
  }
  Orb::Ptr<Routing::RouteMap::AsPathListSymbol> symbol(Orb::Name const& name) {
    return all->symbol(name);
  }
  Orb::U32 version(Orb::Name const& name) { return symbol(name)->symbolNotifier()->version(); }
};

}  // namespace TestSupport
