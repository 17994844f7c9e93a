#pragma once

#include "policy_sm/RouteMapSm.h"
#include "tests/support/TestLoop.h"

namespace TestSupport {

/// The configuration of community lists and their compiled form, by family.
struct CommListWorld : TestLoop {
  static constexpr std::size_t kFamilies = 3;

  Orb::Ptr<Acl::AclListConfig> config = Orb::make<Acl::AclListConfig>("root");
  Routing::RouteMap::CommListSymbols all[kFamilies];
  Routing::RouteMap::CommListSymbolTable tables[kFamilies];
  Orb::Ptr<Routing::RouteMap::CommListConfigSm> machine;

  CommListWorld() {
    for (auto& each : all) each = Routing::RouteMap::allCommListSymbolFactory();
    for (auto& each : tables) each = Routing::RouteMap::commListSymbolDedupTableFactory();
  }
  ~CommListWorld() { machine = nullptr; }

  void start() {
    machine = Routing::RouteMap::CommListConfigSm::CommListConfigSmIs(
        config, all[0], all[1], all[2], tables[0], tables[1], tables[2]);
  }
  Orb::Ptr<Acl::CommunityList> list(Orb::Name const& name) { return config->communityListIs(name); }
  Orb::Ptr<Acl::CommunityListEntry> entry(Orb::Name const& name, Orb::U32 seqno) {
    return list(name)->communityListEntryIs(seqno);
  }
  Orb::Ptr<Routing::RouteMap::CommListSymbol> symbol(std::size_t family, Orb::Name const& name) {
    return all[family]->symbol(name);
  }
  Orb::Ptr<Routing::RouteMap::CommListStatus const> status(std::size_t family,
                                                           Orb::Name const& name) {
    auto const found = symbol(family, name);
    return found ? found->status() : nullptr;
  }
  Orb::U32 version(std::size_t family, Orb::Name const& name) {
    return symbol(family, name)->symbolNotifier()->version();
  }
};

}  // namespace TestSupport
