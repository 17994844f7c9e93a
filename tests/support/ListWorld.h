#pragma once

#include <string>

#include "platform/orb/loop/ActivityLock.h"
#include "policy_config/PrefixListFamily.h"
#include "policy_eval/MatchPrefixList.h"
#include "policy_sm/RouteMapSm.h"
#include "tests/support/TestLoop.h"

namespace TestSupport {

/// The configuration and the compiled lists of one family.
template <class Family>
struct ListWorld : TestLoop {
  using Machine = Routing::RouteMap::MachineOf<Family>;
  using Entry = typename Family::Entry;
  using List = typename Family::List;

  Orb::Ptr<Acl::AclListConfig> config = Orb::make<Acl::AclListConfig>("root");
  Orb::Ptr<Routing::RouteMap::AllPrefixListSymbol> all =
      Routing::RouteMap::allPrefixListSymbolFactory();
  Orb::Ptr<Routing::RouteMap::PrefixListSymbolDedupTable> table =
      Routing::RouteMap::prefixListSymbolDedupTableFactory();
  Orb::Ptr<Machine> machine;

  ~ListWorld() { machine = nullptr; }

  void start() { machine = Orb::make<Machine>(config, all, table); }
  Orb::Ptr<List> list(Orb::Name const& name) { return Family::listIs(*config, name); }
  void listDel(Orb::Name const& name) { Family::listDel(*config, name); }
  Orb::Ptr<typename Machine::ListSm> sm(Orb::Name const& name) {
    return machine ? machine->listSm(name) : nullptr;
  }
  Orb::Ptr<Routing::RouteMap::PrefixListSymbol> symbol(Orb::Name const& name) {
    return all->symbol(name);
  }
  Orb::U32 version(Orb::Name const& name) { return symbol(name)->symbolNotifier()->version(); }

  /// A permitting entry of a list; bounds that are 0 are not set.
  static Entry entry(Orb::U32 seqno, std::string const& prefix, Orb::U32 ge = 0, Orb::U32 le = 0,
                     Orb::U32 eq = 0, Acl::MatchPermit permit = Acl::permitMatch) {
    return Entry::of(seqno, Family::Prefix::parse(prefix), permit, ge, le, eq);
  }
  void add(Orb::Name const& name, Entry const& added) { Family::entryIs(*list(name), added); }
};

}  // namespace TestSupport
