#include <gtest/gtest.h>

#include <functional>
#include <list>
#include <stdexcept>

#include "tests/support/CommListWorld.h"
#include "tests/support/Observer.h"
#include "tests/support/RationedMemory.h"
#include "tests/support/Thrown.h"
#include "tests/support/Traced.h"

namespace {

using namespace Routing::RouteMap;
using Acl::CommunityListType;
using Orb::U32;
using Entry = Acl::CommunityListEntry;
using Status = Orb::Ptr<CommListStatus const>;
using TestSupport::CommListWorld;
using TestSupport::Observer;

/// What is configured and stamped is compiled into the symbol of its family.
void expectCompiled(CommListWorld& w) {
  for (auto const& entry : w.list("L")->communityListEntry()) {
    if (entry->version() == 0) continue;
    auto const status = w.status(static_cast<std::size_t>(entry->listType()) / 2, "L");
    EXPECT_TRUE(status && status->communityListEntryHas(entry->seqno())) << entry->seqno();
  }
}

std::string traced(std::function<void()> const& act) {
  TestSupport::Traced const traced(8, "RouteMapSm");
  act();
  return traced.lines;
}

// Every row of the table of events, for each type.
TEST(CommListSm, AnswersEachEventWithItsTraces) {
  for (U32 type = 0; type < 6; ++type) {
    CommListWorld w;
    w.start();
    auto const list = w.list("L");
    std::string const of = " community-list: L seqno: ";
    EXPECT_EQ(traced([&] { w.entry("L", 10); }),
              "8 handleVersion" + of + "10\n8 version is yet to be set\n");
    for (U32 const seqno : {10U, 20U}) {
      for (auto const& all : w.all)
        EXPECT_EQ(all->symbol().empty(), seqno == 10 || all != w.all[type / 2]);
      auto const entry = w.entry("L", seqno);
      entry->commRegexIs("^65000:");
      entry->commRegexDisplayIs("shown");
      entry->lbwDisplayIs(0, "shown");
      entry->listTypeIs(static_cast<CommunityListType>(type));
      EXPECT_EQ(traced([&] { entry->versionIs(7); }),
                "8 handleVersion" + of + std::to_string(seqno) +
                    (seqno == 10 ? "\n8 creating the symbol for community list L\n" : "\n"));
      EXPECT_EQ(w.version(type / 2, "L"), seqno / 10);
    }
    auto const symbol = w.symbol(type / 2, "L");
    auto const copy = symbol->status()->communityListEntry(10);
    EXPECT_EQ(copy->toStrep().view().find("  seq 10 permit"), Orb::toText(copy->listType()).size())
        << "no list's name";
    EXPECT_TRUE(copy->version() == 0 && copy->commRegexDisplay().empty());
    EXPECT_TRUE(copy->lbwDisplay().empty() && copy->commRegex() == "^65000:");
    EXPECT_EQ(traced([&] { list->communityListEntryDel(10); }),
              "8 handleCommListEntryDel" + of + "10\n8 Removing seqno 10 from community L\n");
    std::string const deletion = "8 deleting the symbol for community list L\n";
    EXPECT_EQ(traced([&] { list->communityListEntryDel(20); }),
              "8 handleCommListEntryDel" + of + "20\n" + deletion);
    EXPECT_TRUE(!symbol->status() && symbol->symbolNotifier()->version() == 4U);
    w.entry("L", 30)->versionIs(1);
    EXPECT_EQ(traced([&] { w.config->communityListDel("L"); }),
              "8  community-list: L\n" + deletion + "8 handleCommListEntryDel" + of + "30\n");
    for (auto const& all : w.all) EXPECT_TRUE(all->symbol().empty());
  }
}

TEST(CommListSm, StartsOverWhatIsThere) {
  CommListWorld w;
  auto const other = commListStatusFactory("L");
  other->communityListEntryIs(Orb::make<Entry>(20U));
  auto const fill = [&](std::size_t family, char const* name, Status const& status) {
    auto const symbol = dedupCommListSym(w.tables[family], w.all[family], name);
    EXPECT_TRUE(symbol->status()->communityListEntry().empty());
    symbol->statusIs(status);
    return symbol;
  };
  auto const gone = fill(2, "GONE", other);
  {
    Observer const remover(*w.all[2], [&](auto, auto) { w.all[2]->symbolDel("GONE3"); });
    EXPECT_FALSE(dedupCommListSym(w.tables[2], w.all[2], "GONE3")->status());
  }
  auto const gone2 = fill(0, "GONE2", other);
  for (std::size_t const family : {0U, 1U}) fill(family, "GONE3", other);
  Observer const thrower(*gone2->symbolNotifier(),
                         [](auto, auto) { throw std::runtime_error(""); });
  auto const kept = fill(0, "L", other);
  auto const null = fill(1, "L", nullptr);
  w.entry("L", 10)->versionIs(1);
  w.entry("L", 20)->listTypeIs(Acl::extCommunityStandard);
  w.entry("L", 20)->versionIs(1);
  EXPECT_EQ(deleteSymbolSeq(w.all[1], "L", 20), 0U) << "a null status holds nothing";
  EXPECT_EQ(traced([&] { EXPECT_THROW(w.start(), std::runtime_error); }),
            "8 deleting the symbol for community list GONE2\n"
            "8 deleting the symbol for community list GONE3\n"
            "8 deleting the symbol for community list GONE3\n"
            "8 deleting the symbol for community list GONE\n");
  w.start();
  EXPECT_TRUE(w.machine->initialized() && !gone->status() && w.all[2]->symbol().empty());
  EXPECT_EQ(gone->symbolNotifier()->version(), 1U);
  EXPECT_TRUE(w.symbol(0, "L") == kept && kept->status()->communityListEntry().size() == 2U);
  w.list("L")->communityListEntryDel(20);  // in one family by what its reactor knows
  EXPECT_FALSE(kept->status()->communityListEntryHas(20)) << "the first that holds the number";
  EXPECT_TRUE(w.symbol(1, "L") == null && null->status()->communityListEntryHas(20));
  w.entry("L", 30)->listTypeIs(Acl::largeCommunityStandard);
  w.entry("L", 30)->versionIs(1);
  std::string removed;
  std::list<Observer> removals;
  for (char const family : {'2', '1', '0'}) {
    removals.emplace_back(*w.all[family - '0'], [&, family](auto...) { removed += family; });
  }
  w.config->communityListDel("L");
  EXPECT_EQ(removed, "012");
  EXPECT_TRUE(!null->status() && null->symbolNotifier()->version() == 2U);
  kept->statusIs(other);  // as when another collection has it still
  w.entry("L", 10)->versionIs(1);
  EXPECT_TRUE(w.symbol(0, "L") == kept && !kept->status()->communityListEntryHas(20));
  w.machine->communityList("L")->communityListEntryDel(10);  // though it is configured
  EXPECT_TRUE(!kept->status() && w.all[0]->symbol().empty());
  w.list("L");
  fill(0, "L", other);
  EXPECT_EQ(deleteSymbolSeq(w.all[0], "L", 10) + 2 * deleteSymbolSeq(w.all[0], "L", 20), 2U);
  for (int i = 0; i < 2; ++i) deleteSymbolIfExists(w.all[0], "L");
  int left = 5000;
  Observer const remover(*w.all[0], [&](auto...) {
    if (left-- > 0) w.all[0]->symbolDel("L");
  });
  w.entry("L", 30)->versionIs(1);
  EXPECT_GT(left, 1000) << "what observers undo again and again waits for the next turn";
  w.settle();
  expectCompiled(w);
  Observer const late(*w.all[2], [](auto...) { throw std::runtime_error(""); });
  w.entry("L", 40)->listTypeIs(Acl::largeCommunityStandard);
  EXPECT_THROW(w.entry("L", 40)->versionIs(1), std::runtime_error);
  expectCompiled(w);  // when the exception arrives
}

TEST(CommListSm, MakesIndexesBehindTheStatuses) {
  for (long granted = -1, made = 0; made < 2; ++granted) {
    CommListWorld w;
    w.start();
    for (U32 i = 0; i < (granted < 0 ? 2000 : 20); ++i) {
      auto const entry = w.entry("L", i);
      entry->listTypeIs(i % 2 ? Acl::communityStandard : Acl::largeCommunityStandard);
      entry->communityIs(Acl::CommunityValue::of(0U, 0U, i), true);
      entry->versionIs(1);
    }
    auto const sm = w.machine->communityList("L");
    if (granted < 0) {
      sm->clockQuantumIs(0);
      w.manager.turn();
      auto const replaced = w.status(0, "L");
      w.list("L")->communityListEntryDel(1);
      EXPECT_GT(w.settle(), 10) << "in slices";
      EXPECT_FALSE(replaced->index()) << "not gone on with";
      {
        TestSupport::ScarceMemory const few(40);
        w.list("L")->communityListEntryDel(3);
        w.entry("L", 5)->versionIs(2);
      }
      w.settle();
      w.list("L")->communityListEntryDel(7);
      w.settle();
      EXPECT_TRUE(w.status(0, "L")->index() && w.status(2, "L")->index());
      EXPECT_EQ(w.status(0, "L")->communityListEntry().size(), 997U);
      for (U32 i = 0; i < 17000; ++i) w.entry("M", i)->versionIs(1);
      std::size_t const pending = Orb::pendingGarbage();
      w.config->communityListDel("M");
      EXPECT_GT(Orb::pendingGarbage(), pending) << "freed in slices";
      continue;
    }
    {
      TestSupport::ScarceMemory const scarce(granted, 1);
      w.settle();
    }
    made = (w.status(0, "L")->index() ? 1 : 0) + (w.status(2, "L")->index() ? 1 : 0);
    EXPECT_TRUE(made > 0 && !sm->isBuilding()) << "the other family's is made, " << granted;
  }
}

TEST(CommListSm, RefusesWhatIsNone) {
  CommListWorld w;
  w.start();
  auto const entry = w.entry("L", 1);
  auto const sm = w.machine->communityList("L");
  auto const text = [](auto const& act) { return TestSupport::thrown<Orb::RangeException>(act); };
  std::string const of = " parameter to mutator for Routing::RouteMap::CommList";
  EXPECT_EQ(text([&] { w.machine->communityListIs(nullptr); }),
            "null _communityList" + of + "ConfigSm::communityList not allowed\"");
  std::string const none =
      "null _communityListEntry" + of + "Reactor::communityListEntry not allowed\"";
  EXPECT_EQ(text([&] { sm->communityListEntryIs(nullptr); }), none);
  EXPECT_EQ(text([&] { sm->newCommunityListEntry(nullptr); }), none);
  entry->listTypeIs(static_cast<CommunityListType>(6));
  Orb::traceLevelIs("RouteMapSm", 0);
  EXPECT_DEATH(entry->versionIs(1), "unrecognized community list ype: 6\n.*assertion failed");
  Orb::traceReset();
  entry->listTypeIs(Acl::communityStandard);
  entry->versionIs(2);
  sm->communityListEntryIs(entry);
  sm->newCommunityListEntry(entry);
  EXPECT_EQ(w.version(0, "L"), 1U) << "they are there";
  w.machine->communityListDelAll();
  sm->communityListEntryIs(entry);
  EXPECT_TRUE(sm->communityListEntry().empty()) << "it has been let go of";
}

}  // namespace
