#include <gtest/gtest.h>

#include <string>

#include "tests/support/ListWorld.h"
#include "tests/support/Observer.h"
#include "tests/support/Traced.h"

namespace {

using namespace Routing::RouteMap;
using Orb::U32;
using TestSupport::expectInLine;
using TestSupport::Observer;

template <class Family>
class PrefixListSm : public testing::Test {
 protected:
  TestSupport::ListWorld<Family> world;
};
using Families = testing::Types<Acl::Ipv4Family, Acl::Ipv6Family>;
TYPED_TEST_SUITE(PrefixListSm, Families);

TYPED_TEST(PrefixListSm, BuildsInSlicesAndSwapsOnce) {
  auto& w = this->world;
  for (U32 i = 0; i < 4; ++i) w.add("L", w.entry(i < 3 ? 10 * i : 4294967295U, i));
  w.start();
  auto const sm = w.sm("L");
  EXPECT_TRUE(w.symbol("L")->isDeduped());
  EXPECT_EQ(w.symbol("L")->status()->trie()->addressFamily(), TypeParam::kFamily);
  EXPECT_EQ(w.symbol("L")->status()->trie()->size(), 0U) << "an empty trie first";
  Observer const follower(*w.symbol("L")->symbolNotifier());
  auto const old = w.symbol("L")->status();
  EXPECT_EQ(sm->clockQuantum(), 0.01);
  sm->clockQuantumIs(0);  // one entry in each slice
  for (U32 i = 1; i <= 3; ++i) {
    w.manager.turn();
    EXPECT_EQ(sm->newTrie()->size(), i);
    EXPECT_EQ(sm->bookmark(), i < 3 ? 10 * i : 4294967295U);
    EXPECT_EQ(sm->timeMin(), Orb::Clock::kNextTurn);
    EXPECT_EQ(w.symbol("L")->status(), old) << "readers never see a half-built list";
  }
  w.manager.turn();
  expectInLine(w);
  EXPECT_EQ(follower.notified, 1);
  EXPECT_EQ(sm->bookmark(), 0U);
  EXPECT_EQ(sm->timeMin(), Orb::Clock::kNever);
  EXPECT_FALSE(sm->newTrie());

  w.add("L", w.entry(0, 99));
  EXPECT_EQ(w.settle(), 0) << "entries alone rebuild nothing";
  w.list("L")->versionInc(1);
  w.manager.turn();
  w.list("L")->versionInc(1);
  EXPECT_EQ(sm->newTrie()->size(), 0U) << "the partial trie is dropped";
  EXPECT_EQ(sm->bookmark(), 0U);
  // With a clock that moves by 6 ms at each reading, a slice of 10 ms ends at its second look.
  sm->clockQuantumIs(0.01);
  int readings = 2;  // no slice is running
  w.manager.clock()->timeSourceIs([&] {
    EXPECT_TRUE(++readings > 2 || sm->processClock() == 0U) << "slices do not nest";
    return w.time += 0.006;
  });
  readings = 0;
  EXPECT_EQ(sm->processClock(), 2U);
  w.settle();
  expectInLine(w);
  EXPECT_EQ(follower.notified, 2) << "once for each completed build";
  EXPECT_DEATH(sm->processClock(), "assertion failed: trie") << "nothing is being built";
  w.machine->handleLists();
  EXPECT_EQ(w.symbol("L")->status()->trie()->size(), 0U) << "anew, as it was asked for";
}

TYPED_TEST(PrefixListSm, TracesItsHandlers) {
  auto& w = this->world;
  TestSupport::Traced const traced(8, "RouteMapSm");
  auto const list = w.list("L");
  for (U32 const seqno : {5U, 7U}) w.add("L", w.entry(seqno, seqno));
  w.start();
  auto const sm = w.sm("L");
  sm->clockQuantumIs(0);
  w.settle();
  w.listDel("L");
  list->versionInc(1);  // which no reactor hears
  std::string const n = w.kMachine;
  EXPECT_EQ(traced.lines,
            "8 handle" + n + "\n8 add" + n + " prefix-list: L\n8 handle" +
                n.substr(0, n.size() - 4) + "Entry\n8 handle" + n +
                "Version version: 0\n8 processClock\n8 PL: L seqno: 5\n5 PL: L pausing "
                "processing at 7\n8 processClock\n8 PL: L seqno: 7\n8 handle" +
                n + " prefix-list: L\n");
}

}  // namespace
