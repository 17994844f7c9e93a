#include "tests/support/ScarceMemory.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/orb/loop/Activity.h"
#include "platform/orb/loop/Reaper.h"

namespace Orb {
namespace {

using TestSupport::withEverMoreMemory;

struct Logger : Clock::Notifiee {
  Logger(Ptr<Clock> clock, std::string& l, char n) : Notifiee(std::move(clock)), log(l), name(n) {}
  void onTime() override { log += name; }
  std::string& log;
  char const name;
};

/// More than a turn can free.
struct Large : Garbage {
  Large(std::string& l, double& n) : log(l), now(n) {}
  bool freeSome(std::size_t) override {
    log += 'G';
    now += 0.006;
    return --left != 0;
  }
  std::string& log;
  double& now;
  int left = 3;
};

TEST(ScarceMemory, LosesNeitherRequestsNorGarbage) {
  double now = 1;
  std::string log(100, ' ');
  log.clear();
  ActivityManager manager;
  ActivityManager other;
  ActivityManager::Scope const scope(manager);
  Logger a(manager.clock(), log, 'a');
  Logger b(other.clock(), log, 'b');
  b.timeMinIs(Clock::kNextTurn);
  auto large = std::make_unique<Large>(log, now);

  auto const post = [&](char name) {
    return withEverMoreMemory([&] { manager.post([&log, name] { log += name; }); },
                              [&] { EXPECT_EQ(manager.nextDue() == 0, name == 'q'); });
  };
  EXPECT_EQ(post('p') + post('q'), 2);
  EXPECT_EQ(withEverMoreMemory([&] { a.timeMinIs(Clock::kNextTurn); }, [] {}), 0);
  Logger const others[] = {{manager.clock(), log, '1'},
                           {manager.clock(), log, '2'},
                           {manager.clock(), log, '3'}};  // the room that was made with a is used
  EXPECT_EQ(withEverMoreMemory([&] { b.clockIs(manager.clock()); },
                               [&] { EXPECT_EQ(b.clock(), other.clock()); }),
            1);
  EXPECT_EQ(other.clock()->armedCount(), 0U);
  {
    TestSupport::ScarceMemory const none(0);
    manager.clock()->timeSourceIs([&now] { return now; });
    reap(std::move(large));
    while (manager.nextDue() <= now) manager.turn();
  }
  EXPECT_EQ(log, "pabqGGG");  // p was taken over when nextDue() was asked
  EXPECT_EQ(pendingGarbage(), 0U);
}

}  // namespace
}  // namespace Orb
