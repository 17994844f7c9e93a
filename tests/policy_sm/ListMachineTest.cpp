// What the machines of all kinds of lists do that are compiled as a whole.

#include "policy_sm/ListMachine.h"

#include <stdexcept>

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
  auto const list = w.list("L");
  Observer follower(*symbol->symbolNotifier(), [&](auto...) {
    if (!symbol->status()) list->versionInc(1);  // it is gone: nothing is published
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
