#include "platform/orb/loop/Activity.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/orb/base/Error.h"
#include "platform/orb/loop/ActivityLock.h"

namespace Orb {
namespace {

/// Runs a function when its time comes.
class Caller : public Clock::Notifiee {
 public:
  Caller(Ptr<Clock> clock, std::function<void(Caller&)> call)
      : Notifiee(std::move(clock)), call_(std::move(call)) {}
  void onTime() override {
    auto const call = call_;  // ours may go away with us
    call(*this);
  }

 private:
  std::function<void(Caller&)> call_;
};

/// A manager whose time the test sets.
class ActivityTest : public testing::Test {
 protected:
  ActivityTest() {
    manager_.clock()->timeSourceIs([this] { return now_; });
  }

  /// A notifiee, armed for `timeMin`, that logs its name and lets `seconds` pass.
  std::unique_ptr<Caller> worker(std::string name, double timeMin, double seconds = 0) {
    auto made = std::make_unique<Caller>(manager_.clock(), [this, name, seconds](Caller&) {
      log_.push_back(name);
      now_ += seconds;
    });
    made->timeMinIs(timeMin);
    return made;
  }

  std::vector<std::string> turnLog() {
    log_.clear();
    manager_.turn();
    return log_;
  }

  using Names = std::vector<std::string>;

  double now_ = 1000;
  ActivityManager manager_;
  Names log_;
};

TEST_F(ActivityTest, EveryMixOfRequestsIsServedAsByAScanOfTheRequests) {
  struct Request {
    double due;
    int order;
  };
  std::mt19937 random(7);
  auto const pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  constexpr int kCount = 40;
  std::vector<std::unique_ptr<Caller>> callers(kCount);
  std::vector<std::optional<Request>> model(kCount);
  std::vector<int> served;
  int order = 0;
  manager_.quantumIs(100);

  for (int step = 0; step < 20000; ++step) {
    int const which = pick(kCount);
    auto& caller = callers.at(static_cast<std::size_t>(which));
    auto& request = model.at(static_cast<std::size_t>(which));
    switch (pick(8)) {
      case 0:
        caller.reset();
        request.reset();
        break;
      case 1:
        now_ += pick(3);
        break;
      case 2: {
        std::vector<std::tuple<double, int, int>> due;
        double next = Clock::kNever;
        for (int i = 0; i < kCount; ++i) {
          auto& one = model.at(static_cast<std::size_t>(i));
          if (!one) continue;
          if (one->due <= now_) {
            due.emplace_back(one->due, one->order, i);
            one.reset();
          } else {
            next = std::min(next, one->due);
          }
        }
        std::sort(due.begin(), due.end());
        std::vector<int> expected;
        for (auto const& [time, count, i] : due) expected.push_back(i);
        served.clear();
        EXPECT_EQ(manager_.turn(), expected.size());
        ASSERT_EQ(served, expected) << "step " << step;
        ASSERT_EQ(manager_.nextDue(), next);
        break;
      }
      default:
        if (!caller) {
          caller = std::make_unique<Caller>(manager_.clock(),
                                            [&served, which](Caller&) { served.push_back(which); });
        }
        double const timeMin = pick(4) == 0   ? Clock::kNever
                               : pick(3) == 0 ? Clock::kNextTurn
                                              : now_ - 2 + pick(8);
        if (timeMin == caller->timeMin()) break;  // no request
        caller->timeMinIs(timeMin);
        request.reset();
        if (timeMin != Clock::kNever) request = Request{std::max(timeMin, now_), order++};
    }
  }
}

TEST_F(ActivityTest, ARequestMadeInATurnWaitsForTheNext) {
  auto other = worker("other", Clock::kNever);
  Caller again(manager_.clock(), [&](Caller& self) {
    EXPECT_EQ(self.timeMin(), Clock::kNever);
    log_.push_back("again");
    self.timeMinIs(Clock::kNextTurn);
    other->timeMinIs(now_);
    manager_.post([this] { log_.push_back("posted"); });
  });
  again.timeMinIs(Clock::kNextTurn);
  EXPECT_EQ(turnLog(), Names({"again"}));
  EXPECT_LE(manager_.nextDue(), now_);
  EXPECT_EQ(turnLog(), Names({"again", "other", "posted"}));
}

TEST_F(ActivityTest, ATurnEndsWithItsQuantumAndTheRestIsFirstInTheNext) {
  constexpr double kWork = 1.0 / 1024;  // adds up exactly
  manager_.quantumIs(10 * kWork);
  std::vector<std::unique_ptr<Caller>> callers;
  Names all;
  for (int i = 0; i < 10000; ++i) {
    all.push_back(std::to_string(i));
    callers.push_back(worker(all.back(), Clock::kNextTurn, kWork));
  }
  Names served;
  for (int turn = 0; turn < 1000; ++turn) {
    auto const late = worker("late", Clock::kNextTurn);  // behind what is left
    double const start = now_;
    for (auto const& name : turnLog()) served.push_back(name);
    EXPECT_EQ(now_ - start, 10 * kWork);
  }
  EXPECT_EQ(served, all);
}

TEST_F(ActivityTest, WhoAlwaysWantsTheNextTurnStarvesNobody) {
  manager_.quantumIs(0);  // one callback a turn
  Caller greedy(manager_.clock(), [&](Caller& self) {
    log_.push_back("greedy");
    self.timeMinIs(Clock::kNextTurn);
    manager_.post([this] { log_.push_back("posted"); });
  });
  greedy.timeMinIs(Clock::kNextTurn);
  auto const a = worker("a", Clock::kNextTurn);
  auto const b = worker("b", now_ - 500);  // long due, but asked for only now
  for (int turn = 0; turn < 6; ++turn) manager_.turn();
  EXPECT_EQ(log_, Names({"greedy", "a", "b", "greedy", "posted", "greedy"}));
}

TEST_F(ActivityTest, SettingTheSameTimeKeepsThePlaceInTheQueue) {
  auto const a = worker("a", Clock::kNextTurn);
  auto const b = worker("b", Clock::kNextTurn);
  a->timeMinIs(Clock::kNextTurn);
  EXPECT_EQ(turnLog(), Names({"a", "b"}));
}

TEST_F(ActivityTest, CallbacksMayDestroyThemselvesAndOthers) {
  auto victim = worker("victim", Clock::kNextTurn + 1);
  std::unique_ptr<Caller> self;
  self = std::make_unique<Caller>(manager_.clock(), [&](Caller&) {
    victim.reset();
    self = worker("replacement", Clock::kNextTurn);
  });
  self->timeMinIs(Clock::kNextTurn);
  victim->timeMinIs(Clock::kNextTurn);  // behind self
  auto const after = worker("after", Clock::kNextTurn);
  EXPECT_EQ(turnLog(), Names({"after"}));
  EXPECT_EQ(turnLog(), Names({"replacement"}));
  EXPECT_EQ(manager_.clock()->armedCount(), 0U);
}

TEST_F(ActivityTest, AnExceptionGoesToTheCallerAndLosesNothingElse) {
  Caller bad(manager_.clock(), [](Caller&) { throw std::runtime_error("bad"); });
  bad.timeMinIs(Clock::kNextTurn);
  auto const good = worker("good", Clock::kNextTurn);
  manager_.post([] { throw std::runtime_error("worse"); });
  EXPECT_THROW(manager_.turn(), std::runtime_error);
  EXPECT_FALSE(activityLock().held());
  EXPECT_FALSE(ActivityManager::inTurn());
  EXPECT_THROW(manager_.turn(), std::runtime_error);
  EXPECT_EQ(log_, Names({"good"}));
  EXPECT_EQ(manager_.turn(), 0U);
}

TEST_F(ActivityTest, TimesThatAreNoTimesAreRefused) {
  auto const a = worker("a", 5);
  EXPECT_THROW(a->timeMinIs(std::nan("")), RangeException);
  EXPECT_EQ(a->timeMin(), 5);
  EXPECT_THROW(manager_.quantumIs(std::nan("")), RangeException);
  EXPECT_THROW(manager_.quantumIs(-0.01), RangeException);
}

TEST_F(ActivityTest, TheHostLearnsWhenTheNextTurnIsDue) {
  EXPECT_EQ(manager_.nextDue(), Clock::kNever);
  auto const a = worker("a", now_ + 5);
  EXPECT_EQ(manager_.nextDue(), now_ + 5);
  manager_.post([] {});
  EXPECT_EQ(manager_.nextDue(), 0.0);
  EXPECT_EQ(manager_.turn(), 1U);
  EXPECT_EQ(manager_.nextDue(), now_ + 5);
  a->timeMinIs(Clock::kNever);
  EXPECT_EQ(manager_.nextDue(), Clock::kNever);
}

TEST_F(ActivityTest, ANotifieeKeepsItsTimeWhenItChangesClocks) {
  auto other = std::make_unique<ActivityManager>();
  auto const a = worker("a", Clock::kNextTurn);
  a->clockIs(nullptr);
  EXPECT_EQ(manager_.turn(), 0U);
  a->clockIs(other->clock());
  EXPECT_EQ(other->turn(), 1U);
  a->timeMinIs(7);
  other.reset();
  a->timeMinIs(Clock::kNextTurn);  // the clock is there, its manager is not
  a->clockIs(manager_.clock());
  EXPECT_EQ(turnLog(), Names({"a"}));
}

TEST_F(ActivityTest, AnotherTimeSourceKeepsTheOrderAndEndsTheTurn) {
  auto const future = worker("future", 1005);
  auto const a = worker("a", Clock::kNextTurn);
  Caller reset(manager_.clock(),
               [&](Caller&) { manager_.clock()->timeSourceIs([this] { return now_ - 1000; }); });
  reset.timeMinIs(Clock::kNextTurn);
  auto const b = worker("b", Clock::kNextTurn);
  auto const c = worker("c", Clock::kNextTurn);
  EXPECT_EQ(turnLog(), Names({"a"}));
  EXPECT_EQ(turnLog(), Names({"b", "c"}));
  EXPECT_EQ(manager_.nextDue(), 1005);
}

TEST_F(ActivityTest, CallbacksRunUnderTheLockAndMayLetItGo) {
  bool heldWithin = false;
  bool heldInUnlock = true;
  manager_.post([&] {
    heldWithin = activityLock().held();
    ActivityUnlockAnchor const unlocked;
    heldInUnlock = activityLock().held();
  });
  {
    ActivityLockAnchor const host;
    manager_.turn();
    EXPECT_TRUE(activityLock().held());
  }
  EXPECT_TRUE(heldWithin);
  EXPECT_FALSE(heldInUnlock);
  EXPECT_FALSE(activityLock().held());
}

TEST(ThreadsActivity, PostsAndRequestsOfOtherThreadsReachASleepingLoop) {
  ActivityManager manager;
  int calls = 0;  // the loop's
  Caller last(manager.clock(), [&](Caller& self) {
    if (calls == 4 * 500) return manager.stop();
    self.timeMinIs(Clock::kNextTurn);
  });
  std::thread loop([&] { manager.run(); });
  std::vector<std::thread> others;
  for (int i = 0; i < 4; ++i) {
    others.emplace_back([&] {
      for (int n = 0; n < 500; ++n) manager.post([&calls] { ++calls; });
    });
  }
  for (auto& other : others) other.join();
  {
    ActivityLockAnchor const lock;
    last.timeMinIs(manager.clock()->now() + 3600);
    last.timeMinIs(Clock::kNextTurn);
  }
  loop.join();
  EXPECT_EQ(calls, 4 * 500);
}

TEST(ThreadsActivity, NotifieesComeAndGoUnderTheLockWhileTheLoopRuns) {
  ActivityManager manager;
  int calls = 0;
  std::thread loop([&] { manager.run(); });
  for (int i = 0; i < 300; ++i) {
    ActivityLockAnchor const lock;
    auto caller = std::make_unique<Caller>(manager.clock(), [&calls](Caller&) { ++calls; });
    caller->timeMinIs(Clock::kNextTurn);
    ActivityLockAnchor const twice;
    { ActivityUnlockAnchor const unlocked; }  // the loop may serve it here
    caller.reset();
  }
  manager.stop();
  loop.join();
  EXPECT_LE(calls, 300);
}

TEST(ThreadsActivity, ARunSleepsUntilANotifieeIsDueAndReturnsAtAStopHoweverEarly) {
  ActivityManager manager;
  manager.stop();
  manager.run();
  double const due = manager.clock()->now() + 0.005;
  Caller stopper(manager.clock(), [&](Caller&) { manager.stop(); });
  stopper.timeMinIs(due);
  manager.run();
  EXPECT_GE(manager.clock()->now(), due);

  ActivityLockAnchor const lock;  // which a run lets go of
  std::thread other([&] {
    ActivityLockAnchor const others;
    manager.stop();
  });
  manager.run();
  EXPECT_TRUE(activityLock().held());
  other.join();
}

TEST(ThreadsActivity, TheWakeHandlerTellsOfOtherThreadsWorkOnly) {
  ActivityManager manager;
  std::atomic<int> wakes{0};
  manager.wakeHandlerIs([&wakes] { ++wakes; });
  EXPECT_EQ(manager.nextDue(), Clock::kNever);  // this thread is the loop's from here on
  Caller later(manager.clock(), [](Caller&) {});
  Caller sooner(manager.clock(), [](Caller&) {});
  double const hour = manager.clock()->now() + 3600;
  later.timeMinIs(hour);
  manager.post([] {});
  EXPECT_EQ(wakes, 0);
  manager.turn();

  auto const inOther = [](auto const& work) { std::thread(work).join(); };
  inOther([&] { manager.post([] {}); });
  EXPECT_EQ(wakes, 1);
  inOther([&] {
    ActivityLockAnchor const lock;
    sooner.timeMinIs(hour + 1);  // not the first due
    EXPECT_EQ(wakes, 1);
    sooner.timeMinIs(hour - 1);
  });
  EXPECT_EQ(wakes, 2);
  manager.wakeHandlerIs(nullptr);
  inOther([&] { manager.wake(); });
  EXPECT_EQ(wakes, 2);
}

}  // namespace
}  // namespace Orb
