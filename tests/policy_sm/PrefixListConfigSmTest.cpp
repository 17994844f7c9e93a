#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>

#include "platform/orb/base/Trace.h"
#include "tests/support/ListWorld.h"
#include "tests/support/Observer.h"
#include "tests/support/ScarceMemory.h"
#include "tests/support/Thrown.h"

namespace {

using namespace Routing::RouteMap;
using Orb::U32;
using TestSupport::Observer;
using TestSupport::thrown;
using Entries = std::multimap<U32, GenPrefixEntry>;  // by their numbers

Entries compiled(PrefixListStatus const& status) {
  Entries entries;
  status.trie()->forEach([&](auto const&, auto const& head) {
    auto const* entry = static_cast<PrefixListEntryData const*>(&head);
    for (; entry; entry = entry->nextEntryData().get())
      entries.emplace(entry->seqno(), entry->data());
  });
  return entries;
}

template <class Entry>
GenPrefixEntry normalised(Entry const& e) {
  U32 const length = e.prefix().length();
  U32 const le = e.le() ? e.le() : e.ge() ? e.prefix().kMaxLength : length;
  return GenPrefixEntry::of(e.seqno(), Ipa::IpGenPrefix(e.prefix()), e.permit(),
                            e.ge() ? e.ge() : length, le, e.eq());
}

/// Every configured list is compiled as it stands, and nothing else is there.
template <class Family>
void expectInLine(TestSupport::ListWorld<Family>& w) {
  for (auto const& list : Family::lists(*w.config)) {
    auto const symbol = w.symbol(list->name());
    ASSERT_TRUE(symbol && symbol->status() && w.sm(list->name())) << list->name();
    EXPECT_EQ(w.sm(list->name())->prefixList(), list);
    Entries expected;
    for (auto const& e : Family::entries(*list)) expected.emplace(e.seqno(), normalised(e));
    EXPECT_EQ(compiled(*symbol->status()), expected) << list->name();
  }
  EXPECT_EQ(w.all->symbol().size(), Family::lists(*w.config).size());
  EXPECT_EQ(w.machine->listSms().size(), Family::lists(*w.config).size());
}

template <class Family>
class PrefixListSm : public testing::Test {
 protected:
  using World = TestSupport::ListWorld<Family>;
  static constexpr bool kIsIpv4 = std::is_same_v<Family, Acl::Ipv4Family>;
  static constexpr char const* kName = kIsIpv4 ? "PrefixList" : "Ipv6PrefixList";
  /// A permitting entry for the i-th prefix of one length.
  static auto entry(U32 seqno, U32 i, U32 ge = 0, U32 le = 0, U32 eq = 0) {
    char text[32];
    std::snprintf(text, sizeof text, kIsIpv4 ? "10.%u.0.0/16" : "2001:db8:%x::/48", i);
    return World::entry(seqno, text, ge, le, eq);
  }
  World world;
};
using Families = testing::Types<Acl::Ipv4Family, Acl::Ipv6Family>;
TYPED_TEST_SUITE(PrefixListSm, Families);

TYPED_TEST(PrefixListSm, StartsOverWhatIsConfigured) {
  auto& w = this->world;
  for (U32 seqno = 0; seqno < 3; ++seqno) w.add("FULL", this->entry(seqno, 1));
  auto const empty = w.list("EMPTY");
  w.start();
  for (auto const* name : {"EMPTY", "FULL"}) {
    EXPECT_EQ(w.symbol(name)->status()->trie()->size(), 0U) << "a symbol with an empty trie first";
    EXPECT_EQ(w.symbol(name)->status()->trie()->addressFamily(), TypeParam::kFamily);
    EXPECT_TRUE(w.symbol(name)->isDeduped());
    EXPECT_EQ(w.sm(name)->clockQuantum(), 0.01);
  }
  EXPECT_EQ(w.sm("EMPTY")->processClock(), 0U) << "nothing is being built";
  w.settle();
  expectInLine(w);
  EXPECT_EQ(w.version("FULL"), 1U);
  EXPECT_EQ(w.version("EMPTY"), 0U);
  empty->versionInc(1);
  EXPECT_EQ(w.settle(), 1);
  EXPECT_EQ(w.version("EMPTY"), 1U);
  w.machine->handleList("FULL");
  EXPECT_EQ(w.symbol("FULL")->status()->trie()->size(), 0U) << "anew, as it was asked for";
}

TYPED_TEST(PrefixListSm, BuildsInSlicesAndSwapsOnce) {
  auto& w = this->world;
  for (U32 i = 0; i < 4; ++i) w.add("L", this->entry(i < 3 ? 10 * i : 4294967295U, i));
  w.start();
  auto const sm = w.sm("L");
  Observer follower(*w.symbol("L")->symbolNotifier());
  follower.changed = [&](auto...) {
    EXPECT_FALSE(sm->isBuilding()) << "closed before it is announced";
  };
  auto const old = w.symbol("L")->status();
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

  w.add("L", this->entry(0, 99));
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
}

TYPED_TEST(PrefixListSm, ADeletedListLeavesItsHoldersAnEmptySymbol) {
  auto& w = this->world;
  w.add("L", this->entry(5, 1));
  w.start();
  w.settle();
  auto const symbol = w.symbol("L");
  Observer follower(*symbol->symbolNotifier());
  follower.changed = [&](auto...) {
    EXPECT_FALSE(symbol->status()) << "first the status, then the version";
    EXPECT_EQ(w.symbol("L"), symbol) << "and the removal last";
  };
  auto const list = w.list("L");
  auto const sm = w.sm("L");
  list->versionInc(1);
  w.listDel("L");
  EXPECT_EQ(symbol->symbolNotifier()->version(), 2U);
  expectInLine(w);
  EXPECT_EQ(w.settle(), 0) << "the build that was due is dropped";
  sm->handleVersion();
  EXPECT_EQ(sm->processClock(), 0U) << "it was let go";
  EXPECT_EQ(sm->timeMin(), Orb::Clock::kNever);
  w.list("L");
  EXPECT_EQ(w.symbol("L"), symbol) << "while it is held, it is the canonical one";
  expectInLine(w);
}

// What the machine has to do is done when the exception arrives, without another turn of the loop.
TYPED_TEST(PrefixListSm, FinishesItsStepsWhateverObserversThrow) {
  auto& w = this->world;
  Observer collection(*w.all);
  collection.changed = [](auto...) { throw std::runtime_error("collection"); };
  w.add("L", this->entry(5, 1));
  w.list("M");
  EXPECT_EQ(thrown([&] { w.start(); }), "collection");
  EXPECT_TRUE(w.symbol("L")->status() && w.symbol("M")->status());
  EXPECT_EQ(thrown([&] { w.start(); }), "") << "the symbols are there";
  w.settle();
  expectInLine(w);
  EXPECT_EQ(thrown([&] { w.list("N"); }), "collection");
  expectInLine(w);
  Observer follower(*w.symbol("L")->symbolNotifier());
  auto const symbol = w.symbol("L");
  follower.changed = [](auto...) { throw std::runtime_error("follower"); };
  w.list("L")->versionInc(1);
  EXPECT_EQ(thrown([&] { w.settle(); }), "follower");
  EXPECT_EQ(w.settle(), 0) << "the build was complete";
  EXPECT_EQ(thrown([&] { w.listDel("L"); }), "follower") << "it was the first";
  expectInLine(w);
}

// Whichever allocation of each action fails, alone or with all behind it: once there is memory, all
// is as it is configured, without another action.
TYPED_TEST(PrefixListSm, CatchesUpWhenThereIsMemoryAgain) {
  Orb::traceSinkIs([](std::string_view, int, std::string_view) {});
  Orb::Name const old("OLD");
  Orb::Name const fresh("NEW");
  Orb::Name const empty("EMPTY");
  for (int variant = 0; variant < 4; ++variant) {
    Orb::traceLevelIs("RouteMapSm", variant & 1 ? 8 : Orb::TraceFacility::kOff);
    bool hasFailed = true;
    for (long granted = 0; hasFailed; ++granted) {
      typename TestFixture::World w;
      w.add(old, this->entry(1, 1));
      TestSupport::withEverMoreMemory([&] { w.start(); }, [] {});
      w.settle();
      expectInLine(w);
      w.manager.clock()->timeSourceIs([&] { return w.time; });
      auto const symbol = w.symbol(old);
      Observer follower(*symbol->symbolNotifier());
      Observer collection(*w.all);
      bool isStale = false;
      follower.changed = [&](auto...) {  // brings it back, without entries
        auto const list = w.list(old);
        auto const& status = symbol->status();
        isStale |= status && status->trie()->size() != TypeParam::entries(*list).size();
      };
      hasFailed = false;
      auto const scarcely = [&](auto const& act) {
        hasFailed |= !thrown([&] {
                        TestSupport::ScarceMemory const scarce(
                            granted, variant & 2 ? 1 : TestSupport::kPlenty);
                        act();
                      }).empty();
      };
      auto const raise = [&](Orb::Name const& name) {
        auto const list = TypeParam::list(*w.config, name);
        if (list) scarcely([&] { list->versionInc(1); });
      };
      raise(old);  // a build that must not be published any more
      scarcely([&] { w.listDel(old); });
      for (U32 i = 1; i < 40; ++i) {  // two in three are one chain, long enough for an index
        scarcely([&, added = this->entry(i, i % 3 == 0 ? i : 1)] { w.add(fresh, added); });
      }
      scarcely([&] { w.list(empty); });
      raise(fresh);
      raise(fresh);
      scarcely([&] { w.settle(); });
      collection.changed = [](auto...) { throw std::runtime_error("observer"); };
      while (!thrown([&] { w.settle(); }).empty()) {
      }
      expectInLine(w);
      EXPECT_FALSE(isStale) << "what was published is not the list that is there";
      collection.changed = [](auto...) {};
      auto const sm = w.sm(fresh);
      raise(fresh);
      scarcely([&] { w.listDel(fresh); });
      EXPECT_FALSE(sm && sm->isBuilding());
      expectInLine(w);
      if (this->HasFailure()) FAIL() << granted << " allocations granted, variant " << variant;
    }
  }
  Orb::traceReset();
}

// Observers, the time source and the trace sink change the list, its version, lists and machine at
// random. A naive model notes down what the slices take.
TYPED_TEST(PrefixListSm, GoesOnWhateverChangesMeanwhile) {
  std::mt19937 random(7);
  auto const below = [&](U32 n) { return static_cast<U32>(random() % n); };
  for (int round = 0; round < 1000; ++round) {
    typename TestFixture::World w;
    Entries taken;       // by the build in progress
    std::set<U32> late;  // changed behind it
    U32 last = 0;
    int left = 0;
    bool inSink = false;
    bool isScarce = false;
    auto const put = [&] {
      U32 const seqno = 1 + below(99);
      auto const bound = [&] { return below(2) ? 0 : TypeParam::kMaxLength - below(9); };
      w.add("L", this->entry(seqno, below(5), bound(), bound(), bound()));
      auto const sm = w.sm("L");
      if (seqno <= last || (sm && seqno < sm->bookmark())) late.insert(seqno);
    };
    auto const startAnew = [&] {
      taken.clear();
      late.clear();
      last = 0;
    };
    auto const raise = [&] {
      auto const list = w.list("L");
      startAnew();
      isScarce = below(4) == 0;
      thrown([&] {
        TestSupport::ScarceMemory const scarce(0, isScarce);
        list->versionInc(1);
      });
      isScarce = false;
    };
    auto const meddle = [&] {
      if (!w.machine || left == 0 || isScarce || below(2)) return;
      --left;
      auto const list = w.list("L");
      auto const sm = w.sm("L");
      U32 const what = below(40);
      if (what == 0) return raise();
      if (what == 1) return TypeParam::entryDelAll(*list);
      if (what == 2 && sm && sm->isBuilding() && !inSink) return void(sm->processClock());
      if (what == 3 && round % 8 == 1) return void(w.machine = nullptr);
      if (what == 4 && round % 2) {
        w.listDel("L");
        put();
        return raise();
      }
      what % 2 ? put() : TypeParam::entryDel(*list, 1 + below(99));
    };
    for (int i = 0; i < 10; ++i) put();
    w.start();
    auto const symbol = w.symbol("L");
    Observer follower(*symbol->symbolNotifier());
    follower.changed = [&](auto...) {
      if (!symbol->status()) return meddle();
      EXPECT_EQ(compiled(*symbol->status()), taken);
      for (auto const& entry : TypeParam::entries(*w.list("L"))) {
        EXPECT_TRUE(taken.count(entry.seqno()) || late.count(entry.seqno())) << entry;
      }
      startAnew();
      meddle();
    };
    Observer collection(*w.all);
    collection.changed = [&](auto...) { meddle(); };
    w.tick = 0.001 * below(8);
    w.manager.clock()->timeSourceIs([&] {
      meddle();
      return w.time += w.tick;
    });
    Orb::traceSinkIs([&](std::string_view, int, std::string_view line) {
      constexpr std::string_view kTaken = "PL: L seqno: ";
      inSink = true;
      // A list that was deleted and came back has a reactor of its own, which builds at once when
      // there are entries by then.
      if (line.ends_with("PrefixEntry")) startAnew();
      if (line.starts_with(kTaken)) {
        auto const seqno = static_cast<U32>(std::stoul(std::string(line.substr(kTaken.size()))));
        EXPECT_GT(seqno, last) << "ascending, and once";
        last = seqno;
        taken.emplace(seqno, normalised(*TypeParam::entries(*w.list("L")).find(seqno)));
      }
      meddle();
      inSink = false;
    });
    Orb::traceLevelsAre("RouteMapSm/8,RouteMapStatusType/6");
    for (left = 60; left > 0 && w.machine && w.settle() >= 0;) raise();
    left = 0;
    w.settle();
    Orb::traceReset();
    if (w.machine) {
      follower.changed = [](auto...) {};
      raise();
      w.settle();
      expectInLine(w);
    }
    if (this->HasFailure()) FAIL() << "round " << round;
  }
}

// Observers of the collection delete and bring back lists while the machine is constructed.
TYPED_TEST(PrefixListSm, StartsWhileListsComeAndGo) {
  for (bool const comesBack : {false, true}) {
    typename TestFixture::World w;
    for (auto const* name : {"A", "B", "C"}) w.add(name, this->entry(1, 1));
    Observer collection(*w.all);
    collection.changed = [&](auto...) {
      collection.changed = [](auto...) {};
      for (auto const* name : {"A", "C"}) {
        w.listDel(name);
        if (comesBack) w.add(name, this->entry(2, 2));
      }
    };
    w.start();
    collection.changed = [](auto...) {};
    w.settle();
    for (auto const& list : TypeParam::lists(*w.config)) list->versionInc(1);
    w.settle();
    expectInLine(w);
  }
}

TYPED_TEST(PrefixListSm, ReactorsAreKeptByNameAndObject) {
  auto& w = this->world;
  w.list("L");
  w.start();
  auto const first = w.sm("L");
  w.machine->listSmIs(w.list("L"));
  EXPECT_EQ(w.sm("L"), first);
  w.machine->listSmIs(Orb::make<typename TypeParam::List>("L"));
  EXPECT_NE(w.sm("L"), first);
  EXPECT_EQ(first->prefixListConfigSm(), nullptr);
  std::string const attribute = this->kIsIpv4 ? "prefixList" : "ipv6PrefixList";
  EXPECT_EQ(thrown([&] { w.machine->listSmIs(nullptr); }),
            "null _" + attribute + " parameter to mutator for Routing::RouteMap::" + this->kName +
                "ConfigSm::" + attribute + " not allowed\"");
  w.machine->listSmDelAll();
  EXPECT_TRUE(!w.sm("L") && w.symbol("L")->status());
  w.machine->listSmIs(w.list("L"));
  w.list("L")->versionInc(1);
  w.all->symbolDel("L");
  EXPECT_EQ(w.settle(), 1) << "a build whose symbol is gone is dropped";
  EXPECT_DEATH(w.machine->addList("L", nullptr), "assertion failed: prefixList");
  w.machine->handleLists();
  w.add("L", this->entry(5, 1));
  EXPECT_DEATH(w.sm("L")->processClock(), "assertion failed: trie");
}

TYPED_TEST(PrefixListSm, TracesItsHandlers) {
  auto& w = this->world;
  std::string lines;
  Orb::traceSinkIs([&](std::string_view, int level, std::string_view line) {
    lines += std::to_string(level) + ' ' + std::string(line) + '\n';
  });
  Orb::traceLevelIs("RouteMapSm", 8);
  auto const list = w.list("L");
  for (U32 const seqno : {5U, 7U}) w.add("L", this->entry(seqno, seqno));
  w.start();
  auto const sm = w.sm("L");
  sm->clockQuantumIs(0);
  w.settle();
  w.listDel("L");
  list->versionInc(1);  // which no reactor hears
  Orb::traceReset();
  std::string const n = this->kName;
  EXPECT_EQ(lines, "8 handle" + n + "\n8 add" + n + " prefix-list: L\n8 handle" +
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
