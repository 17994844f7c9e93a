#include "platform/orb/loop/Reaper.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <thread>
#include <utility>
#include <vector>

#include "platform/orb/loop/Activity.h"

namespace Orb {
namespace {

/// A number of objects; calls `freed` with how many of them went, and `last` at the end.
class Heap : public Garbage {
 public:
  Heap(std::size_t size, std::function<void(std::size_t)> freed, std::function<void()> last = {})
      : left_(size), freed_(std::move(freed)), last_(std::move(last)) {}
  ~Heap() override {
    if (last_) last_();
  }
  bool freeSome(std::size_t count) override {
    std::size_t const now = std::min(count, left_);
    left_ -= now;
    freed_(now);
    return left_ != 0;
  }

 private:
  std::size_t left_;
  std::function<void(std::size_t)> freed_;
  std::function<void()> last_;
};

class Builder : public Clock::Notifiee {
 public:
  Builder(Ptr<Clock> clock, std::function<void()> slice)
      : Notifiee(std::move(clock)), slice_(std::move(slice)) {
    timeMinIs(Clock::kNextTurn);
  }
  void onTime() override {
    slice_();
    timeMinIs(Clock::kNextTurn);
  }

 private:
  std::function<void()> slice_;
};

/// A current manager whose time passes by freeing: a microsecond for each object.
class ReaperTest : public testing::Test {
 protected:
  ReaperTest() : scope_(manager_) {
    manager_.clock()->timeSourceIs([this] { return now_; });
  }
  ~ReaperTest() override { reapAll(); }

  std::unique_ptr<Garbage> heap(std::size_t size, std::function<void()> last = {}) {
    return std::make_unique<Heap>(
        size,
        [this](std::size_t count) {
          freed_ += count;
          now_ += 1e-6 * static_cast<double>(count);
        },
        std::move(last));
  }

  double turnTime() {
    double const start = now_;
    manager_.turn();
    return now_ - start;
  }

  static constexpr double kSlack = 300e-6;  // one look at the clock in 256 objects

  double now_ = 1000;
  std::size_t freed_ = 0;
  ActivityManager manager_;
  ActivityManager::Scope scope_;
};

TEST_F(ReaperTest, AnIdleLoopFreesInTurnsOfItsQuantum) {
  EXPECT_EQ(manager_.nextDue(), Clock::kNever);
  reap(nullptr);
  reap(heap(25000));
  reap(heap(10));
  EXPECT_EQ(freed_, 0U);
  EXPECT_EQ(pendingGarbage(), 2U);
  EXPECT_EQ(manager_.nextDue(), 0.0);
  EXPECT_NEAR(turnTime(), 0.01, kSlack);
  EXPECT_NEAR(turnTime(), 0.01, kSlack);
  EXPECT_EQ(pendingGarbage(), 2U);
  EXPECT_LT(turnTime(), 0.006);
  EXPECT_EQ(freed_, 25010U);
  EXPECT_EQ(pendingGarbage(), 0U);
  EXPECT_EQ(manager_.nextDue(), Clock::kNever);
}

TEST_F(ReaperTest, ABuildThatFillsItsTurnsIsSlowedByAShareThatGrowsWithTheGarbage) {
  Builder const builder(manager_.clock(), [this] { now_ += 0.01; });
  reap(heap(5120));  // ten slices of half a millisecond, as the steps fall
  for (int turn = 0; pendingGarbage() != 0; ++turn) {
    ASSERT_LT(turn, 20);
    double const time = turnTime();
    EXPECT_GT(time, 0.0104);
    EXPECT_LT(time, 0.0105 + kSlack);
  }
  for (int i = 0; i < 40; ++i) reap(heap(5000));
  EXPECT_NEAR(turnTime(), 0.015, kSlack);
}

TEST_F(ReaperTest, WhatACallbackLeavesOfTheTurnGoesToTheGarbage) {
  Builder const builder(manager_.clock(), [this] { now_ += 0.004; });
  reap(heap(100000));
  EXPECT_NEAR(turnTime(), 0.01, kSlack);
}

TEST_F(ReaperTest, AnotherManagerThanTheCurrentOneFreesNothing) {
  ActivityManager other;
  reap(heap(10));
  other.turn();
  EXPECT_EQ(other.nextDue(), Clock::kNever);
  EXPECT_EQ(freed_, 0U);
}

TEST_F(ReaperTest, GarbageMayLeadToMore) {
  auto const nested = [this] { reap(heap(1000, [this] { reap(heap(1000)); })); };
  reap(heap(1000, nested));
  manager_.turn();
  EXPECT_EQ(freed_, 3000U);
  EXPECT_EQ(pendingGarbage(), 0U);
  reap(heap(1000, nested));
  reapAll();
  EXPECT_EQ(freed_, 6000U);
  EXPECT_EQ(pendingGarbage(), 0U);
}

TEST_F(ReaperTest, WithoutTurnsGarbageStaysBounded) {
  std::function<void(int)> leave = [&](int depth) {
    reap(heap(1, [&leave, depth] {
      for (int i = 0; i < depth; ++i) leave(depth - 1);
    }));
  };
  for (int i = 0; i < 1000; ++i) {
    leave(2);
    ASSERT_LE(pendingGarbage(), kMaxUnturned);
  }
  manager_.turn();
  EXPECT_EQ(freed_, 1000U * 5);
}

TEST_F(ReaperTest, WhereTheLoopTurnsNobodyElseFrees) {
  manager_.post([this] {
    for (int i = 0; i < 1000; ++i) reap(heap(100));
    EXPECT_EQ(freed_, 0U);
  });
  EXPECT_NEAR(turnTime(), 0.01, kSlack);
  std::size_t const before = freed_;
  reap(heap(100));
  EXPECT_EQ(freed_, before);
}

void sayFreed(char const* name) { std::fprintf(stderr, "%s freed;", name); }

std::unique_ptr<Garbage> talking(char const* name) {
  return std::make_unique<Heap>(
      1, [](std::size_t) {}, [name] { sayFreed(name); });
}

TEST(ReaperDeathTest, TheEndOfTheProcessFreesWhatWaitsAndThenAtOnce) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a new process: nothing was reaped in it
  EXPECT_EXIT(
      {
        std::atexit([] {
          reap(talking("late"));
          std::fprintf(stderr, "%zu left", pendingGarbage());
        });
        reap(talking("early"));
        std::exit(0);
      },
      testing::ExitedWithCode(0), "early freed;late freed;0 left");
}

TEST(ThreadsReaper, WhatAnotherThreadIsFreeingIsNoWorkForTheLoop) {
  ActivityManager manager;
  ActivityManager::Scope const scope(manager);
  std::atomic<int> wakes{0};
  manager.wakeHandlerIs([&wakes] { ++wakes; });
  std::promise<void> begun;
  std::promise<void> checked;
  reap(std::make_unique<Heap>(1, [&](std::size_t) {
    begun.set_value();
    checked.get_future().wait();
  }));
  std::thread other(reapAll);
  begun.get_future().wait();
  EXPECT_EQ(pendingGarbage(), 1U);
  EXPECT_EQ(manager.nextDue(), Clock::kNever) << "it would spin";
  wakes = 0;
  std::thread([] { reap(talking("")); }).join();
  EXPECT_EQ(wakes, 1) << "what comes meanwhile is";
  EXPECT_EQ(manager.nextDue(), Clock::kNextTurn);
  checked.set_value();
  other.join();
  reapAll();
}

TEST(ThreadsReaper, AnyThreadMayLeaveGarbageToTheLoop) {
  ActivityManager manager;
  ActivityManager::Scope const scope(manager);
  std::atomic<int> freed{0};
  std::thread loop([&] { manager.run(); });
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 200; ++n) {
        reap(std::make_unique<Heap>(
            1000, [](std::size_t) {}, [&freed] { ++freed; }));
      }
    });
  }
  for (auto& thread : threads) thread.join();
  while (pendingGarbage() != 0) std::this_thread::yield();
  EXPECT_EQ(freed, 800);
  manager.stop();
  loop.join();
}

}  // namespace
}  // namespace Orb
