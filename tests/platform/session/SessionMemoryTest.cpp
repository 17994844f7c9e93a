#include <gtest/gtest.h>

#include <functional>

#include "platform/session/Session.h"
#include "tests/support/PolicyRoots.h"
#include "tests/support/ScarceMemory.h"

// Memory runs out at each allocation of each operation in turn.

namespace {

using Cli::Session::CommitReport;
using Cli::Session::Session;
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
    auto const first = manager->open("first");
    session = manager->open("second");
    session->attributeTextIs("routeMap['M'].mapEntry[10].weight", "2");
    session->edit<Routing::RouteMap::Map>("routeMap['M']")->mapEntryDel(30);
    session->edit<Routing::RouteMap::Map>("routeMap['M']")->mapEntryIs(50)->weightIs(5);
    session->attributeTextIs("prefixList['P'].source", "'second'");
    session->attributeTextIs("regexMode", "regexModePosix");
    first->attributeTextIs("routeMap['M'].mapEntry[10].weight", "1");
    first->attributeTextIs("routeMap['M'].mapEntry[40].communityDelete['D'].flag", "commSetNone");
    first->attributeDel("routeMap['M'].mapEntry[20]");
    first->attributeTextIs("prefixList['P'].prefixEntry[10].ge", "9");
    EXPECT_TRUE(first->commit().isComplete());
  }
  std::string shown() const { return TestSupport::differenceText(*session); }
};

TEST(SessionMemory, WhatFailsLeavesTheSessionAsItWas) {
  using Act = std::function<void(Session&)>;
  for (Act const& act : std::vector<Act>{
           [](Session& s) { s.attributeTextIs("routeMap['M'].mapEntry[60].tag", "5"); },
           [](Session& s) {
             s.attributeTextIs("prefixList['Q'].source", "'a long text, not kept'");
           },
           [](Session& s) { s.attributeTextIs("prefixListModeCount", "3"); },
           [](Session& s) { s.attributeTextIs("routeMap['N'].mapEntry[1].weight", "5"); },
           [](Session& s) { s.attributeIs("routeMap['M'].mapEntry[40]"); },
           [](Session& s) { s.edit<Acl::Ipv6PrefixList>("ipv6PrefixList['V']"); },
           [](Session& s) { s.attributeDel("routeMap['M'].mapEntry[10]"); },
           [](Session& s) { s.attributeDel("prefixList['Q']"); },
           [](Session& s) { s.attributeDel("prefixList"); },
           [](Session& s) { s.attributeText("routeMap"); },
           [](Session& s) { s.difference([](Orb::Difference const&) {}); }}) {
    World const untouched;
    std::string const before = untouched.shown();
    act(*untouched.session);
    std::string const after = untouched.shown();
    bool isDone = false;
    for (long granted = 0; !isDone; ++granted) {
      World const world;
      try {
        ScarceMemory const scarce(granted);
        act(*world.session);
        isDone = true;
      } catch (std::bad_alloc const&) {
      }
      ASSERT_EQ(world.shown(), isDone ? after : before) << granted;
      if (!isDone) act(*world.session);
      ASSERT_EQ(world.shown(), after) << granted;
    }
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
