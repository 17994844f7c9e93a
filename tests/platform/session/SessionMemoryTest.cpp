#include <gtest/gtest.h>

#include "platform/session/Session.h"
#include "tests/support/PolicyRoots.h"
#include "tests/support/ScarceMemory.h"

// Memory runs out at each allocation of each operation in turn.

namespace {

using Cli::Session::CommitReport;
using Cli::Session::Session;
using TestSupport::openWith;
using TestSupport::PolicyRoots;
using TestSupport::ScarceMemory;

/// Two sessions with edits to one list and one map; the first has committed, the second is about to
/// follow.
struct World {
  PolicyRoots roots;
  Orb::Ptr<Routing::RouteMap::RouteMapCopyHandlerDir> dir =
      Orb::make<Routing::RouteMap::RouteMapCopyHandlerDir>("dir");
  Orb::Ptr<Cli::Session::Manager> manager = Orb::make<Cli::Session::Manager>(roots.all(), dir);
  Orb::Ptr<Session> session;

  World() {
    auto const map = roots.maps->routeMapIs("M");
    for (Orb::U32 i : {10U, 20U, 30U}) map->mapEntryIs(i)->communityDeleteIs("C");
    roots.lists->prefixListIs("P");
    roots.lists->prefixListIs("Q");
    auto const first =
        openWith(*manager, "first",
                 {"routeMap['M'].mapEntry[10].weight=1", "-routeMap['M'].mapEntry[20]",
                  "routeMap['M'].mapEntry[40].communityDelete['D'].flag=commSetNone",
                  "prefixList['P'].prefixEntry[10].ge=9"});
    session = openWith(*manager, "second",
                       {"routeMap['M'].mapEntry[10].weight=2", "prefixList['P'].source='second'",
                        "regexMode=regexModePosix"});
    auto const mine = session->edit<Routing::RouteMap::Map>("routeMap['M']");
    mine->mapEntryDel(30);
    mine->mapEntryIs(50)->weightIs(5);
    EXPECT_TRUE(first->commit().isComplete());
  }
  std::string shown() const { return TestSupport::differenceText(*session); }
};

TEST(SessionMemory, WhatFailsLeavesTheSessionAsItWas) {
  // As edit() takes them; "?PATH" and "?" read, "+PATH" asks for a list.
  for (std::string_view const line :
       {"routeMap['M'].mapEntry[60].tag=5", "prefixList['Q'].source='a long text, not kept'",
        "prefixListModeCount=3", "routeMap['N'].mapEntry[1].weight=5", "routeMap['M'].mapEntry[40]",
        "-routeMap['M'].mapEntry[10]", "-prefixList['Q']", "-prefixList", "?routeMap", "?",
        "+ipv6PrefixList['V']"}) {
    auto const act = [line](Session& s) {
      if (line == "?") return s.difference([](Orb::Difference const&) {});
      if (line[0] == '?') return void(s.attributeText(line.substr(1)));
      if (line[0] == '+') return void(s.edit<Acl::Ipv6PrefixList>(line.substr(1)));
      TestSupport::edit(s, line);
    };
    World const untouched;
    std::string const before = untouched.shown();
    act(*untouched.session);
    std::string const after = untouched.shown();
    auto world = std::make_unique<World>();
    TestSupport::withEverMoreMemory([&] { act(*world->session); },
                                    [&] {
                                      ASSERT_EQ(world->shown(), before);
                                      act(*world->session);
                                      ASSERT_EQ(world->shown(), after);
                                      world = std::make_unique<World>();
                                    });
    ASSERT_EQ(world->shown(), after);
  }
}

TEST(SessionMemory, ACommitAppliesWhatItReportsAndTheNextOneTheRest) {
  World const plain;
  ASSERT_TRUE(plain.session->commit().isComplete());
  bool isDone = false;
  for (long granted = 0; !isDone; ++granted) {
    World const world;
    std::string const before = world.roots.text();
    bool threw = false;
    CommitReport report;
    try {
      ScarceMemory const scarce(granted);
      report = world.session->commit();
      isDone = report.isComplete();
    } catch (std::bad_alloc const&) {
      threw = true;
    }
    for (Orb::AttributeRef const a : attributesOf(std::as_const(*world.dir))) {
      a.eachOwned([&](Orb::ValueRef, Orb::Entity const& held) {
        auto const& handler =
            dynamic_cast<Cli::Session::EntityCopyGlobalSessionHandler const&>(held);
        ASSERT_FALSE(handler.handlerDir() || handler.sessionStatus()) << "a reference cycle";
      });
    }
    if (threw) {
      ASSERT_EQ(world.roots.text(), before) << granted;
    }
    if (isDone) break;
    ASSERT_TRUE(world.session->isOpen()) << granted;
    ASSERT_EQ(report.error.empty(), threw) << granted;
    ASSERT_TRUE(world.session->commit().isComplete()) << granted;
    ASSERT_EQ(TestSupport::differenceText(*world.roots.maps, *plain.roots.maps), "") << granted;
    ASSERT_EQ(TestSupport::differenceText(*world.roots.lists, *plain.roots.lists), "") << granted;
    ASSERT_GE(world.roots.maps->routeMap("M")->version(), 2U) << granted;
    ASSERT_GE(world.roots.lists->prefixList("P")->version(), 2U) << granted;
  }
}

}  // namespace
