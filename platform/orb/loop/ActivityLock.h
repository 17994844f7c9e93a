#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <thread>

#include "platform/orb/base/Types.h"

/// The lock that the event loop holds while it runs callbacks, and that any other thread takes
/// before it touches configuration, statuses or clock notifiees.
namespace Orb {

/// A fair, recursive lock: threads get it in the order in which they asked for it, and a thread
/// that lets it go while others wait cannot take it again before them.
class ROUTEPOLICY_EXPORT ActivityLock {
 public:
  ActivityLock() = default;
  ActivityLock(ActivityLock const&) = delete;
  ActivityLock& operator=(ActivityLock const&) = delete;

  /// Takes the lock, or takes it once more; waits while another thread holds it.
  void lock();
  /// Undoes one lock(). REQUIRES: held().
  void unlock();

  /// Lets go of the lock however often it was taken, and returns how often; 0, and nothing is done,
  /// when the calling thread does not hold it.
  [[nodiscard]] U32 unlockAll();
  /// Takes the lock back as unlockAll() found it; 0 does nothing. REQUIRES: not held().
  void relock(U32 depth);

  /// Whether the calling thread holds the lock.
  bool held() const noexcept {
    return owner_.load(std::memory_order_relaxed) == std::this_thread::get_id();
  }
  /// How many threads wait. Any thread; of use to tests.
  std::size_t waiting() const;

 private:
  /// A thread in the queue, on the stack of that thread.
  struct Waiter {
    std::thread::id thread;
    std::condition_variable granted;
    bool mayGo = false;
    Waiter* next = nullptr;
  };

  void take(U32 depth);
  void release();

  mutable std::mutex mutex_;                // guards all but depth_
  std::atomic<std::thread::id> owner_{{}};  // no thread's id: free, and no thread waits
  Waiter* first_ = nullptr;
  Waiter* last_ = nullptr;
  U32 depth_ = 0;  // the owner's alone
};

/// The process-wide lock. It lives as long as the process.
ROUTEPOLICY_EXPORT ActivityLock& activityLock();

/// Holds the lock for a scope.
class ActivityLockAnchor {
 public:
  explicit ActivityLockAnchor(ActivityLock& lock = activityLock()) : lock_(lock) { lock_.lock(); }
  ~ActivityLockAnchor() { lock_.unlock(); }
  ActivityLockAnchor(ActivityLockAnchor const&) = delete;
  ActivityLockAnchor& operator=(ActivityLockAnchor const&) = delete;

 private:
  ActivityLock& lock_;
};

/// Lets go of the lock for a scope, however often this thread took it, and takes it back as often
/// at the end, also when an exception ends the scope. Does nothing on a thread without the lock.
class ActivityUnlockAnchor {
 public:
  explicit ActivityUnlockAnchor(ActivityLock& lock = activityLock())
      : lock_(lock), depth_(lock.unlockAll()) {}
  ~ActivityUnlockAnchor() { lock_.relock(depth_); }
  ActivityUnlockAnchor(ActivityUnlockAnchor const&) = delete;
  ActivityUnlockAnchor& operator=(ActivityUnlockAnchor const&) = delete;

 private:
  ActivityLock& lock_;
  U32 const depth_;
};

}  // namespace Orb
