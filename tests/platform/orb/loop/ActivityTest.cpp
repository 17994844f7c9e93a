#include "platform/orb/loop/Activity.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <compare>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/orb/base/Error.h"
#include "platform/orb/loop/ActivityLock.h"
#include "platform/orb/loop/Reaper.h"

namespace Orb {
namespace {

TEST(ActivityLock, AThreadWithoutItHasNothingToLetGoOf) {
  ActivityLock lock;
  { ActivityUnlockAnchor const nothing(lock); }
  EXPECT_FALSE(lock.held());
  EXPECT_DEATH(lock.unlock(), "assertion failed: held");
}

TEST(ThreadsActivityLock, OneThreadAtATimeHoldsItInTheOrderInWhichTheyAsked) {
  ActivityLock lock;
  std::string order;  // guarded by the lock, like the count
  int count = 0;
  std::vector<std::thread> threads;
  lock.lock();
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&, i] {
      ActivityLockAnchor const anchor(lock);
      order += std::to_string(i);
      for (int n = 0; n < 300; ++n) {
        ActivityLockAnchor const twice(lock);
        {
          ActivityUnlockAnchor const unlocked(lock);
          EXPECT_FALSE(lock.held());
          ActivityUnlockAnchor const nothing(lock);
          ActivityLockAnchor const again(lock);
        }
        ++count;
      }
    });
    while (lock.waiting() != static_cast<std::size_t>(i + 1)) std::this_thread::yield();
  }
  lock.unlock();
  lock.lock();  // behind those that wait
  EXPECT_EQ(order, "01234567");
  lock.unlock();
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(count, 8 * 300);
}

/// Runs a function when its time comes.
class Caller : public Clock::Notifiee {
 public:
  Caller(ActivityManager& manager, double timeMin, std::function<void()> call)
      : Notifiee(manager.clock()), call_(std::move(call)) {
    timeMinIs(timeMin);
  }
  void onTime() override {
    auto const call = call_;  // ours may go away with us
    call();
  }

 private:
  std::function<void()> call_;
};

/// Notifiees and posted work that, when they are called, ask for more, let time pass, and move and
/// destroy each other and themselves; and beside them a sorted set of the requests, which says at
/// each call what has to be called.
class Requests : public testing::Test {
 protected:
  static constexpr int kCallers = 30;  // posted work has the numbers from here on
  struct Request {
    double due;
    int order;
    int number;
    auto operator<=>(Request const&) const = default;
  };

  int below(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }

  /// What is to be called next in the turn, or -1.
  int next() const {
    Request const none{0, end_, -1};
    Request const* first[] = {&none, &none};  // notifiee and work
    for (Request const& r : requests_) {
      Request const*& best = first[r.number >= kCallers];
      if (best == &none && r.order < end_ && r.due <= start_) best = &r;
    }
    return first[first[1]->order < first[0]->order]->number;
  }
  void called(int number) {
    ASSERT_EQ(number, next());
    ASSERT_LT(now_, limit_);
    limit_ = start_ + std::min(manager_.startLimit(), manager_.quantum());
    forget(number);
    ASSERT_TRUE(number >= kCallers || callers_[number]->timeMin() == Clock::kNever);
    for (int n = below(3); n > 0; --n) change();
    if (below(9) == 0) checkDue();
    now_ += below(2);
    ASSERT_TRUE(ActivityManager::inTurn() && activityLock().held());
    ActivityUnlockAnchor const unlocked;
    if (below(9) == 0) throw std::runtime_error("goes to the caller, and loses nothing");
  }
  void turn() {
    checkDue();
    start_ = now_;
    end_ = orders_;
    limit_ = Clock::kNever;  // at least one callback is made
    try {
      manager_.turn();
      ASSERT_TRUE(now_ >= limit_ || next() == -1);
    } catch (std::runtime_error const&) {
      ++thrown_;
    }
    ASSERT_FALSE(ActivityManager::inTurn() || activityLock().held());
    checkDue();
  }
  void checkDue() {
    for (; taken_ < works_; ++taken_) requests_.insert({0, orders_++, taken_});
    ASSERT_EQ(manager_.nextDue(), requests_.empty() ? Clock::kNever : requests_.begin()->due);
  }

  void forget(int number) {
    std::erase_if(requests_, [&](Request const& r) { return r.number == number; });
  }
  /// A caller has made a request, in place of an older one, or taken it back.
  void asked(int number) {
    forget(number);
    Caller const* const one = callers_[number].get();
    if (!one || !one->clock() || one->timeMin() == Clock::kNever) return;
    requests_.insert({std::max(one->timeMin(), now_), orders_++, number});
  }
  void change() {
    int const number = below(kCallers);
    auto& one = callers_[number];
    int const what = below(40);
    if (what == 0) {  // another time, which may be in the past
      now_ -= below(9);
      manager_.clock()->timeSourceIs([this] { return now_; });
      for (Request const& r : std::set(requests_)) {
        if (r.number < kCallers) asked(r.number);
      }
    } else if (what < 8) {
      manager_.post([this, work = works_++] { called(work); });
    } else if (what < 12) {
      one.reset();
      asked(number);
    } else if (!one) {
      auto const call = [this, number] { called(number); };
      one = std::make_unique<Caller>(manager_, Clock::kNever, call);
    } else if (what < 15) {  // away from the clock, or back
      one->clockIs(one->clock() ? nullptr : manager_.clock());
      asked(number);
    } else {
      double const times[] = {Clock::kNever, Clock::kNextTurn, now_ - 2 + below(8)};
      double const timeMin = times[what % 3];
      bool const isNew = timeMin != one->timeMin();
      one->timeMinIs(timeMin);
      if (isNew) asked(number);
    }
  }

  double now_ = 1000;
  ActivityManager manager_;
  std::mt19937 random_{7};
  std::map<int, std::unique_ptr<Caller>> callers_;
  std::set<Request> requests_;
  int orders_ = 0;
  int works_ = kCallers;
  int taken_ = kCallers;  // of the works; the rest has no place among the requests yet
  int thrown_ = 0;
  double start_ = 0;  // of the turn
  double limit_ = 0;
  int end_ = 0;
};

TEST_F(Requests, AreServedAsTheListOfThemSays) {
  manager_.clock()->timeSourceIs([this] { return now_; });
  manager_.quantumIs(2);
  for (int step = 0; step < 30000 && !HasFatalFailure(); ++step) {
    if (step % 500 == 0) manager_.startLimitIs(below(4));
    if (below(8) == 0) ++now_;
    below(6) == 0 ? turn() : change();
  }
  EXPECT_GT(std::min(works_, thrown_), 500);
}

TEST(Activity, TimesThatAreNoTimesAreRefused) {
  ActivityManager manager;
  Caller a(manager, 5, [] {});
  EXPECT_THROW(a.timeMinIs(std::nan("")), RangeException);
  EXPECT_EQ(a.timeMin(), 5);
  for (double const seconds : {std::nan(""), -0.01}) {
    EXPECT_THROW(manager.quantumIs(seconds), RangeException);
    EXPECT_THROW(manager.startLimitIs(seconds), RangeException);
  }
}

struct Piece : Garbage {
  bool freeSome(std::size_t) override { return false; }
};

TEST(ThreadsActivity, ARunSleepsUntilThereIsWorkOfItsOwnOrOfOtherThreads) {
  ActivityManager manager;
  ActivityManager::Scope const scope(manager);
  manager.stop();
  manager.run();  // returns at a stop, however early
  double const due = manager.clock()->now() + 0.005;
  Caller const stopper(manager, due, [&] { manager.stop(); });
  manager.run();
  EXPECT_GE(manager.clock()->now(), due);

  int works = 0;  // guarded by the lock
  auto const handWork = [&] {
    for (int n = 0; n < 200; ++n) {
      manager.post([&] { ++works; });
      reap(std::make_unique<Piece>());
      ActivityLockAnchor const lock;
      bool isCalled = false;
      Caller const caller(manager, Clock::kNextTurn, [&] { isCalled = true; });
      while (n % 50 == 0 && !isCalled) ActivityUnlockAnchor const unlocked;
    }
  };
  ActivityLockAnchor const lock;  // which a run lets go of
  std::thread one(handWork);
  std::thread other([&] {
    handWork();
    one.join();
    for (ActivityLockAnchor const others; works != 400 || pendingGarbage() != 0;) {
      ActivityUnlockAnchor const unlocked;
    }
    manager.stop();
  });
  manager.run();
  EXPECT_TRUE(activityLock().held());
  other.join();
}

TEST(ThreadsActivity, TheWakeHandlerIsCalledForWorkOfOtherThreadsWhileItIsSet) {
  ActivityManager manager;
  std::atomic<int> wakes{0};
  auto const wakesOf = [&](auto const& work) {
    wakes = 0;
    std::thread(work).join();
    return wakes.load();
  };
  manager.wakeHandlerIs([&] {
    ++wakes;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ++wakes;
  });
  EXPECT_EQ(manager.nextDue(), Clock::kNever);  // this thread is the loop's from here on
  double const hour = manager.clock()->now() + 3600;
  Caller const later(manager, hour, [] {});
  Caller sooner(manager, Clock::kNever, [] {});
  manager.post([] {});
  EXPECT_EQ(wakes, 0);
  manager.turn();
  EXPECT_EQ(wakesOf([&] { manager.post([] {}); }), 2);
  EXPECT_EQ(wakesOf([&] { sooner.timeMinIs(hour + 1); }), 0) << "not the first due";
  EXPECT_EQ(wakesOf([&] { sooner.timeMinIs(hour - 1); }), 2);
  wakes = 0;
  std::thread other([&] { manager.wake(); });
  while (wakes == 0) std::this_thread::yield();
  manager.wakeHandlerIs(nullptr);
  EXPECT_EQ(wakes, 2) << "it returns before it is replaced";
  manager.wake();
  EXPECT_EQ(wakes, 2);
  other.join();
}

}  // namespace
}  // namespace Orb
