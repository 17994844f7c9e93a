#pragma once

#include <string>

#include "platform/orb/loop/Activity.h"
#include "platform/orb/loop/ActivityLock.h"
#include "policy_config/PrefixListFamily.h"
#include "policy_eval/MatchPrefixList.h"
#include "policy_sm/RouteMapSm.h"

namespace TestSupport {

/// The state machine of a family, and its operations under names that do not tell the family.
template <class Family>
struct MachineOf;
template <>
struct MachineOf<Acl::Ipv4Family> {
  using Type = Routing::RouteMap::PrefixListConfigSm;
  static Orb::Ptr<Acl::PrefixList> listIs(Acl::AclListConfig& c, Orb::Name const& name) {
    return c.prefixListIs(name);
  }
  static void listDel(Acl::AclListConfig& c, Orb::Name const& name) { c.prefixListDel(name); }
  static auto sm(Type const& m, Orb::Name const& name) { return m.prefixList(name); }
  static auto make(Orb::Ptr<Acl::AclListConfig const> const& config,
                   Orb::Ptr<Routing::RouteMap::AllPrefixListSymbol> const& all,
                   Orb::Ptr<Routing::RouteMap::PrefixListSymbolDedupTable> const& table) {
    return Routing::RouteMap::prefixListConfigSmFactory(config, all, table);
  }
};
template <>
struct MachineOf<Acl::Ipv6Family> {
  using Type = Routing::RouteMap::Ipv6PrefixListConfigSm;
  static Orb::Ptr<Acl::Ipv6PrefixList> listIs(Acl::AclListConfig& c, Orb::Name const& name) {
    return c.ipv6PrefixListIs(name);
  }
  static void listDel(Acl::AclListConfig& c, Orb::Name const& name) { c.ipv6PrefixListDel(name); }
  static auto sm(Type const& m, Orb::Name const& name) { return m.ipv6PrefixList(name); }
  static auto make(Orb::Ptr<Acl::AclListConfig const> const& config,
                   Orb::Ptr<Routing::RouteMap::AllPrefixListSymbol> const& all,
                   Orb::Ptr<Routing::RouteMap::PrefixListSymbolDedupTable> const& table) {
    return Routing::RouteMap::ipv6PrefixListConfigSmFactory(config, all, table);
  }
};

/// The configuration and the compiled lists of one family, with a loop that the test turns and a
/// clock that stands still unless the test moves it: every reading adds `tick` seconds.
template <class Family>
struct ListWorld {
  using Machine = MachineOf<Family>;
  using Entry = typename Family::Entry;
  using List = typename Family::List;

  Orb::ActivityManager manager;
  Orb::ActivityManager::Scope scope{manager};
  double time = 1;
  double tick = 0;
  Orb::Ptr<Acl::AclListConfig> config = Orb::make<Acl::AclListConfig>("root");
  Orb::Ptr<Routing::RouteMap::AllPrefixListSymbol> all =
      Routing::RouteMap::allPrefixListSymbolFactory();
  Orb::Ptr<Routing::RouteMap::PrefixListSymbolDedupTable> table =
      Routing::RouteMap::prefixListSymbolDedupTableFactory();
  Orb::Ptr<typename Machine::Type> machine;

  ListWorld() {
    manager.clock()->timeSourceIs([this] { return time += tick; });
  }
  ~ListWorld() { machine = nullptr; }

  void start() { machine = Machine::make(config, all, table); }
  Orb::Ptr<List> list(Orb::Name const& name) { return Machine::listIs(*config, name); }
  auto sm(Orb::Name const& name) { return Machine::sm(*machine, name); }
  Orb::Ptr<Routing::RouteMap::PrefixListSymbol> symbol(Orb::Name const& name) {
    return all->symbol(name);
  }
  Orb::U32 version(Orb::Name const& name) { return symbol(name)->symbolNotifier()->version(); }

  /// A permitting rule of the list; bounds that are 0 are not set.
  static Entry rule(Orb::U32 seqno, std::string const& prefix, Orb::U32 ge = 0, Orb::U32 le = 0,
                    Orb::U32 eq = 0, Acl::MatchPermit permit = Acl::permitMatch) {
    return Entry::of(seqno, Family::Prefix::parse(prefix), permit, ge, le, eq);
  }
  void add(Orb::Name const& name, Entry const& entry) { Family::entryIs(*list(name), entry); }

  /// Turns the loop until nothing is due; returns the turns it took.
  int settle() {
    int turns = 0;
    while (manager.nextDue() <= time) {
      manager.turn();
      if (++turns > 1000000) return -1;
    }
    return turns;
  }
};

}  // namespace TestSupport
