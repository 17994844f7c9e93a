// What the machines of all kinds of lists do that are compiled as a whole.

#include "policy_sm/ListMachine.h"

#include <list>
#include <random>
#include <stdexcept>

#include "platform/orb/base/Trace.h"
#include "tests/support/AsPathWorld.h"
#include "tests/support/ListWorld.h"
#include "tests/support/Observer.h"
#include "tests/support/ScarceMemory.h"
#include "tests/support/Thrown.h"

namespace {

using Orb::U32;
using TestSupport::expectInLine;
using TestSupport::Observer;
using TestSupport::thrown;

template <class World>
class ListMachine : public testing::Test {
 protected:
  World world;
};
using Worlds = testing::Types<TestSupport::ListWorld<Acl::Ipv4Family>,
                              TestSupport::ListWorld<Acl::Ipv6Family>, TestSupport::AsPathWorld>;
TYPED_TEST_SUITE(ListMachine, Worlds);

// What the machine has to do is done when the exception arrives, without another turn of the loop.
TYPED_TEST(ListMachine, FinishesItsStepsWhateverObserversThrow) {
  auto& w = this->world;
  Observer collection(*w.all, [](auto...) { throw std::runtime_error("collection"); });
  w.add("L", w.entry(5, 1));
  w.list("EMPTY");
  EXPECT_EQ(thrown([&] { w.start(); }), "collection");
  EXPECT_TRUE(w.symbol("L")->status() && w.symbol("EMPTY")->status());
  EXPECT_EQ(thrown([&] { w.start(); }), "") << "the symbols are there";
  EXPECT_EQ(w.sm("EMPTY")->processClock(), 0U) << "nothing is being built";
  w.settle();
  expectInLine(w);
  EXPECT_EQ(w.version("L"), 1U);
  EXPECT_EQ(w.version("EMPTY"), 0U);
  w.list("EMPTY")->versionInc(1);
  w.settle();
  EXPECT_EQ(w.version("EMPTY"), 1U);
  EXPECT_EQ(thrown([&] { w.list("NEW"); }), "collection");
  expectInLine(w);

  auto const symbol = w.symbol("L");
  auto const sm = w.sm("L");
  Observer follower(*symbol->symbolNotifier(), [&](auto...) {
    EXPECT_FALSE(sm->isBuilding()) << "closed before it is announced";
    EXPECT_EQ(w.symbol("L"), symbol) << "removed after that";
    throw std::runtime_error("follower");
  });
  auto const raise = [&] {
    w.list("L")->versionInc(1);
    w.settle();
  };
  EXPECT_EQ(thrown(raise), "follower");
  EXPECT_EQ(w.settle(), 0) << "the build was complete";
  EXPECT_EQ(thrown([&] { w.listDel("L"); }), "follower") << "it was the first";
  EXPECT_TRUE(!symbol->status() && symbol->symbolNotifier()->version() == 3U);
  expectInLine(w);
  sm->handleVersion();
  EXPECT_EQ(sm->processClock(), 0U) << "it was let go";
  EXPECT_EQ(sm->timeMin(), Orb::Clock::kNever);
  EXPECT_EQ(thrown([&] { w.list("L"); }), "collection");
  EXPECT_EQ(w.symbol("L"), symbol) << "while it is held, it is the canonical one";
  expectInLine(w);
}

// Observers, trace sinks and the time source change everything, drop the machine and throw, from
// within whatever goes on. In the end all is as configured, and each status was published once.
TYPED_TEST(ListMachine, IsInLineWhateverChangesMeanwhile) {
  std::mt19937 random(5);
  auto const below = [&](U32 n) { return static_cast<U32>(random() % n); };
  for (int round = 0; round < 400; ++round) {
    TypeParam w;
    int left = 0;
    int quiet = 0;  // no exceptions
    auto const meddle = [&](auto...) {
      if (left == 0 || below(3) == 0) return;
      --left;
      Orb::Name const name("L" + std::to_string(below(3)));
      U32 const what = below(24);
      if (what < 4) w.settingIs(0, what % 2);
      if (what == 4) w.settingIs(1, below(2));
      if (what == 5) w.listDel(name);
      if (what == 6 && round % 4 == 0) w.machine = nullptr;
      if (what > 8) {
        w.add(name, w.entry(below(6), below(6)));
        w.list(name)->versionInc(1);
      }
      if (what % 5 == 0 && quiet == 0) throw std::runtime_error("observer");
    };
    auto const quietly = [&] {
      ++quiet;
      meddle();
      --quiet;
    };
    struct Followed {
      explicit Followed(Orb::Ptr<typename TypeParam::Symbol> const& s)
          : symbol(s), observer(*s->symbolNotifier()), meddler(*s->symbolNotifier()) {}
      Orb::Ptr<typename TypeParam::Symbol> const symbol;
      typename TypeParam::Status last = symbol->status();
      U32 version = symbol->symbolNotifier()->version();
      Observer observer, meddler;
    };
    std::list<Followed> followed;
    for (auto const* name : {"L0", "L1", "L2"}) w.add(name, w.entry(1, 1));
    Observer const collection(*w.all, meddle);
    for (left = round % 3; !w.machine;) thrown([&] { w.start(); });
    for (auto const& symbol : w.all->symbol()) {
      auto& f = followed.emplace_back(symbol);
      f.observer.changed = [&f, round](auto...) {
        EXPECT_EQ(f.symbol->symbolNotifier()->version(), ++f.version);
        EXPECT_TRUE(round % 2 || !f.last || f.symbol->status() != f.last) << "published twice";
        f.last = f.symbol->status();
      };
      f.meddler.changed = meddle;
    }
    Orb::traceSinkIs([&](auto...) { quietly(); });
    Orb::traceLevelsAre(round % 3 ? "RouteMapStatusType/6" : "RouteMapStatusType/6,RouteMapSm/8");
    if (round % 2) {
      w.manager.clock()->timeSourceIs([&] {
        quietly();
        return w.time += 0.004;
      });
    }
    for (int i = 0; i < 30 && w.machine; ++i) {
      left = 4;
      thrown(meddle);
      thrown([&] { w.manager.turn(); });
    }
    left = 0;
    Orb::traceReset();
    if (!w.machine) thrown([&] { w.start(); });
    w.settle();
    expectInLine(w);
    for (auto const& symbol : w.all->symbol()) EXPECT_TRUE(w.isWhole(symbol->status()));
    if (this->HasFailure()) FAIL() << "round " << round;
  }
}

// Whatever allocation fails, alone or with all behind it: nothing that is stale is published, and
// all lists follow once there is memory, in one step.
TYPED_TEST(ListMachine, CatchesUpWhenThereIsMemoryAgain) {
  Orb::traceSinkIs([](auto...) {});
  for (int variant = 0; variant < 4 * 7; ++variant) {
    Orb::traceLevelIs("RouteMapSm", variant & 1 ? 8 : Orb::TraceFacility::kOff);
    bool hasFailed = true;
    for (long granted = 0; hasFailed; ++granted) {
      TypeParam w;
      for (U32 i = 0; i < TypeParam::kLongList; ++i) w.add("A", w.entry(i, i % 4));
      w.add("B", w.entry(1, 1));
      w.start();
      w.settle();
      int const what = variant / 4;
      auto const a = w.list("A");
      Orb::Name const c("C");
      Orb::Name const d("D");
      auto const symbol = w.symbol("A");
      Observer const follower(*symbol->symbolNotifier(), [&](auto...) {
        if (what == 4) w.list("A");  // brings it back, without entries
        if (!symbol->status()) return;
        EXPECT_EQ(w.contentOf(symbol->status()), w.modelOf(*w.list("A")));
      });
      hasFailed = false;
      auto const scarcely = [&](auto const& act) {
        try {
          TestSupport::ScarceMemory const scarce(granted, variant & 2 ? 1 : TestSupport::kPlenty);
          act();
          hasFailed |= scarce.isSpent();
        } catch (std::bad_alloc const&) {
          hasFailed = true;
        }
      };
      if (what == 0) w.machine = nullptr;
      if (what == 1) w.add("A", w.entry(2, 0));
      if (what == 2) {
        scarcely([&] { w.list(c); });
        scarcely([&] { w.list(d); });
        w.add(c, w.entry(1, 1));
        w.list(c)->versionInc(1);
      }
      scarcely([&] {
        if (what == 0) w.start();
        if (what == 1 || what == 3 || what == 4) a->versionInc(1);
        if (what == 3 || what == 4) w.listDel(a->name());
        if (what > 4) w.settingIs(what - 5, true);
        w.settle();
      });
      if (!w.machine) w.start();
      if (what == 3 && w.lists().size() == 1) expectInLine(w);  // to delete takes no memory
      Observer const collection(*w.all, [](auto...) { throw std::runtime_error("observer"); });
      while (!thrown([&] { w.settle(); }).empty()) continue;
      expectInLine(w);
      if (what > 0 && what != 3 && what != 4) {
        bool const isOfAll = what > 4 && TypeParam::kHasSettings;
        EXPECT_EQ(w.version("A"), what == 1 || isOfAll ? 2U : 1U);
        EXPECT_EQ(w.version("B"), isOfAll ? 2U : 1U);
      }
      if (this->HasFailure()) FAIL() << granted << " allocations granted, variant " << variant;
    }
  }
  Orb::traceReset();
}

TYPED_TEST(ListMachine, KeepsReactorsByNameAndObject) {
  auto& w = this->world;
  w.list("L");
  w.start();
  auto const first = w.sm("L");
  w.machine->listSmIs(w.list("L"));
  EXPECT_EQ(w.sm("L"), first);
  w.machine->listSmIs(Orb::make<typename TypeParam::List>("L"));
  EXPECT_NE(w.sm("L"), first);
  EXPECT_EQ(first->machine(), nullptr);
  std::string const attribute = TypeParam::kAttribute;
  EXPECT_EQ(thrown<Orb::RangeException>([&] { w.machine->listSmIs(nullptr); }),
            "null _" + attribute + " parameter to mutator for Routing::RouteMap::" +
                TypeParam::kMachine + "ConfigSm::" + attribute + " not allowed\"");
  w.machine->listSmDelAll();
  EXPECT_TRUE(!w.sm("L") && w.symbol("L")->status());
  w.machine->listSmIs(w.list("L"));
  w.all->symbolDel("L");
  w.list("L")->versionInc(1);
  w.settle();
  EXPECT_FALSE(w.symbol("L") || w.sm("L")->isBuilding()) << "dropped for want of a symbol";
  EXPECT_DEATH(w.machine->addList("L", nullptr),
               std::string("assertion failed: ") + TypeParam::kListInAssertions);
}

}  // namespace
