#include "platform/orb/loop/Reaper.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "platform/orb/loop/Activity.h"
#include "tests/support/ScarceMemory.h"

namespace Orb {
namespace {

/// A number of objects. Calls `freed` with how many of them went, and with 0 at the end.
struct Heap : Garbage {
  Heap(std::size_t size, std::function<void(std::size_t)> f) : left(size), freed(std::move(f)) {}
  ~Heap() override { freed(0); }
  bool freeSome(std::size_t count) override {
    std::size_t const now = std::min(count, left);
    freed(now);
    return (left -= now) != 0;
  }
  std::size_t left;
  std::function<void(std::size_t)> const freed;
};

/// A current manager whose time passes by freeing, a microsecond for each object, and by work.
class ReaperTest : public testing::Test {
 protected:
  static constexpr double kSlack = 300e-6;  // one look at the clock in 256 objects

  ReaperTest() : scope_(manager_) {
    manager_.clock()->timeSourceIs([this] { return now_; });
  }
  ~ReaperTest() override { reapAll(); }

  std::unique_ptr<Garbage> heap(std::size_t size, std::function<void()> last = nullptr) {
    return std::make_unique<Heap>(size, [this, last](std::size_t count) {
      freed_ += count;
      now_ += 1e-6 * static_cast<double>(count);
      if (count == 0 && last) last();
    });
  }
  void leave(std::size_t size, std::function<void()> last = nullptr) {
    reap(heap(size, std::move(last)));
  }
  double turnTime() {
    double const start = now_;
    manager_.turn();
    return now_ - start;
  }

  double now_ = 1000;
  std::size_t freed_ = 0;
  ActivityManager manager_;
  ActivityManager::Scope scope_;
};

TEST_F(ReaperTest, GarbageHasWhatIsLeftOfTheCurrentManagersQuantum) {
  reap(nullptr);
  leave(25000);
  leave(10);
  ActivityManager other;
  other.turn();
  EXPECT_EQ(other.nextDue(), Clock::kNever) << "it is the current one's";
  EXPECT_EQ(manager_.nextDue(), 0.0);
  EXPECT_NEAR(turnTime(), 0.01, kSlack);
  manager_.post([this] { now_ += 0.004; });
  EXPECT_NEAR(turnTime(), 0.01, kSlack);
  EXPECT_NEAR(static_cast<double>(freed_), 16000, 600);
  manager_.post([] { throw std::runtime_error("no memory"); });
  EXPECT_THROW(manager_.turn(), std::runtime_error);
  EXPECT_EQ(freed_, 25010U);
  EXPECT_EQ(pendingGarbage(), 0U);
  EXPECT_EQ(manager_.nextDue(), Clock::kNever);
}

TEST_F(ReaperTest, GarbageGetsAShareThatGrowsWithItsPiecesAndNoTurnIsLong) {
  struct {
    int pieces;
    int callbacks;  // due in every turn
    double seconds;
    double share;
  } const cases[] = {
      {1, 1, 0.01, 1.0 / 21}, {1, 99, 1e-5, 1.0 / 21}, {10, 3, 0.01, 1.0 / 3},
      {20, 1, 0.01, 0.5},     {60, 99, 1e-5, 0.5},     {1, 1, 1.0, 0.01},
  };
  for (auto const& c : cases) {
    double const end = now_ + 2;
    std::function<void()> const work = [&] {
      now_ += c.seconds;
      if (now_ < end) manager_.post(work);
    };
    for (int i = 0; i < c.callbacks; ++i) manager_.post(work);
    for (int i = 0; i < c.pieces; ++i) leave(2000000);
    freed_ = 0;
    while (now_ < end) ASSERT_LE(turnTime(), std::max(0.0005 + c.seconds, 0.01) + kSlack);
    EXPECT_NEAR(1e-6 * static_cast<double>(freed_) / 2, c.share, 0.01) << c.pieces;
    reapAll();
    manager_.post([] {});
    EXPECT_GT(manager_.turn(), 0U) << "garbage that is gone has no turn";
    while (manager_.turn() != 0) continue;
  }
}

TEST_F(ReaperTest, WithoutAQuantumAndWithTimeStandingStillNothingStarves) {
  manager_.clock()->timeSourceIs([] { return 0; });
  manager_.quantumIs(0);
  int calls = 0;
  std::function<void()> const work = [&] { ++calls, manager_.post(work); };
  work();
  leave(10000);
  for (int turn = 0; turn < 100; ++turn) manager_.turn();
  EXPECT_GE(freed_, 1000U);
  EXPECT_GT(calls, 90);
}

TEST_F(ReaperTest, GarbageMayLeadToMoreAndTheOldestGoesFirst) {
  std::string gone;
  auto const nested = [&] { leave(300, [&] { leave(300, [&] { gone += 'c'; }), gone += 'b'; }); };
  leave(20000, [&] { nested(), gone += 'a'; });
  while (gone.empty()) manager_.turn();
  leave(20000, [&] { gone += 'A'; });
  while (pendingGarbage() != 0) manager_.turn();
  EXPECT_EQ(gone, "abAc");
  reap(std::make_unique<Heap>(300, [this](std::size_t) { leave(1), reapAll(), now_ += 1; }));
  manager_.turn();  // what it was freeing is put back to an empty queue
  leave(1);
  while (pendingGarbage() != 0) manager_.turn();
}

TEST_F(ReaperTest, GarbageIsBoundedWithoutTurnsAndLeftAloneWithThem) {
  int within = 0;
  std::function<void(int)> const nest = [&](int depth) {
    leave(1, [&, depth] {
      EXPECT_EQ(within++, 0);
      for (int i = 0; i < depth; ++i) nest(depth - 1);
      --within;
    });
  };
  for (int i = 0; i < 1000; ++i) {
    nest(2);
    ASSERT_LE(pendingGarbage(), kMaxUnturned);
  }
  manager_.turn();
  EXPECT_EQ(freed_, 1000U * 5);
  for (double const work : {0.0, 0.02}) {  // the second turn has no time to free
    std::size_t before = freed_;
    manager_.post([&] {
      for (int i = 0; i < 1000; ++i) leave(100);
      EXPECT_EQ(freed_, before);
      now_ += work;
    });
    manager_.turn();
    before = freed_;
    leave(100);
    EXPECT_EQ(freed_, before);
  }
}

TEST_F(ReaperTest, WhatIsBeingFreedIsNoWorkForTheLoop) {
  int wakes = 0;
  manager_.wakeHandlerIs([&wakes] { ++wakes; });
  EXPECT_EQ(manager_.nextDue(), Clock::kNever);  // this thread is the loop's from here on
  leave(1, [&] {
    EXPECT_EQ(pendingGarbage(), 1U);
    EXPECT_EQ(manager_.nextDue(), Clock::kNever) << "it would spin";
    std::thread([this] { leave(1); }).join();
    EXPECT_EQ(wakes, 1) << "what comes meanwhile is";
    EXPECT_EQ(manager_.nextDue(), Clock::kNextTurn);
  });
  reapAll();
  EXPECT_EQ(pendingGarbage(), 0U);
}

TEST_F(ReaperTest, ScarceMemoryLosesNeitherRequestsNorGarbage) {
  using TestSupport::withEverMoreMemory;
  struct Counter : Clock::Notifiee {
    void onTime() override { ++calls; }
    int calls = 0;
  } counters[5];
  int works = 0;
  EXPECT_EQ(withEverMoreMemory([&] { manager_.post([&works] { ++works; }); },
                               [&] { EXPECT_EQ(manager_.nextDue(), Clock::kNever); }),
            1);
  // From a clock whose manager is gone: the heap makes room for four, and then for the fifth.
  auto const clock = std::make_unique<ActivityManager>()->clock();
  long failures = 0;
  for (Counter& c : counters) {
    c.clockIs(clock);
    if (&c != counters) c.timeMinIs(Clock::kNextTurn);
    failures += withEverMoreMemory([&] { c.clockIs(manager_.clock()); },
                                   [&] { EXPECT_EQ(clock->armedCount(), &c != counters); });
  }
  EXPECT_EQ(failures, 2);
  auto large = heap(25000);
  {
    TestSupport::ScarceMemory const none(0);
    counters[0].timeMinIs(Clock::kNextTurn);
    manager_.clock()->timeSourceIs([this] { return now_; });
    reap(std::move(large));
    while (manager_.nextDue() <= now_) manager_.turn();
  }
  EXPECT_EQ(works, 1);
  for (Counter const& c : counters) EXPECT_EQ(c.calls, 1);
  EXPECT_EQ(freed_, 25000U);
}

using ReaperDeathTest = ReaperTest;

TEST_F(ReaperDeathTest, TheEndOfTheProcessFreesWhatWaitsAndThenAtOnce) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a new process: nothing was reaped in it
  static auto const late = [this] {
    std::fputs("end;", stderr);
    leave(1, [] { std::fputs("late;", stderr); });
    std::fprintf(stderr, "%zu left", pendingGarbage());
  };
  auto const run = [this] {
    std::atexit([] { late(); });
    leave(1, [] { std::fputs("early;", stderr); });
    std::exit(0);
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "early;end;late;0 left");
}

}  // namespace
}  // namespace Orb
