#include "policy_sm/DynPrefixListConfigSm.h"

#include <sstream>

#include "policy_eval/MatchDynamicPrefixList.h"
#include "tests/support/ListWorld.h"
#include "tests/support/Observer.h"
#include "tests/support/RationedMemory.h"
#include "tests/support/Thrown.h"
#include "tests/support/Traced.h"

namespace {

using namespace Routing::RouteMap;
using Orb::U32;
using Routing::DynamicPrefixList::active;
using Routing::DynamicPrefixList::inactive;
using Routing::PolicyEval::matchDynamicPrefixList;
using TestSupport::Observer;
using TestSupport::thrown;
using TestSupport::Traced;

/// Dynamic prefix lists over the IPv4 prefix lists of a configuration; there are none of IPv6.
struct DynWorld : TestSupport::ListWorld<Acl::Ipv4Family> {
  Orb::Ptr<Routing::DynamicPrefixList::Config> dynamic =
      Orb::make<Routing::DynamicPrefixList::Config>();
  Orb::Ptr<Routing::DynamicPrefixList::AllDynamicPrefixListVrfSet> state =
      Orb::make<Routing::DynamicPrefixList::AllDynamicPrefixListVrfSet>();
  Orb::Ptr<PrefixListSymbolDedupTable> ipv6Table = prefixListSymbolDedupTableFactory();
  Orb::Ptr<AllDynPrefixListSymbol> symbols = allDynPrefixListSymbolFactory();
  Orb::Ptr<DynPrefixListSymbolDedupTable> symbolTable = dynPrefixListSymbolDedupTableFactory();
  Orb::Ptr<DynPrefixListConfigSm> sm;

  ~DynWorld() { sm = nullptr; }

  void startDynamic() {
    sm = DynPrefixListConfigSm::DynPrefixListConfigSmIs(dynamic, state, table, ipv6Table, symbols,
                                                        symbolTable);
  }
  auto dpl(Orb::Name const& name) { return dynamic->dynamicPrefixListIs(name); }
  auto vrfs(Orb::Name const& name) { return state->dynamicPrefixListIs(name); }
  U32 dplVersion(Orb::Name const& name) {
    auto const found = symbols->symbol(name);
    return found ? found->symbolNotifier()->version() : 0;
  }

  /// What is published: of each list that has a generator and is stamped, all that is configured.
  void expectPublished() {
    std::size_t count = 0;
    for (auto const& entry : dynamic->dynamicPrefixList()) {
      auto const set = state->dynamicPrefixList(entry->dplName());
      if (!set || entry->version() == 0) continue;
      ++count;
      auto const symbol = symbols->symbol(entry->dplName());
      ASSERT_TRUE(symbol && symbol->status()) << entry->dplName();
      auto const& status = *symbol->status();
      EXPECT_EQ(status.dplName(), entry->dplName());
      EXPECT_EQ(status.activeInVrf(), set->activeInVrf());
      auto const& list = status.ipv4PfxListSymbol();
      ASSERT_EQ(list ? list->name() : "", entry->ipv4PrefixList());
      EXPECT_EQ(status.ipv6PfxListSymbol() ? status.ipv6PfxListSymbol()->name() : "",
                entry->ipv6PrefixList());
      if (!list) continue;
      EXPECT_EQ(list, all->symbolHas(list->name()) ? all->symbol(list->name()) : list);
      // One that was never compiled has come without a version.
      if (list->status() && contentOf(list->status()).empty()) continue;
      EXPECT_EQ(list->status(), status.ipv4PfxListStatus());
    }
    EXPECT_EQ(symbols->symbol().size(), count);
  }
};

// One list through all that changes it: what is traced, and the version of its symbol after.
TEST(DynPrefixListConfigSm, FollowsAllThatAListIsMadeOf) {
  DynWorld w;
  w.start();
  Traced traced(8, "RouteMapSm");
  w.startDynamic();
  std::string const updated = "8  Updated dpl symbol: D version: ";
  struct Step {
    std::function<void()> act;
    std::string traces;
    U32 version;
  };
  auto const raise = [&](U32 version) { w.dpl("D")->versionIs(version); };
  std::string const lookUp = "8  Dpl config version update: D\n";
  std::string const kept6 = "8  Deleting ipv6 prefix-list for dpl: D\n";
  std::string const compiled = "8  Ip pfx-list version update: D\n";
  for (Step const& step : std::initializer_list<Step>{
           {[] {}, "8  Initializing DynPrefixListConfigSm\n", 0},
           {[&] { w.dpl("D")->ipv4PrefixListIs("P"); }, "", 0},
           {[&] { w.vrfs("D"); }, "8  Creating dpl symbol sm for D\n8  Initializing dpl: D\n", 0},
           {[&] { w.vrfs("D")->activeInVrfIs(7, inactive); }, "8  Dpl state change D in vrf 7\n",
            0},
           {[&] { raise(5); },
            lookUp + "8  Updating dpl: D with ipv4 prefix-list: P\n" + kept6 + updated + "1\n", 1},
           {[&] { w.vrfs("D")->activeInVrfIs(7, active); },
            "8  Dpl state change D in vrf 7\n" + updated + "2\n", 2},
           {[&] { w.vrfs("D")->activeInVrfIs(7, active); }, "", 2},
           {[&] { raise(6); }, lookUp + kept6 + updated + "3\n", 3},
           {[&] { w.dpl("D")->ipv6PrefixListIs("SIX"), raise(7); },
            lookUp + "8  Updating dpl: D with ipv6 prefix-list: SIX\n" + updated + "4\n", 4},
           {[&] { w.table->symbolIs("P")->versionInc(1); }, compiled + updated + "5\n", 5},
           {[&] { w.ipv6Table->symbolIs("SIX")->versionInc(1); }, compiled + updated + "6\n", 6},
           {[&] { w.dpl("D")->ipv6PrefixListIs(""), raise(8); }, lookUp + kept6 + updated + "7\n",
            7},
           {[&] { raise(0); }, lookUp + kept6 + "8  Dpl symbol delete : D\n", 0},
           {[&] { w.vrfs("D")->activeInVrfDel(7); }, "8  Dpl state change D in vrf 7\n", 0},
           {[&] { w.dpl("D")->ipv4PrefixListIs(""), raise(9); },
            lookUp + "8  Deleting ipv4 prefix-list for dpl: D\n" + kept6 + updated + "1\n", 1},
           {[&] { w.state->dynamicPrefixListDel("D"); },
            "8  Deleting dpl symbol sm for D\n8  Dpl symbol delete : D\n", 0},
           {[&] { w.vrfs("D"); },
            "8  Creating dpl symbol sm for D\n8  Initializing dpl: D\n" + lookUp +
                "8  Deleting ipv4 prefix-list for dpl: D\n" + kept6 + updated + "1\n" + updated +
                "2\n",
            2},
           {[&] { w.sm->createOrDelDynPrefixListSymbolSm("D"); },
            "8  Creating dpl symbol sm for D\n", 2},
           {[&] { w.dynamic->dynamicPrefixListDel("D"); },
            "8  Deleting dpl symbol sm for D\n8  Dpl symbol delete : D\n", 0}}) {
    auto const old = w.symbols->symbol("D");
    U32 const version = w.dplVersion("D");
    step.act();
    EXPECT_EQ(std::exchange(traced.lines, ""), step.traces);
    EXPECT_EQ(w.dplVersion("D"), step.version);
    w.expectPublished();
    if (!old || w.symbols->symbol("D")) continue;
    EXPECT_FALSE(old->status());
    EXPECT_EQ(old->symbolNotifier()->version(), version + 1);
  }
}

// A prefix list that comes, is compiled anew and goes: every dynamic list that names it follows,
// and whoever holds a status matches against it as it was.
TEST(DynPrefixListConfigSm, RepublishesWithThePrefixLists) {
  using Outcome = Routing::PolicyEval::DynamicPrefixListMatch::Outcome;
  DynWorld w;
  for (auto const* name : {"D", "E"}) {
    w.dpl(name)->ipv4PrefixListIs("P");
    w.dpl(name)->versionIs(1);
    w.vrfs(name)->activeInVrfIs(3, active);
  }
  w.startDynamic();
  EXPECT_EQ(w.dplVersion("D"), 2U) << "its construction publishes twice";
  auto const shared = w.symbols->symbol("D")->status()->ipv4PfxListSymbol();
  EXPECT_FALSE(shared->status()) << "not configured";
  Ipa::IpGenPrefix const route = Ipa::Prefix::parse("10.1.0.0/16");
  auto const outcome = [&](auto const& status, U32 vrf, Ipa::IpGenPrefix const& which) {
    return matchDynamicPrefixList(status, vrf, which).outcome;
  };
  auto const current = [&] { return w.symbols->symbol("D")->status(); };
  auto const none = current();
  w.start();
  w.add("P", w.entry(10, 1));
  w.list("P")->versionInc(1);
  w.settle();
  EXPECT_EQ(w.symbol("P"), shared);
  auto const first = current();
  w.add("P", w.entry(5, 2));
  w.list("P")->versionInc(1);
  w.settle();
  EXPECT_EQ(std::pair(w.dplVersion("D"), w.dplVersion("E")), std::pair(4U, 4U));
  w.expectPublished();
  auto const second = current();
  w.listDel("P");
  EXPECT_EQ(w.dplVersion("E"), 5U);
  w.expectPublished();
  for (auto const& status : {none, current()}) {
    EXPECT_EQ(outcome(status, 3, route), Outcome::noSuchList);
    EXPECT_EQ(outcome(status, 4, route), Outcome::inactive);
  }
  auto const match = matchDynamicPrefixList(first, 3, route);
  EXPECT_EQ(match.outcome, Outcome::match);
  EXPECT_TRUE(match.isPermit && match.seqno == 10 && match.entry && match.family == Ipa::ipv4);
  EXPECT_EQ(outcome(first, 3, Ipa::Prefix::parse("10.2.0.0/16")), Outcome::noMatch);
  EXPECT_EQ(outcome(second, 3, Ipa::Prefix::parse("10.2.0.0/16")), Outcome::match);
  EXPECT_EQ(outcome(first, 3, Ipa::Ip6Prefix()), Outcome::noSuchList) << "none of that family";
  EXPECT_EQ(matchDynamicPrefixList(first, 3, Ipa::Ip6Prefix()).family, Ipa::ipv6);
  EXPECT_EQ(outcome(nullptr, 3, route), Outcome::noSuchList);
}

// A generator that goes takes its symbol along, whoever lets it go.
TEST(DynPrefixListConfigSm, LeavesNoSymbolBehind) {
  DynWorld w;
  w.dpl("D")->versionIs(1);
  w.vrfs("D");
  auto const isWithdrawn = [&](Orb::Ptr<DynPrefixListSymbol> const& symbol, U32 version) {
    return !symbol->status() && symbol->symbolNotifier()->version() == version &&
           w.symbols->symbol("D") != symbol;
  };
  auto alone = DynPrefixListGenSymbolSm::DynPrefixListGenSymbolSmIs(
      w.dpl("D"), w.vrfs("D"), w.table, w.ipv6Table, w.symbols, w.symbolTable);
  auto symbol = w.symbols->symbol("D");
  alone = nullptr;
  EXPECT_TRUE(isWithdrawn(symbol, 3));
  symbol = nullptr;  // while it is held, it is the canonical one

  auto const orphan = Orb::make<DynPrefixListSymbol>("ORPHAN")->dedup(w.symbolTable);
  w.symbols->symbolIs(orphan);
  w.startDynamic();
  EXPECT_TRUE(isWithdrawn(orphan, 1) && w.symbols->symbol().size() == 1);
  symbol = w.symbols->symbol("D");
  auto const first = w.sm->dplSymbolGenSm("D");
  auto const others = dynPrefixListSymbolDedupTableFactory();
  auto const replace = [&](auto const& table) {
    w.sm->dplSymbolGenSmIs(w.dpl("D"), w.vrfs("D"), w.table, w.ipv6Table, w.symbols, table);
  };
  Traced traced(8, "RouteMapSm");
  replace(w.symbolTable);
  EXPECT_EQ(traced.lines, "") << "all is the same";
  replace(others);
  EXPECT_TRUE(isWithdrawn(symbol, 3));
  EXPECT_LT(traced.lines.find("Dpl symbol delete"), traced.lines.find("Initializing dpl"));
  EXPECT_EQ(w.dplVersion("D"), 2U) << "another symbol";
  first->handleDynPrefixListVersion();
  EXPECT_EQ(w.dplVersion("D"), 2U) << "the old generator has gone";
  symbol = w.symbols->symbol("D");
  w.sm = nullptr;
  EXPECT_TRUE(isWithdrawn(symbol, 3));
  EXPECT_TRUE(w.symbols->symbol().empty());
  EXPECT_EQ(thrown<Orb::RangeException>([&] { w.startDynamic(), w.sm->listSmIs({}); }),
            "null _dplSymbolGenSm parameter to mutator for "
            "Routing::RouteMap::DynPrefixListConfigSm::dplSymbolGenSm not allowed\"");
}

// A generator that is made of other objects is a new one; the trace names what differs.
TEST(DynPrefixListConfigSm, SaysWhyAGeneratorIsReplaced) {
  DynWorld w;
  DynWorld others;
  auto const sourceIn = [](DynWorld& from) {
    return DynPrefixListSource{from.dpl("D"),  from.vrfs("D"), from.table,
                               from.ipv6Table, from.symbols,   from.symbolTable};
  };
  auto const ours = sourceIn(w);
  auto const theirs = sourceIn(others);
  w.startDynamic();
  auto const first = w.sm->dplSymbolGenSm("D");
  for (std::string const attribute : {"_dplConfig", "_dplState", "_ipPrefixListTable",
                                      "_ipv6PrefixListTable", "_allDplSymbol", "_dplSymbolTable"}) {
    std::ostringstream wanted;
    auto const part = [&](char const* name, auto const& our, auto const& their) {
      if (attribute != name) return our;
      wanted << "8 Reinstantiating the pointer interface where constructor parameter attribute "
             << name << " has a different value of " << their.get() << " than the current value of "
             << our.get() << '\n';
      return their;
    };
    Traced const traced(8, "RouteMapSm");
    w.sm->dplSymbolGenSmIs(
        part("_dplConfig", ours.dplConfig, theirs.dplConfig),
        part("_dplState", ours.dplState, theirs.dplState),
        part("_ipPrefixListTable", ours.ipPrefixListTable, theirs.ipPrefixListTable),
        part("_ipv6PrefixListTable", ours.ipv6PrefixListTable, theirs.ipv6PrefixListTable),
        part("_allDplSymbol", ours.allDplSymbol, theirs.allDplSymbol),
        part("_dplSymbolTable", ours.dplSymbolTable, theirs.dplSymbolTable));
    EXPECT_TRUE(traced.lines.starts_with(wanted.str())) << traced.lines << wanted.str();
    w.sm->createOrDelDynPrefixListSymbolSm("D");
    EXPECT_EQ(w.sm->dplSymbolGenSm("D")->source(), ours);
  }
  EXPECT_NE(w.sm->dplSymbolGenSm("D"), first);
}

// An observer of the installation puts another set of VRFs in the place of the one that is being
// published.
TEST(DynPrefixListConfigSm, PublishesNothingOfAGeneratorThatHasGone) {
  DynWorld w;
  w.dpl("D")->versionIs(1);
  w.vrfs("D")->activeInVrfIs(1, active);
  auto const held = dynPrefixListSymbolFactory("D")->dedup(w.symbolTable);
  bool isFirst = true;
  Observer const collection(*w.symbols, [&](auto...) {
    if (!std::exchange(isFirst, false)) return;
    w.state->dynamicPrefixListDel("D");
    w.vrfs("D")->activeInVrfIs(2, active);
  });
  w.startDynamic();
  w.expectPublished();
}

// Observers of a publication change what it is made of, also where there is no memory to follow
// that, and take the symbol's notifier.
TEST(DynPrefixListConfigSm, PublishesWhatChangesWhileItPublishes) {
  DynWorld w;
  w.start();
  w.add("P", w.entry(10, 1));
  w.list("P")->versionInc(1);
  w.settle();
  auto const entry = w.dpl("D");
  entry->ipv4PrefixListIs("P");
  entry->versionIs(1);
  w.vrfs("D");
  auto const held = dynPrefixListSymbolFactory("D")->dedup(w.symbolTable);
  Observer follower(*held->symbolNotifier(), [&](auto...) {
    if (held->symbolNotifier()->version() == 2) w.listDel("P");
  });
  w.startDynamic();
  EXPECT_FALSE(held->status()->ipv4PfxListStatus()) << "it has gone since";

  for (long granted = 0; granted < 12; ++granted) {
    w.state->dynamicPrefixListDel("D");
    entry->versionIs(0);
    w.vrfs("D");
    Orb::Name const other("Q" + std::to_string(granted));
    Observer const collection(*w.symbols, [&](auto...) {
      entry->ipv4PrefixListIs(other);
      TestSupport::ScarceMemory const scarce(granted, 1);
      entry->versionIs(2);
    });
    static_cast<void>(thrown([&] { entry->versionIs(1); }));
    w.settle();
    w.expectPublished();
    w.add(other, w.entry(1, 1));
    w.list(other)->versionInc(1);
    w.settle();
    w.expectPublished();
  }
  Traced const traced(8, "RouteMapSm");
  follower.changed = [&](auto...) { held->symbolNotifierDel(); };
  entry->versionIs(3);
  w.expectPublished();
}

// A machine that is behind ends, by itself or within what it does, and observers turn the loop.
TEST(DynPrefixListConfigSm, EndsInTheMidstOfWhatItDoes) {
  for (long granted = 0; granted < 40; ++granted) {
    DynWorld w;
    for (auto const* name : {"D", "E"}) w.dpl(name)->versionIs(1);
    w.vrfs("D");
    w.startDynamic();
    static_cast<void>(thrown([&] {
      TestSupport::ScarceMemory const scarce(granted / 2);
      w.vrfs("E");
    }));
    bool const isWithin = granted % 2 == 0;
    if (isWithin) {
      for (auto const* name : {"O", "P"}) w.symbols->symbolIs(w.symbolTable->symbolIs(name));
    }
    Observer const dropper(*w.symbols, [&](auto...) {
      if (isWithin) w.sm = nullptr;
      w.manager.turn();
    });
    if (isWithin) w.sm->handleInitialized();
    w.sm = nullptr;
    EXPECT_TRUE(w.symbols->symbol().empty());
  }
}

}  // namespace
