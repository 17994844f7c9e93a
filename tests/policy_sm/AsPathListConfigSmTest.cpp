#include <gtest/gtest.h>

#include "platform/orb/base/Trace.h"
#include "tests/support/AsPathWorld.h"
#include "tests/support/Observer.h"
#include "tests/support/Traced.h"

namespace {

using namespace Routing::RouteMap;
using Orb::U32;
using TestSupport::AsPathWorld;
using TestSupport::expectInLine;
using TestSupport::Observer;

/// What a session's commit does to a list.
void change(AsPathWorld& w, Orb::Name const& name, Acl::AsPathEntry const& changed) {
  auto const list = w.list(name);
  list->pathEntryIs(changed);
  list->versionInc(1);
}

// A setting changes while a list is compiled, by the trace sink that is shown a broken expression;
// the version of an empty list while its symbol is installed, before there is a reactor. Another
// sink adds a list to a machine that does not know its settings yet.
TEST(AsPathListSm, PublishesNothingInStaleSettings) {
  AsPathWorld empty;
  empty.start();
  Observer const observer(*empty.all, [&](auto...) { empty.list("L")->versionInc(1); });
  empty.list("L");
  expectInLine(empty);
  for (bool const isMode : {true, false}) {
    AsPathWorld late;
    isMode ? late.config->regexModeIs(Acl::regexModePosix)
           : late.asn->asnNotationIs(Routing::asnNotationAsdot);
    Orb::traceSinkIs([&](auto...) { late.list("L"); });
    Orb::traceLevelIs("RouteMapSm", 8);
    late.start();
    Orb::traceReset();
    expectInLine(late);
    AsPathWorld w;
    w.list("L")->pathEntryIs(w.entry(1, 5));
    w.start();
    Orb::traceSinkIs([&](auto...) {
      isMode ? w.config->regexModeIs(Acl::regexModeDfa)
             : w.asn->asnNotationIs(Routing::asnNotationAsdot);
    });
    Orb::traceLevelIs("RouteMapStatusType", 6);
    isMode ? w.config->regexModeIs(Acl::regexModePosix) : void(w.list("L")->versionInc(1));
    Orb::traceReset();
    expectInLine(w);
    EXPECT_EQ(w.version("L"), isMode ? 1U : 3U);  // back where it was, or both changes
  }
}

TEST(AsPathListSm, CompilesAPathSetBehindTheStatus) {
  AsPathWorld w;
  w.start();
  auto const list = w.list("L");
  for (U32 i = 0; i < 4; ++i) list->pathEntryIs(w.entry(i, i));
  list->versionInc(1);
  auto const sm = w.sm("L");
  sm->clockQuantumIs(0);  // one expression in each slice
  auto const first = w.symbol("L")->status();
  std::string const content = w.contentOf(first);
  w.manager.turn();
  w.asn->asnNotationIs(Routing::asnNotationAsdot);
  auto const second = w.symbol("L")->status();
  EXPECT_EQ(sm->indexed(), second) << "it goes on for the new status";
  sm->clockQuantumIs(1);
  EXPECT_EQ(sm->processClock(), 2U) << "and does not begin anew";
  EXPECT_TRUE(second->pathSet() && !first->pathSet());
  EXPECT_EQ(w.contentOf(first), content);
  EXPECT_EQ(w.version("L"), 2U) << "a path set is no change";
  w.asn->asnNotationIs(Routing::asnNotationAsplain);
  EXPECT_EQ(w.symbol("L")->status()->pathSet(), second->pathSet());
  EXPECT_EQ(w.contentOf(w.symbol("L")->status()), content);

  sm->clockQuantumIs(0);
  list->versionInc(1);
  EXPECT_EQ(w.symbol("L")->status()->dfaRegex(1), first->dfaRegex(1)) << "handed over";
  w.manager.turn();
  list->versionInc(1);
  EXPECT_EQ(sm->indexed(), w.symbol("L")->status()) << "begun anew";
  w.config->regexModeIs(Acl::regexModePosix);
  EXPECT_FALSE(sm->isBuilding());
  w.config->regexModeIs(Acl::regexModeDfa);
  w.settle();
  EXPECT_TRUE(w.isWhole(w.symbol("L")->status()));
  // Each has 4,096 states, both together 3^12; with the "$" in a group they are read forwards.
  list->pathEntryDelAll();
  for (auto const* text : {"(1 .{11}$)", "(2 .{11}$)"}) {
    change(w, "L",
           Acl::AsPathEntry::of(U32(list->pathEntry().size()), Orb::String(text), Acl::permitMatch,
                                Acl::bgpAny, true, false));
    w.settle();
    EXPECT_FALSE(sm->isBuilding() || w.symbol("L")->status()->pathSet()) << text;
  }
  EXPECT_EQ(w.symbol("L")->status()->dfaRegexMapSize(), 2U);
}

TEST(AsPathListSm, HasItsNamesAndTraces) {
  AsPathWorld w;
  TestSupport::Traced const traced(8, "RouteMapSm");
  w.list("L")->pathEntryIs(w.entry(1, 1));
  w.start();
  w.machine->regexModeIs(Acl::regexModePosix);  // applied by nobody
  w.machine->asnNotationIs(Routing::asnNotationAsdot);
  w.machine->handleRegexMode();
  w.machine->handleAsnNotation();
  w.config->pathListDel("L");
  EXPECT_EQ(
      traced.lines,
      "8 handleRegexMode regexMode: regexModeDfa\n8 No change in regexMode\n"
      "8 handleAsnNotation asnNotation: asnNotationAsplain\n8 No change in asnNotation\n"
      "8 handleAsPathList\n8 addAsPathList as-path-list: L\n8 handleAsPathEntry\n"
      "8 handleAsPathListVersion version: 0\n"
      "8 handleRegexMode regexMode: regexModeDfa\n8 No change in regexMode for L\n"
      "8 handleAsnNotation asnNotation: asnNotationAsplain\n8 No change in asnNotation for L\n"
      "8 handleAsPathList as-path-list: L\n");

  change(w, "L", w.entry(1, 1));
  w.machine->asPathListDelAll();
  w.config->regexModeIs(Acl::regexModePosix);
  EXPECT_EQ(w.symbol("L")->status()->posixRegexMapSize(), 1U) << "without a reactor";
  w.machine->handleAsPathList("L");
  EXPECT_TRUE(w.symbol("L")->status()->asPathEntry().empty()) << "anew, as it was asked for";
  w.symbol("L")->statusIs(nullptr);
  U32 const version = w.version("L");
  w.config->regexModeIs(Acl::regexModeDfa);
  w.asn->asnNotationIs(Routing::asnNotationAsdot);
  EXPECT_TRUE(!w.symbol("L")->status() && w.version("L") == version) << "left as it is";
}

}  // namespace
