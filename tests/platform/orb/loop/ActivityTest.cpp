#include "platform/orb/loop/Activity.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <future>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/orb/base/Error.h"
#include "platform/orb/loop/ActivityLock.h"

namespace Orb {
namespace {

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
/// destroy each other and themselves; and beside them a plain list of the requests, which says at
/// each call what has to be called.
class Requests : public testing::Test {
 protected:
  static constexpr int kCallers = 30;  // posted work has the numbers from here on
  struct Request {
    double due;
    int order;
    int number;
  };

  std::unique_ptr<Caller>& caller(int number) {
    return callers_.at(static_cast<std::size_t>(number));
  }
  int below(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }

  /// What is to be called next in the turn, or -1.
  int next() const {
    Request const* best[2] = {};  // notifiee and work
    for (Request const& r : requests_) {
      if (r.order >= end_ || r.due > start_) continue;
      Request const*& b = best[r.number >= kCallers];
      if (!b || std::pair(r.due, r.order) < std::pair(b->due, b->order)) b = &r;
    }
    if (!best[0] || !best[1]) return best[0] ? best[0]->number : best[1] ? best[1]->number : -1;
    return best[best[1]->order < best[0]->order]->number;
  }
  void called(int number) {
    ASSERT_EQ(number, next());
    ASSERT_TRUE(isFirst_ || now_ < limit_);
    isFirst_ = false;
    forget(number);
    ASSERT_TRUE(number >= kCallers || caller(number)->timeMin() == Clock::kNever);
    for (int n = below(3); n > 0; --n) change();
    if (below(9) == 0) checkDue();
    now_ += below(2);
    ASSERT_TRUE(ActivityManager::inTurn() && activityLock().held());
    ActivityUnlockAnchor const unlocked;
    if (below(9) == 0) throw std::runtime_error("goes to the caller, and loses nothing");
  }
  void turn() {
    takePosted();
    start_ = now_;
    end_ = orders_;
    limit_ = start_ + std::min(manager_.startLimit(), manager_.quantum());
    isFirst_ = true;
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
    takePosted();
    double due = Clock::kNever;
    for (Request const& r : requests_) due = std::min(due, r.due);
    ASSERT_EQ(manager_.nextDue(), due);
  }

  void forget(int number) {
    std::erase_if(requests_, [&](Request const& r) { return r.number == number; });
  }
  void takePosted() {
    for (int const work : std::exchange(posted_, {})) requests_.push_back({0, orders_++, work});
  }
  /// A caller has made a request, in place of an older one, or taken it back.
  void asked(int number) {
    forget(number);
    Caller const* const one = caller(number).get();
    if (!one || !one->clock() || one->timeMin() == Clock::kNever) return;
    requests_.push_back({std::max(one->timeMin(), now_), orders_++, number});
  }
  void change() {
    int const number = below(kCallers);
    auto& one = caller(number);
    int const what = below(40);
    if (what == 0) {  // another time, which may be in the past
      now_ -= below(9);
      manager_.clock()->timeSourceIs([this] { return now_; });
      std::sort(requests_.begin(), requests_.end(), [](Request const& a, Request const& b) {
        return std::pair(a.due, a.order) < std::pair(b.due, b.order);
      });
      for (Request const& r : std::exchange(requests_, {})) {
        r.number < kCallers ? asked(r.number) : requests_.push_back(r);
      }
    } else if (what < 8) {
      posted_.push_back(kCallers + works_);
      manager_.post([this, work = kCallers + works_++] { called(work); });
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
  std::array<std::unique_ptr<Caller>, kCallers> callers_;
  std::vector<Request> requests_;
  std::vector<int> posted_;  // not taken over yet
  int orders_ = 0;
  int works_ = 0;
  int thrown_ = 0;
  double start_ = 0;  // of the turn
  double limit_ = 0;
  int end_ = 0;
  bool isFirst_ = true;
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

TEST(Activity, ANotifieeMayOutliveTheManagerOfItsClock) {
  ActivityManager manager;
  auto other = std::make_unique<ActivityManager>();
  Caller a(*other, Clock::kNever, [] {});
  other.reset();
  a.timeMinIs(Clock::kNextTurn);
  a.clockIs(manager.clock());
  EXPECT_EQ(manager.turn(), 1U);
}

TEST(ThreadsActivity, ARunSleepsUntilANotifieeIsDueAndReturnsAtAStopHoweverEarly) {
  ActivityManager manager;
  manager.stop();
  manager.run();
  double const due = manager.clock()->now() + 0.005;
  Caller const stopper(manager, due, [&] { manager.stop(); });
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

TEST(ThreadsActivity, TheWakeHandlerIsCalledForWorkOfOtherThreadsWhileItIsSet) {
  ActivityManager manager;
  std::string wakes;
  auto const wakesOf = [&](auto const& work) {
    wakes.clear();
    std::thread(work).join();
    return wakes;
  };
  auto const wake = [&] { manager.wake(); };
  manager.wakeHandlerIs([&] { wakes += 'a'; });
  EXPECT_EQ(manager.nextDue(), Clock::kNever);  // this thread is the loop's from here on
  double const hour = manager.clock()->now() + 3600;
  Caller const later(manager, hour, [] {});
  Caller sooner(manager, Clock::kNever, [] {});
  manager.post([] {});
  EXPECT_EQ(wakes, "");
  manager.turn();
  EXPECT_EQ(wakesOf([&] { manager.post([] {}); }), "a");
  EXPECT_EQ(wakesOf([&] { sooner.timeMinIs(hour + 1); }), "") << "not the first due";
  EXPECT_EQ(wakesOf([&] { sooner.timeMinIs(hour - 1); }), "a");
  manager.wakeHandlerIs([&] { wakes += 'b'; });
  EXPECT_EQ(wakesOf(wake), "b");
  manager.wakeHandlerIs(nullptr);
  EXPECT_EQ(wakesOf(wake), "");

  std::promise<void> begun;
  bool returned = false;
  manager.wakeHandlerIs([&] {
    begun.set_value();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    returned = true;
  });
  std::thread other(wake);
  begun.get_future().wait();
  manager.wakeHandlerIs(nullptr);
  EXPECT_TRUE(returned) << "before it is replaced";
  other.join();
}

}  // namespace
}  // namespace Orb
