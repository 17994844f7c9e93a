#include "platform/orb/loop/ActivityLock.h"

#include "platform/orb/base/Error.h"

// The lock is handed over: a thread that releases it makes the first in the queue its owner, under
// the mutex, and wakes that thread alone. So the queue is first come first served, and a thread in
// a loop of unlock and lock starves no other.

namespace Orb {

void ActivityLock::lock() {
  if (held()) {
    ++depth_;
  } else {
    take(1);
  }
}

void ActivityLock::unlock() {
  ORB_ASSERT(held());
  if (--depth_ == 0) release();
}

U32 ActivityLock::unlockAll() {
  if (!held()) return 0;
  U32 const depth = depth_;
  release();
  return depth;
}

void ActivityLock::relock(U32 depth) {
  if (depth == 0) return;
  ORB_ASSERT(!held());
  take(depth);
}

std::size_t ActivityLock::waiting() const {
  std::lock_guard const guard(mutex_);
  std::size_t count = 0;
  for (Waiter const* waiter = first_; waiter; waiter = waiter->next) ++count;
  return count;
}

void ActivityLock::take(U32 depth) {
  std::unique_lock guard(mutex_);
  if (owner_.load(std::memory_order_relaxed) == std::thread::id()) {
    owner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
  } else {
    Waiter me;
    me.thread = std::this_thread::get_id();
    (first_ ? last_->next : first_) = &me;
    last_ = &me;
    me.granted.wait(guard, [&me] { return me.mayGo; });
  }
  depth_ = depth;
}

void ActivityLock::release() {
  std::lock_guard const guard(mutex_);
  Waiter* const next = first_;
  if (!next) {
    owner_.store(std::thread::id(), std::memory_order_relaxed);
    return;
  }
  first_ = next->next;
  owner_.store(next->thread, std::memory_order_relaxed);
  next->mayGo = true;
  // Under the mutex: the waiter, which owns the condition, cannot leave before this has returned.
  next->granted.notify_one();
}

ActivityLock& activityLock() {
  // Never destroyed, on purpose: threads and static objects may use it until the very end.
  static ActivityLock& lock = *new ActivityLock;
  return lock;
}

}  // namespace Orb
