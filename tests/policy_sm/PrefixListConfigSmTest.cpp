#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "platform/orb/base/Trace.h"
#include "tests/support/ListWorld.h"
#include "tests/support/ScarceMemory.h"

namespace {

using namespace Routing::RouteMap;

/// Follows one symbol as a route map does.
struct Follower final : PolicySymbolNotifier::Notifiee {
  explicit Follower(Orb::Ptr<PrefixListSymbol> s) : symbol(std::move(s)) {
    notifierIs(symbol->symbolNotifier());
  }
  ~Follower() = default;
  void onVersion() override {
    ++told;
    auto const act = then;  // it may put another one in its place
    act();
  }
  Orb::Ptr<PrefixListSymbol> symbol;
  int told = 0;
  std::function<void()> then = [] {};
};

template <class Family>
class PrefixListSm : public testing::Test {
 protected:
  using World = TestSupport::ListWorld<Family>;
  static constexpr bool kIsIpv4 = std::is_same_v<Family, Acl::Ipv4Family>;
  /// A prefix of this family with a length of `bits` / 4 for IPv4.
  static std::string prefix(int i) {
    return kIsIpv4 ? "10." + std::to_string(i) + ".0.0/16" : "2001:db8:" + hex(i) + "::/48";
  }
  static std::string hex(int i) {
    char text[8];
    std::snprintf(text, sizeof text, "%x", static_cast<unsigned>(i));
    return text;
  }
  World world;
};
using Families = testing::Types<Acl::Ipv4Family, Acl::Ipv6Family>;
TYPED_TEST_SUITE(PrefixListSm, Families);

TYPED_TEST(PrefixListSm, StartsOverWhatIsConfigured) {
  auto& w = this->world;
  w.list("EMPTY");
  w.add("FULL", w.rule(5, this->prefix(1)));
  w.start();
  for (auto const* name : {"EMPTY", "FULL"}) {
    ASSERT_TRUE(w.symbol(name));
    EXPECT_EQ(w.symbol(name)->status()->trie()->size(), 0U) << "a symbol with an empty trie first";
    EXPECT_EQ(w.symbol(name)->status()->trie()->addressFamily(), TypeParam::kFamily);
    EXPECT_TRUE(w.symbol(name)->isDeduped());
    EXPECT_EQ(w.version(name), 0U);
    EXPECT_EQ(w.sm(name)->clockQuantum(), 0.01);
  }
  EXPECT_FALSE(w.sm("EMPTY")->newTrie());
  EXPECT_EQ(w.sm("EMPTY")->timeMin(), Orb::Clock::kNever);
  w.settle();
  EXPECT_EQ(w.version("EMPTY"), 0U);
  EXPECT_EQ(w.version("FULL"), 1U);
  EXPECT_EQ(w.symbol("FULL")->status()->trie()->size(), 1U);
}

TYPED_TEST(PrefixListSm, NormalisesTheBounds) {
  auto& w = this->world;
  struct Case {
    Orb::U32 ge, le, eq, compiledGe, compiledLe;
  };
  Orb::U32 const most = TypeParam::kMaxLength;
  Orb::U32 const length = this->kIsIpv4 ? 16 : 48;
  Case const cases[] = {{0, 0, 0, length, length},
                        {length + 4, 0, 0, length + 4, most},
                        {0, length + 8, 0, length, length + 8},
                        {length + 4, length + 8, 0, length + 4, length + 8},
                        {0, 0, length + 2, length, length},
                        {length + 2, length + 2, length + 2, length + 2, length + 2}};
  Orb::U32 seqno = 0;
  for (Case const& c : cases) w.add("L", w.rule(++seqno, this->prefix(1), c.ge, c.le, c.eq));
  w.start();
  w.settle();
  auto const* rule = static_cast<PrefixListEntryData const*>(
      w.symbol("L")->status()->trie()->route(TypeParam::Prefix::parse(this->prefix(1))));
  for (Case const& c : cases) {
    ASSERT_TRUE(rule);
    EXPECT_EQ(rule->data().ge(), c.compiledGe) << rule->data();
    EXPECT_EQ(rule->data().le(), c.compiledLe) << rule->data();
    EXPECT_EQ(rule->data().eq(), c.eq) << "carried unchanged";
    rule = rule->nextEntryData().get();
  }
}

TYPED_TEST(PrefixListSm, BuildsInSlicesAndSwapsOnce) {
  auto& w = this->world;
  for (Orb::U32 i = 0; i < 10; ++i) w.add("L", w.rule(10 * i, this->prefix(static_cast<int>(i))));
  w.add("L", w.rule(4294967295U, this->prefix(10)));
  w.start();
  auto const sm = w.sm("L");
  Follower follower(w.symbol("L"));
  auto const old = w.symbol("L")->status();

  sm->clockQuantumIs(0);  // one rule in each slice
  for (Orb::U32 i = 1; i <= 10; ++i) {
    w.manager.turn();
    EXPECT_EQ(sm->newTrie()->size(), i);
    EXPECT_EQ(sm->bookmark(), i < 10 ? 10 * i : 4294967295U);
    EXPECT_EQ(sm->timeMin(), Orb::Clock::kNextTurn);
    EXPECT_EQ(w.symbol("L")->status(), old) << "readers never see a half-built list";
  }
  w.manager.turn();
  EXPECT_EQ(w.symbol("L")->status()->trie()->size(), 11U);
  EXPECT_EQ(follower.told, 1);
  EXPECT_EQ(sm->bookmark(), 0U);
  EXPECT_EQ(sm->timeMin(), Orb::Clock::kNever);
  EXPECT_FALSE(sm->newTrie());

  // With a clock that moves by 3 ms at each reading, a slice of 10 ms ends at its fourth look.
  sm->clockQuantumIs(0.01);
  w.list("L")->versionInc(1);
  w.tick = 0.003;
  EXPECT_EQ(sm->processClock(), 4U);
  w.tick = 0;
}

TYPED_TEST(PrefixListSm, AVersionChangeStartsAgain) {
  auto& w = this->world;
  for (Orb::U32 i = 0; i < 4; ++i) w.add("L", w.rule(i, this->prefix(static_cast<int>(i))));
  w.start();
  auto const sm = w.sm("L");
  sm->clockQuantumIs(0);
  w.manager.turn();
  w.manager.turn();
  ASSERT_EQ(sm->bookmark(), 2U);

  // What changes at or above the bookmark is seen, what changes below is not.
  w.add("L", w.rule(9, this->prefix(9)));
  w.add("L", w.rule(0, this->prefix(99)));
  w.settle();
  EXPECT_EQ(w.version("L"), 1U);
  EXPECT_EQ(w.symbol("L")->status()->trie()->size(), 5U);
  auto const gone = TypeParam::Prefix::parse(this->prefix(0));
  EXPECT_TRUE(w.symbol("L")->status()->trie()->route(gone));
  EXPECT_EQ(w.settle(), 0) << "entries alone rebuild nothing";

  w.list("L")->versionInc(1);
  w.manager.turn();
  w.list("L")->versionInc(1);
  EXPECT_EQ(sm->newTrie()->size(), 0U) << "the partial trie is dropped";
  EXPECT_EQ(sm->bookmark(), 0U);
  w.settle();
  EXPECT_EQ(w.version("L"), 2U) << "once for each completed build";
  EXPECT_FALSE(w.symbol("L")->status()->trie()->route(gone));
}

TYPED_TEST(PrefixListSm, AnEmptyListCompilesInOneSlice) {
  auto& w = this->world;
  auto const list = w.list("L");
  w.start();
  EXPECT_EQ(w.sm("L")->processClock(), 0U) << "nothing is being built";
  EXPECT_EQ(w.version("L"), 0U);
  list->versionInc(1);
  EXPECT_EQ(w.settle(), 1);
  EXPECT_EQ(w.version("L"), 1U);
}

TYPED_TEST(PrefixListSm, ADeletedListLeavesItsHoldersAnEmptySymbol) {
  auto& w = this->world;
  w.add("L", w.rule(5, this->prefix(1)));
  w.start();
  w.settle();
  Follower follower(w.symbol("L"));
  follower.then = [&] {
    EXPECT_FALSE(follower.symbol->status()) << "first the status, then the version";
    EXPECT_EQ(w.symbol("L"), follower.symbol) << "and the removal last";
  };
  w.list("L")->versionInc(1);
  w.machine->config();
  TestSupport::MachineOf<TypeParam>::listDel(*w.config, "L");
  EXPECT_EQ(follower.told, 1);
  EXPECT_EQ(follower.symbol->symbolNotifier()->version(), 2U);
  EXPECT_FALSE(w.symbol("L"));
  EXPECT_FALSE(w.sm("L"));
  EXPECT_EQ(w.settle(), 0) << "the build that was due is dropped";

  // Added again while the old symbol is held, that one is the canonical one still.
  follower.then = [] {};
  w.list("L");
  EXPECT_EQ(w.symbol("L"), follower.symbol);
  EXPECT_EQ(follower.symbol->status()->trie()->size(), 0U);
}

TYPED_TEST(PrefixListSm, SurvivesWhatFollowersDo) {
  auto& w = this->world;
  using M = TestSupport::MachineOf<TypeParam>;
  auto const list = w.list("L");
  w.add("L", w.rule(5, this->prefix(1)));
  w.start();
  Follower follower(w.symbol("L"));

  int left = 2;  // raises the list's version when told: a clean build follows each time
  follower.then = [&] {
    if (left-- > 0) list->versionInc(1);
  };
  w.settle();
  EXPECT_EQ(follower.told, 3);
  EXPECT_EQ(w.symbol("L")->status()->trie()->size(), 1U);

  follower.then = [&] {  // brings the list back while it is told that it is gone
    follower.then = [] {};
    w.list("L");
  };
  M::listDel(*w.config, "L");
  ASSERT_TRUE(w.symbol("L"));
  EXPECT_TRUE(w.symbol("L")->status());
  ASSERT_TRUE(w.sm("L"));
  EXPECT_EQ(w.sm("L")->prefixList(), w.list("L")) << "the reactor of the new list";

  w.add("L", w.rule(5, this->prefix(1)));
  w.list("L")->versionInc(1);
  follower.then = [&] { M::listDel(*w.config, "L"); };  // deletes the list that was just built
  w.settle();
  EXPECT_FALSE(w.symbol("L"));

  w.list("M")->versionInc(1);
  Follower last(w.symbol("M"));
  last.then = [&] { w.machine = nullptr; };  // drops the machine
  w.settle();
  EXPECT_EQ(last.told, 1);
}

TYPED_TEST(PrefixListSm, AListMayGoWhileItsSymbolIsAnnounced) {
  auto& w = this->world;
  using M = TestSupport::MachineOf<TypeParam>;
  struct Announced final : Orb::Notifiee {
    void onAttribute(Orb::Entity const&, Orb::AttrId, void const*) override {
      std::exchange(then, [] {})();
    }
    std::function<void()> then = [] {};
  } announced;
  w.start();
  w.all->notifieeIs(announced);
  Orb::Ptr<PrefixListSymbol> symbol;
  announced.then = [&] {
    symbol = w.symbol("L");
    M::listDel(*w.config, "L");
  };
  w.list("L");
  ASSERT_TRUE(symbol);
  EXPECT_FALSE(symbol->status()) << "who holds it sees that there is no list";
  EXPECT_FALSE(w.symbol("L"));
  EXPECT_FALSE(w.sm("L"));
}

TYPED_TEST(PrefixListSm, AReactorThatWasLetGoStartsNothing) {
  auto& w = this->world;
  w.add("L", w.rule(5, this->prefix(1)));
  w.start();
  auto const sm = w.sm("L");
  auto const list = w.list("L");
  TestSupport::MachineOf<TypeParam>::listDel(*w.config, "L");
  list->versionInc(1);
  if constexpr (TestFixture::kIsIpv4) {
    sm->handlePrefixListVersion();
  } else {
    sm->handleIpv6PrefixListVersion();
  }
  EXPECT_FALSE(sm->newTrie());
  EXPECT_EQ(sm->timeMin(), Orb::Clock::kNever);
  sm->detach();
}

// Whichever allocation fails, what is built already stays, and no rule is added twice. A version
// that finds no memory is the caller's to raise again: the build that it meets goes on.
TYPED_TEST(PrefixListSm, ABuildThatRunsOutOfMemoryGoesOnWhereItWas) {
  auto& w = this->world;
  w.start();
  for (Orb::U32 const count : {1U, 90U}) {
    Orb::Name const name = std::to_string(count);
    auto const list = w.list(name);
    for (Orb::U32 i = 0; i < count; ++i) {  // two in three are one chain, long enough for an index
      TypeParam::entryIs(*list, w.rule(i, this->prefix(i % 3 == 0 ? static_cast<int>(i) : 1)));
    }
    auto const sm = w.sm(name);
    Follower follower(w.symbol(name));
    for (int build = 1; build <= 2; ++build) {
      TestSupport::withEverMoreMemory([&] { list->versionInc(1); },
                                      [&] { EXPECT_FALSE(sm->newTrie()); });
      if (build == 2) {
        sm->clockQuantumIs(0);
        for (Orb::U32 i = 0; i < count / 2; ++i) w.manager.turn();
        TestSupport::ScarceMemory const none(0);
        EXPECT_THROW(list->versionInc(1), std::bad_alloc);
        EXPECT_EQ(sm->bookmark(), count / 2);
      }
      long const failed = TestSupport::withEverMoreMemory(
          [&] { w.settle(); }, [&] { EXPECT_EQ(follower.told, build - 1); });
      EXPECT_GT(failed, 1);
      EXPECT_EQ(follower.told, build);
      std::size_t rules = 0;
      w.symbol(name)->status()->trie()->forEach([&](auto const&, auto const& head) {
        for (auto* rule = static_cast<PrefixListEntryData const*>(&head); rule; ++rules) {
          rule = rule->nextEntryData().get();
        }
      });
      EXPECT_EQ(rules, count);
    }
  }
}

TYPED_TEST(PrefixListSm, ReactorsAreKeptByNameAndObject) {
  auto& w = this->world;
  w.list("L");
  w.start();
  auto& m = *w.machine;
  auto const is = [&](auto const& list) {
    if constexpr (TestFixture::kIsIpv4) {
      m.prefixListIs(list);
    } else {
      m.ipv6PrefixListIs(list);
    }
  };
  auto const first = w.sm("L");
  is(Orb::Ptr<typename TypeParam::List const>(w.list("L")));
  EXPECT_EQ(w.sm("L"), first);
  is(Orb::Ptr<typename TypeParam::List const>(Orb::make<typename TypeParam::List>("L")));
  EXPECT_NE(w.sm("L"), first);
  EXPECT_EQ(first->prefixListConfigSm(), nullptr);
  EXPECT_EQ(first->processClock(), 0U) << "let go, it does nothing";
  try {
    is(Orb::Ptr<typename TypeParam::List const>());
    FAIL();
  } catch (Orb::RangeException const& e) {
    EXPECT_STREQ(e.what(), TestFixture::kIsIpv4
                               ? "null _prefixList parameter to mutator for "
                                 "Routing::RouteMap::PrefixListConfigSm::prefixList not allowed\""
                               : "null _ipv6PrefixList parameter to mutator for Routing::RouteMap::"
                                 "Ipv6PrefixListConfigSm::ipv6PrefixList not allowed\"");
  }
  // A build whose symbol is gone is dropped, and a name without a symbol is nobody's.
  w.list("L")->versionInc(1);
  w.all->symbolDel("L");
  w.settle();
  EXPECT_FALSE(w.symbol("L"));
}

TYPED_TEST(PrefixListSm, MisuseIsFatal) {
  auto& w = this->world;
  w.list("L");
  w.start();
  auto const addNull = [&] {
    if constexpr (TestFixture::kIsIpv4) {
      w.machine->addPrefixList("L", nullptr);
    } else {
      w.machine->addIpv6PrefixList("L", nullptr);
    }
  };
  EXPECT_DEATH(addNull(), "assertion failed: prefixList");
  w.add("L", w.rule(5, this->prefix(1)));
  EXPECT_DEATH(w.sm("L")->processClock(), "assertion failed: trie");
}

TYPED_TEST(PrefixListSm, TracesItsHandlers) {
  auto& w = this->world;
  std::vector<std::string> lines;
  Orb::traceSinkIs([&](std::string_view facility, int level, std::string_view line) {
    lines.push_back(std::string(facility) + '/' + std::to_string(level) + ' ' + std::string(line));
  });
  Orb::traceLevelIs("RouteMapSm", 8);
  w.add("L", w.rule(5, this->prefix(1)));
  w.add("L", w.rule(7, this->prefix(2)));
  w.start();
  w.sm("L")->clockQuantumIs(0);
  w.settle();
  TestSupport::MachineOf<TypeParam>::listDel(*w.config, "L");
  Orb::traceReset();
  std::string const v6 = TestFixture::kIsIpv4 ? "" : "Ipv6";
  std::vector<std::string> const expected = {
      "RouteMapSm/8 handle" + v6 + "PrefixList",
      "RouteMapSm/8 add" + v6 + "PrefixList prefix-list: L",
      "RouteMapSm/8 handle" + v6 + "PrefixEntry",
      "RouteMapSm/8 handle" + v6 + "PrefixListVersion version: 0",
      "RouteMapSm/8 processClock",
      "RouteMapSm/8 PL: L seqno: 5",
      "RouteMapSm/5 PL: L pausing processing at 7",
      "RouteMapSm/8 processClock",
      "RouteMapSm/8 PL: L seqno: 7",
      "RouteMapSm/8 handle" + v6 + "PrefixList prefix-list: L"};
  EXPECT_EQ(lines, expected);
}

// A commit to a large list while another thread matches against what it holds.
TEST(ThreadsPrefixListSm, MatchesGoOnWhileTheListIsBuiltAnew) {
  TestSupport::ListWorld<Acl::Ipv4Family> w;
  w.manager.clock()->timeSourceIs(nullptr);
  constexpr Orb::U32 kRules = 1000000;
  auto const list = w.list("L");
  for (Orb::U32 i = 0; i < kRules; ++i) {
    list->prefixEntryIs(Acl::PrefixEntry::of(i, Ipa::Prefix(Ipa::IpAddr(i << 8), 24U),
                                             Acl::permitMatch, 0U, 0U, 0U));
  }
  w.start();
  auto const turnUntil = [&](Orb::U32 version) {
    while (w.version("L") < version) w.manager.turn();
  };
  turnUntil(1);
  std::atomic<bool> stop = false;
  std::atomic<Orb::U64> matched = 0;
  std::thread reader([&, status = w.symbol("L")->status()]() mutable {
    for (Orb::U32 i = 0; !stop; i = (i + 7919) % kRules) {
      auto const m = Routing::PolicyEval::matchPrefixList(
          status, Ipa::IpGenPrefix(Ipa::Prefix(Ipa::IpAddr(i << 8), 24U)));
      if (m.seqno == i && m.isPermit) ++matched;
    }
    status = nullptr;  // the last holder of the old status, on its own thread
  });
  while (matched == 0) std::this_thread::yield();
  for (Orb::U32 version = 2; version < 4; ++version) {
    list->prefixEntryIs(Acl::PrefixEntry::of(0U, Ipa::Prefix(), Acl::denyMatch, 0U, version, 0U));
    list->versionInc(1);
    turnUntil(version);
  }
  stop = true;
  reader.join();
  EXPECT_GT(matched, 0U);
  while (w.manager.nextDue() <= w.manager.clock()->now()) w.manager.turn();
}

}  // namespace
