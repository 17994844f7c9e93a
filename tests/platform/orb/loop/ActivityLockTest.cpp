#include "platform/orb/loop/ActivityLock.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace Orb {
namespace {

TEST(ActivityLock, AnUnlockAnchorLetsGoOfEveryHoldAndTakesAsManyBack) {
  ActivityLock lock;
  { ActivityUnlockAnchor const nothing(lock); }
  EXPECT_FALSE(lock.held());
  EXPECT_DEATH(lock.unlock(), "assertion failed: held");

  ActivityLockAnchor const one(lock);
  {
    ActivityLockAnchor const two(lock);
    try {
      ActivityUnlockAnchor const unlocked(lock);
      EXPECT_FALSE(lock.held());
      ActivityUnlockAnchor const nested(lock);
      ActivityLockAnchor const again(lock);
      throw std::runtime_error("leave");
    } catch (std::runtime_error const&) {
      EXPECT_TRUE(lock.held());
    }
  }
  EXPECT_TRUE(lock.held());
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
        { ActivityUnlockAnchor const unlocked(lock); }
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

}  // namespace
}  // namespace Orb
