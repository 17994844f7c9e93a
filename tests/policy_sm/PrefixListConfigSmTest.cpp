#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/orb/base/Trace.h"
#include "tests/support/ListWorld.h"
#include "tests/support/ScarceMemory.h"

namespace {

using namespace Routing::RouteMap;
using Orb::U32;

/// Follows one symbol as a route map does.
struct Follower final : PolicySymbolNotifier::Notifiee {
  explicit Follower(Orb::Ptr<PrefixListSymbol> s) : symbol(std::move(s)) {
    notifierIs(symbol->symbolNotifier());
  }
  ~Follower() = default;
  void onVersion() override {
    ++notified;
    auto const act = then;  // it may put another one in its place
    act();
  }
  Orb::Ptr<PrefixListSymbol> symbol;
  int notified = 0;
  std::function<void()> then = [] {};
};

/// Does something at each change of an entity.
struct Observer final : Orb::Notifiee {
  explicit Observer(Orb::Entity const& entity) { entity.notifieeIs(*this); }
  ~Observer() = default;
  void onAttribute(Orb::Entity const&, Orb::AttrId, void const*) override {
    auto const act = then;
    act();
  }
  std::function<void()> then = [] {};
};

using Entries = std::vector<GenPrefixEntry>;

Entries compiled(PrefixListStatus const& status) {
  Entries entries;
  status.trie()->forEach([&](auto const&, auto const& head) {
    auto const* entry = static_cast<PrefixListEntryData const*>(&head);
    for (; entry; entry = entry->nextEntryData().get()) entries.push_back(entry->data());
  });
  std::sort(entries.begin(), entries.end(),
            [](auto const& a, auto const& b) { return a.seqno() < b.seqno(); });
  return entries;
}

template <class Family>
GenPrefixEntry normalised(typename Family::Entry const& e) {
  U32 const length = e.prefix().length();
  U32 const ge = e.ge() ? e.ge() : length;
  U32 const le = e.le() ? e.le() : e.ge() ? Family::kMaxLength : length;
  return GenPrefixEntry::of(e.seqno(), Ipa::IpGenPrefix(e.prefix()), e.permit(), ge, le, e.eq());
}

/// Every configured list is compiled as it stands, and nothing else is there.
template <class Family>
void expectInLine(TestSupport::ListWorld<Family>& w) {
  for (auto const& list : Family::lists(*w.config)) {
    auto const symbol = w.symbol(list->name());
    ASSERT_TRUE(symbol && symbol->status()) << list->name();
    ASSERT_TRUE(w.sm(list->name())) << list->name();
    EXPECT_EQ(w.sm(list->name())->prefixList(), list);
    Entries expected;
    for (auto const& e : Family::entries(*list)) expected.push_back(normalised<Family>(e));
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
  /// A prefix of length 16 or 48.
  static std::string prefix(U32 i) {
    char text[32];
    std::snprintf(text, sizeof text, kIsIpv4 ? "10.%u.0.0/16" : "2001:db8:%x::/48", i);
    return text;
  }
  World world;
};
using Families = testing::Types<Acl::Ipv4Family, Acl::Ipv6Family>;
TYPED_TEST_SUITE(PrefixListSm, Families);

TYPED_TEST(PrefixListSm, StartsOverWhatIsConfigured) {
  auto& w = this->world;
  w.list("EMPTY");
  w.add("FULL", w.entry(5, this->prefix(1)));
  w.start();
  for (auto const* name : {"EMPTY", "FULL"}) {
    ASSERT_TRUE(w.symbol(name));
    EXPECT_EQ(w.symbol(name)->status()->trie()->size(), 0U) << "a symbol with an empty trie first";
    EXPECT_EQ(w.symbol(name)->status()->trie()->addressFamily(), TypeParam::kFamily);
    EXPECT_TRUE(w.symbol(name)->isDeduped());
    EXPECT_EQ(w.sm(name)->clockQuantum(), 0.01);
  }
  EXPECT_FALSE(w.sm("EMPTY")->newTrie());
  EXPECT_EQ(w.sm("EMPTY")->processClock(), 0U) << "nothing is being built";
  w.settle();
  EXPECT_EQ(w.version("EMPTY"), 0U);
  EXPECT_EQ(w.version("FULL"), 1U);
  expectInLine(w);
  w.list("EMPTY")->versionInc(1);
  EXPECT_EQ(w.settle(), 1);
  EXPECT_EQ(w.version("EMPTY"), 1U);
  w.machine->handleList("FULL");
  EXPECT_EQ(w.symbol("FULL")->status()->trie()->size(), 0U) << "anew, as it was asked for";
}

TYPED_TEST(PrefixListSm, NormalisesTheBounds) {
  auto& w = this->world;
  U32 const most = TypeParam::kMaxLength;
  U32 const length = this->kIsIpv4 ? 16 : 48;
  struct Case {
    U32 ge, le, eq, compiledGe, compiledLe;
  };
  Case const cases[] = {{0, 0, 0, length, length},
                        {length + 4, 0, 0, length + 4, most},
                        {0, length + 8, 0, length, length + 8},
                        {length + 4, length + 8, 0, length + 4, length + 8},
                        {0, 0, length + 2, length, length},
                        {length + 2, length + 2, length + 2, length + 2, length + 2}};
  U32 seqno = 0;
  for (Case const& c : cases) w.add("L", w.entry(++seqno, this->prefix(1), c.ge, c.le, c.eq));
  w.start();
  w.settle();
  Entries const entries = compiled(*w.symbol("L")->status());
  ASSERT_EQ(entries.size(), std::size(cases));
  for (std::size_t i = 0; i < entries.size(); ++i) {
    EXPECT_EQ(entries[i].ge(), cases[i].compiledGe) << entries[i];
    EXPECT_EQ(entries[i].le(), cases[i].compiledLe) << entries[i];
    EXPECT_EQ(entries[i].eq(), cases[i].eq) << "carried unchanged";
  }
}

TYPED_TEST(PrefixListSm, BuildsInSlicesAndSwapsOnce) {
  auto& w = this->world;
  for (U32 i = 0; i < 10; ++i) w.add("L", w.entry(10 * i, this->prefix(i)));
  w.add("L", w.entry(4294967295U, this->prefix(10)));
  w.start();
  auto const sm = w.sm("L");
  Follower follower(w.symbol("L"));
  auto const old = w.symbol("L")->status();

  sm->clockQuantumIs(0);  // one entry in each slice
  for (U32 i = 1; i <= 10; ++i) {
    w.manager.turn();
    EXPECT_EQ(sm->newTrie()->size(), i);
    EXPECT_EQ(sm->bookmark(), i < 10 ? 10 * i : 4294967295U);
    EXPECT_EQ(sm->timeMin(), Orb::Clock::kNextTurn);
    EXPECT_EQ(w.symbol("L")->status(), old) << "readers never see a half-built list";
  }
  w.manager.turn();
  expectInLine(w);
  EXPECT_EQ(follower.notified, 1);
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
  for (U32 i = 0; i < 4; ++i) w.add("L", w.entry(i, this->prefix(i)));
  w.start();
  auto const sm = w.sm("L");
  sm->clockQuantumIs(0);
  w.manager.turn();
  w.manager.turn();
  ASSERT_EQ(sm->bookmark(), 2U);

  // What changes at or above the bookmark is seen, what changes below is not.
  w.add("L", w.entry(9, this->prefix(9)));
  w.add("L", w.entry(0, this->prefix(99)));
  w.settle();
  EXPECT_EQ(w.version("L"), 1U);
  Entries const entries = compiled(*w.symbol("L")->status());
  ASSERT_EQ(entries.size(), 5U);
  EXPECT_EQ(entries[0].prefix(), TypeParam::Prefix::parse(this->prefix(0)));
  EXPECT_EQ(w.settle(), 0) << "entries alone rebuild nothing";

  w.list("L")->versionInc(1);
  w.manager.turn();
  w.list("L")->versionInc(1);
  EXPECT_EQ(sm->newTrie()->size(), 0U) << "the partial trie is dropped";
  EXPECT_EQ(sm->bookmark(), 0U);
  w.settle();
  EXPECT_EQ(w.version("L"), 2U) << "once for each completed build";
  expectInLine(w);
}

TYPED_TEST(PrefixListSm, ADeletedListLeavesItsHoldersAnEmptySymbol) {
  auto& w = this->world;
  w.add("L", w.entry(5, this->prefix(1)));
  w.start();
  w.settle();
  Follower follower(w.symbol("L"));
  follower.then = [&] {
    EXPECT_FALSE(follower.symbol->status()) << "first the status, then the version";
    EXPECT_EQ(w.symbol("L"), follower.symbol) << "and the removal last";
  };
  w.list("L")->versionInc(1);
  auto const list = w.list("L");
  auto const sm = w.sm("L");
  w.listDel("L");
  EXPECT_EQ(follower.notified, 1);
  EXPECT_EQ(follower.symbol->symbolNotifier()->version(), 2U);
  expectInLine(w);
  EXPECT_EQ(w.settle(), 0) << "the build that was due is dropped";
  // The reactor that was let go starts nothing.
  list->versionInc(1);
  if constexpr (TestFixture::kIsIpv4) {
    sm->handlePrefixListVersion();
  } else {
    sm->handleIpv6PrefixListVersion();
  }
  EXPECT_EQ(sm->processClock(), 0U);
  EXPECT_FALSE(sm->isBuilding());
  EXPECT_EQ(sm->timeMin(), Orb::Clock::kNever);

  // Added again while the old symbol is held, that one is the canonical one still.
  follower.then = [] {};
  w.list("L");
  EXPECT_EQ(w.symbol("L"), follower.symbol);
  expectInLine(w);
}

TYPED_TEST(PrefixListSm, SurvivesWhatObserversDo) {
  auto& w = this->world;
  auto const list = w.list("L");
  w.add("L", w.entry(5, this->prefix(1)));
  w.start();
  Follower follower(w.symbol("L"));

  int left = 2;  // raises the list's version when notified: a clean build follows each time
  follower.then = [&] {
    if (left-- > 0) list->versionInc(1);
  };
  w.settle();
  EXPECT_EQ(follower.notified, 3);
  expectInLine(w);

  follower.then = [&] {  // brings the list back while it hears that it is gone
    follower.then = [] {};
    w.list("L");
  };
  w.listDel("L");
  expectInLine(w);

  w.add("L", w.entry(5, this->prefix(1)));
  w.list("L")->versionInc(1);
  follower.then = [&] { w.listDel("L"); };  // deletes the list that was just built
  w.settle();
  expectInLine(w);

  // Deletes a list while its symbol is announced; the second time it brings it back, with more.
  Observer observer(*w.all);
  for (bool const again : {false, true}) {
    Orb::Ptr<PrefixListSymbol> symbol;
    observer.then = [&] {
      observer.then = [] {};
      symbol = w.symbol("M");
      w.listDel("M");
      if (again) w.add("M", w.entry(1, this->prefix(1)));
      if (again) w.list("M")->versionInc(1);
      if (again) w.settle();
    };
    w.list("M");
    ASSERT_TRUE(symbol);
    EXPECT_EQ(symbol->status() != nullptr, again) << "who holds it sees whether there is a list";
    w.settle();
    expectInLine(w);
  }

  observer.then = [&] { w.machine = nullptr; };  // drops the machine
  w.list("N");
  w.start();
  Follower last(w.symbol("M"));
  last.then = [&] { w.machine = nullptr; };
  w.settle();
  EXPECT_EQ(last.notified, 1);
}

// What the machine has to do is done when the exception arrives, without another turn of the loop.
TYPED_TEST(PrefixListSm, FinishesItsStepsWhateverObserversThrow) {
  auto& w = this->world;
  Observer collection(*w.all);
  collection.then = [] { throw std::runtime_error("collection"); };
  auto const thrown = [](auto const& act) -> std::string {
    try {
      act();
    } catch (std::runtime_error const& error) {
      return error.what();
    }
    return "";
  };
  w.add("L", w.entry(5, this->prefix(1)));
  w.list("M");
  EXPECT_EQ(thrown([&] { w.start(); }), "collection");
  EXPECT_TRUE(w.symbol("M")->status()) << "the lists behind it as well";
  EXPECT_EQ(w.all->symbol().size(), 2U);
  EXPECT_EQ(thrown([&] { w.start(); }), "") << "the symbols are there";
  w.settle();
  expectInLine(w);

  EXPECT_EQ(thrown([&] { w.list("N"); }), "collection");
  expectInLine(w);
  Follower follower(w.symbol("L"));
  follower.then = [] { throw std::runtime_error("follower"); };
  w.list("L")->versionInc(1);
  EXPECT_EQ(thrown([&] { w.settle(); }), "follower");
  EXPECT_EQ(w.settle(), 0) << "the build was complete";
  EXPECT_EQ(thrown([&] { w.listDel("L"); }), "follower") << "it was the first";
  expectInLine(w);
  EXPECT_EQ(thrown([&] { w.add("L", w.entry(5, this->prefix(1))); }), "collection");
  EXPECT_EQ(thrown([&] { w.machine->handleLists(); }), "");
  expectInLine(w);
  EXPECT_EQ(w.settle(), 0);
}

// Whichever allocation of each action fails, alone or with all behind it: once there is memory, all
// is as it is configured, without another action.
TYPED_TEST(PrefixListSm, CatchesUpWhenThereIsMemoryAgain) {
  Orb::traceSinkIs([](std::string_view, int, std::string_view) {});
  for (int variant = 0; variant < 4; ++variant) {
    Orb::traceLevelIs("RouteMapSm", variant & 1 ? 8 : Orb::TraceFacility::kOff);
    bool hasFailed = true;
    for (long granted = 0; hasFailed; ++granted) {
      typename TestFixture::World w;
      Orb::Name const names[] = {"OLD", "NEW", "EMPTY"};
      w.add(names[0], w.entry(1, this->prefix(1)));
      TestSupport::withEverMoreMemory([&] { w.start(); }, [] {});
      w.settle();
      expectInLine(w);
      Follower follower(w.symbol(names[0]));
      follower.then = [&] {  // brings it back, without entries
        if (!follower.symbol->status()) w.list(names[0]);
      };
      Observer observer(*w.all);
      hasFailed = false;
      auto const scarcely = [&](auto const& act) {
        try {
          TestSupport::ScarceMemory const scarce(granted, variant & 2 ? 1 : TestSupport::kPlenty);
          act();
        } catch (std::bad_alloc const&) {
          hasFailed = true;
        }
      };
      auto const raise = [&](Orb::Name const& name) {
        auto const list = TypeParam::list(*w.config, name);
        if (list) scarcely([&] { list->versionInc(1); });
      };
      raise(names[0]);  // a build that must not be published any more
      scarcely([&] { w.listDel(names[0]); });
      for (U32 const seqno : {1U, 2U}) {
        auto const entry = w.entry(seqno, this->prefix(seqno));
        scarcely([&] { w.add(names[1], entry); });
      }
      scarcely([&] { w.list(names[2]); });
      raise(names[1]);
      raise(names[1]);
      scarcely([&] { w.settle(); });
      observer.then = [] { throw std::runtime_error("observer"); };
      for (int i = 0; i < 5; ++i) {
        try {
          w.settle();
        } catch (std::runtime_error const&) {
        }
      }
      expectInLine(w);
      observer.then = [] {};
      auto const sm = w.machine->listSm(names[1]);
      raise(names[1]);
      scarcely([&] { w.listDel(names[1]); });
      EXPECT_FALSE(sm && sm->isBuilding());
      w.settle();
      expectInLine(w);
      if (this->HasFailure()) FAIL() << granted << " allocations granted, variant " << variant;
    }
  }
  Orb::traceReset();
}

// Whichever allocation fails, what is built already stays, and no entry is added twice.
TYPED_TEST(PrefixListSm, ABuildThatRunsOutOfMemoryGoesOnWhereItWas) {
  auto& w = this->world;
  w.start();
  for (U32 const count : {1U, 90U}) {
    Orb::Name const name = std::to_string(count);
    auto const list = w.list(name);
    for (U32 i = 0; i < count; ++i) {  // two in three are one chain, long enough for an index
      TypeParam::entryIs(*list, w.entry(i, this->prefix(i % 3 == 0 ? i : 1)));
    }
    list->versionInc(1);
    Follower follower(w.symbol(name));
    long const failed = TestSupport::withEverMoreMemory([&] { w.settle(); },
                                                        [&] { EXPECT_EQ(follower.notified, 0); });
    EXPECT_GT(failed, 1);
    EXPECT_EQ(follower.notified, 1);
    expectInLine(w);
  }
}

// Whoever is called while a slice runs changes the list, its version, lists and machine at random.
// A naive model notes down what the slices take.
TYPED_TEST(PrefixListSm, SlicesGoOnWhateverChangesMeanwhile) {
  std::mt19937 random(7);
  auto const below = [&](U32 n) { return static_cast<U32>(random() % n); };
  int published = 0;
  for (int round = 0; round < 1000; ++round) {
    typename TestFixture::World w;
    std::map<U32, GenPrefixEntry> taken;  // by the build in progress
    std::set<U32> late;                   // changed behind it
    U32 last = 0;
    int left = 0;
    bool isDue = true;
    bool inSink = false;
    auto const startAnew = [&] {
      taken.clear();
      late.clear();
      last = 0;
    };
    auto const put = [&](U32 seqno) {
      U32 const le = TypeParam::kMaxLength - below(9);
      w.add("L", w.entry(seqno, this->prefix(below(5)), 0, le));
      auto const sm = w.machine ? w.sm("L") : nullptr;
      if (seqno <= last || (sm && seqno < sm->bookmark())) late.insert(seqno);
    };
    auto const raise = [&] {
      startAnew();
      isDue = true;
      w.list("L")->versionInc(1);
    };
    auto const meddle = [&] {
      if (!w.machine || left == 0 || below(2)) return;
      --left;
      auto const list = w.list("L");
      switch (below(40)) {
        case 0:
          if (below(2)) return raise();
          startAnew();
          isDue = true;
          try {
            TestSupport::ScarceMemory const none(0);
            list->versionInc(1);
          } catch (std::bad_alloc const&) {
          }
          return;
        case 1:
          return TypeParam::entryDelAll(*list);
        case 2:
          if (auto const sm = w.sm("L"); sm && sm->isBuilding() && !inSink) sm->processClock();
          return;
        case 3:
          if (round % 2 == 0) return;
          w.listDel("L");
          put(1 + below(99));
          return raise();
        case 4:
          if (round % 8 == 1) w.machine = nullptr;
          return;
        default:
          return below(2) ? put(1 + below(99)) : TypeParam::entryDel(*list, 1 + below(99));
      }
    };
    for (U32 i = 1; i < 10; ++i) put(10 * i);
    w.start();
    Follower follower(w.symbol("L"));
    follower.then = [&] {
      if (!follower.symbol->status()) return;
      Entries expected;
      for (auto const& [seqno, entry] : taken) expected.push_back(entry);
      EXPECT_EQ(compiled(*follower.symbol->status()), expected);
      for (auto const& entry : TypeParam::entries(*w.list("L"))) {
        EXPECT_TRUE(taken.count(entry.seqno()) || late.count(entry.seqno())) << entry;
      }
      startAnew();
      isDue = false;
      ++published;
    };
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
        auto const* const entry = TypeParam::entries(*w.list("L")).find(seqno);
        ASSERT_TRUE(entry);
        taken.insert_or_assign(seqno, normalised<TypeParam>(*entry));
      }
      meddle();
      inSink = false;
    });
    Orb::traceLevelsAre("RouteMapSm/8,RouteMapStatusType/6");
    left = 60;
    while (left > 0 && w.machine && w.settle() >= 0) raise();
    left = 0;
    w.settle();
    Orb::traceReset();
    if (w.machine) {
      EXPECT_TRUE(!isDue || round % 2) << "a version was lost";
      w.list("L")->versionInc(1);
      follower.then = [] {};
      w.settle();
      expectInLine(w);
    }
    if (this->HasFailure()) FAIL() << "round " << round;
  }
  EXPECT_GT(published, 1000);
}

TYPED_TEST(PrefixListSm, ReactorsAreKeptByNameAndObject) {
  auto& w = this->world;
  using List = typename TypeParam::List;
  w.list("L");
  w.start();
  auto const first = w.sm("L");
  w.machine->listSmIs(w.list("L"));
  EXPECT_EQ(w.sm("L"), first);
  w.machine->listSmIs(Orb::make<List>("L"));
  EXPECT_NE(w.sm("L"), first);
  EXPECT_EQ(first->prefixListConfigSm(), nullptr);
  try {
    w.machine->listSmIs(nullptr);
    FAIL();
  } catch (Orb::RangeException const& e) {
    EXPECT_STREQ(e.what(), TestFixture::kIsIpv4
                               ? "null _prefixList parameter to mutator for "
                                 "Routing::RouteMap::PrefixListConfigSm::prefixList not allowed\""
                               : "null _ipv6PrefixList parameter to mutator for Routing::RouteMap::"
                                 "Ipv6PrefixListConfigSm::ipv6PrefixList not allowed\"");
  }
  w.machine->listSmDelAll();
  EXPECT_FALSE(w.sm("L"));
  EXPECT_TRUE(w.symbol("L")->status());
  w.machine->listSmIs(w.list("L"));
  // A build whose symbol is gone is dropped.
  w.list("L")->versionInc(1);
  w.all->symbolDel("L");
  EXPECT_EQ(w.settle(), 1);
  EXPECT_FALSE(w.symbol("L"));
}

// A list that goes, or is replaced, while its reactor is made leaves no reactor behind.
TYPED_TEST(PrefixListSm, AListMayGoWhileItsReactorIsMade) {
  for (bool const isAtStart : {true, false}) {
    for (bool const again : {true, false}) {
      typename TestFixture::World w;
      if (!isAtStart) w.start();
      Orb::traceSinkIs([&](std::string_view, int, std::string_view line) {
        if (!line.ends_with("PrefixEntry")) return;
        w.listDel("L");
        if (again) w.add("L", w.entry(1, this->prefix(1)));
        if (again) w.list("L")->versionInc(1);
      });
      Orb::traceLevelIs("RouteMapSm", 8);
      w.list("L");
      if (isAtStart) w.start();
      Orb::traceReset();
      w.settle();
      expectInLine(w);
    }
  }
}

TYPED_TEST(PrefixListSm, MisuseIsFatal) {
  auto& w = this->world;
  w.list("L");
  w.start();
  EXPECT_DEATH(w.machine->addList("L", nullptr), "assertion failed: prefixList");
  w.add("L", w.entry(5, this->prefix(1)));
  EXPECT_DEATH(w.sm("L")->processClock(), "assertion failed: trie");
}

TYPED_TEST(PrefixListSm, TracesItsHandlers) {
  auto& w = this->world;
  std::vector<std::string> lines;
  Orb::traceSinkIs([&](std::string_view facility, int level, std::string_view line) {
    lines.push_back(std::string(facility) + '/' + std::to_string(level) + ' ' + std::string(line));
  });
  Orb::traceLevelIs("RouteMapSm", 8);
  w.add("L", w.entry(5, this->prefix(1)));
  w.add("L", w.entry(7, this->prefix(2)));
  w.start();
  auto const sm = w.sm("L");
  sm->clockQuantumIs(0);
  w.settle();
  auto const list = w.list("L");
  w.listDel("L");
  list->versionInc(1);  // which no reactor hears
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
  constexpr U32 kEntries = 1000000;
  auto const list = w.list("L");
  auto const prefix = [](U32 i) { return Ipa::Prefix(Ipa::IpAddr(i << 8), 24U); };
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
      auto const m = Routing::PolicyEval::matchPrefixList(status, prefix(i));
      if (m.seqno == i && m.isPermit) ++matched;
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
  EXPECT_GT(matched, 0U);
  while (w.manager.nextDue() <= w.manager.clock()->now()) w.manager.turn();
}

}  // namespace
