#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <set>
#include <string>
#include <thread>

#include "platform/orb/base/Trace.h"
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
  using World = TestSupport::ListWorld<Family>;
  World world;
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
  w.tick = 0.006;
  EXPECT_EQ(sm->processClock(), 2U);
  w.settle();
  expectInLine(w);
  EXPECT_EQ(follower.notified, 2) << "once for each completed build";
  EXPECT_DEATH(sm->processClock(), "assertion failed: trie") << "nothing is being built";
  w.machine->handleLists();
  EXPECT_EQ(w.symbol("L")->status()->trie()->size(), 0U) << "anew, as it was asked for";
}

// Observers, the time source and the trace sink change the list and its version at random. A naive
// model notes down what the slices take.
TYPED_TEST(PrefixListSm, GoesOnWhateverChangesMeanwhile) {
  std::mt19937 random(7);
  auto const below = [&](U32 n) { return static_cast<U32>(random() % n); };
  for (int round = 0; round < 1000; ++round) {
    typename TestFixture::World w;
    auto const list = w.list("L");
    typename TestFixture::World::Content taken;  // by the build in progress
    std::set<U32> late;                          // changed behind it
    U32 last = 0;
    int left = 0;
    bool inSink = false;
    auto const put = [&] {
      U32 const seqno = 1 + below(99);
      auto const bound = [&] { return below(2) ? 0 : TypeParam::kMaxLength - below(9); };
      w.add("L", w.entry(seqno, below(5), bound(), bound(), bound()));
      auto const sm = w.sm("L");
      if (seqno <= last || (sm && seqno < sm->bookmark())) late.insert(seqno);
    };
    auto const startAnew = [&] {
      taken.clear();
      late.clear();
      last = 0;
    };
    auto const raise = [&] {
      startAnew();
      list->versionInc(1);
    };
    auto const meddle = [&] {
      if (left == 0 || below(2)) return;
      --left;
      U32 const what = below(40);
      if (what == 0) return raise();
      if (what == 1) return TypeParam::entryDelAll(*list);
      if (what == 2 && w.sm("L")->isBuilding() && !inSink) return void(w.sm("L")->processClock());
      what % 2 ? put() : TypeParam::entryDel(*list, 1 + below(99));
    };
    for (int i = 0; i < 10; ++i) put();
    w.start();
    auto const symbol = w.symbol("L");
    Observer follower(*symbol->symbolNotifier(), [&](auto...) {
      EXPECT_EQ(w.contentOf(symbol->status()), taken);
      for (auto const& entry : TypeParam::entries(*list)) {
        EXPECT_TRUE(taken.count(entry.seqno()) || late.count(entry.seqno())) << entry;
      }
      startAnew();
      meddle();
    });
    w.tick = 0.001 * below(8);
    w.manager.clock()->timeSourceIs([&] {
      meddle();
      return w.time += w.tick;
    });
    Orb::traceSinkIs([&](std::string_view, int, std::string_view line) {
      constexpr std::string_view kTaken = "PL: L seqno: ";
      inSink = true;
      if (line.starts_with(kTaken)) {
        auto const seqno = static_cast<U32>(std::stoul(std::string(line.substr(kTaken.size()))));
        EXPECT_GT(seqno, last) << "ascending, and once";
        last = seqno;
        taken.emplace(seqno, w.compiled(*TypeParam::entries(*list).find(seqno)));
      }
      meddle();
      inSink = false;
    });
    Orb::traceLevelsAre("RouteMapSm/8,RouteMapStatusType/6");
    for (left = 60; left > 0 && w.settle() >= 0;) raise();
    left = 0;
    w.settle();
    Orb::traceReset();
    follower.changed = [](auto...) {};
    raise();
    w.settle();
    expectInLine(w);
    if (this->HasFailure()) FAIL() << "round " << round;
  }
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

// A large list is built anew while another thread matches against what it holds.
TEST(ThreadsPrefixListSm, MatchesGoOnWhileTheListIsBuiltAnew) {
  TestSupport::ListWorld<Acl::Ipv4Family> w;
  w.manager.clock()->timeSourceIs(nullptr);
  constexpr U32 kEntries = 1000000;
  auto const prefix = [](U32 i) { return Ipa::Prefix(Ipa::IpAddr(i << 8), 24U); };
  auto const list = w.list("L");
  for (U32 i = 0; i < kEntries; ++i) {
    list->prefixEntryIs(Acl::PrefixEntry::of(i, prefix(i), Acl::permitMatch, 0U, 0U, 0U));
  }
  w.start();
  auto const turnUntil = [&](U32 version) {
    while (w.version("L") < version) w.manager.turn();
  };
  turnUntil(1);
  std::atomic<bool> stop = false;
  std::atomic<Orb::U64> matched = 0;
  std::thread reader([&, status = w.symbol("L")->status()]() mutable {
    for (U32 i = 0; !stop; i = (i + 7919) % kEntries) {
      if (Routing::PolicyEval::matchPrefixList(status, prefix(i)).seqno == i) ++matched;
    }
    status = nullptr;  // the last holder of the old status, on its own thread
  });
  while (matched == 0) std::this_thread::yield();
  for (U32 version = 2; version < 4; ++version) {
    list->prefixEntryIs(Acl::PrefixEntry::of(0U, Ipa::Prefix(), Acl::denyMatch, 0U, version, 0U));
    list->versionInc(1);
    turnUntil(version);
  }
  stop = true;
  reader.join();
}

}  // namespace
