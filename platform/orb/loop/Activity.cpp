#include "platform/orb/loop/Activity.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "platform/orb/base/Error.h"
#include "platform/orb/loop/ActivityLock.h"
#include "platform/orb/loop/Reaper.h"

// The queue. Armed notifiees stand in a binary heap by (due, order), where order counts the
// requests; posted work stands in a first-in-first-out queue with an order from the same count.
//
// 1. A callback is taken out of its queue before it runs, and the loop touches neither it nor its
//    notifiee afterwards: a callback may destroy, arm, attach and replace what it likes.
// 2. A turn serves requests older than itself only: those with an order below the count at its
//    start. What is asked for in a turn waits for the next one, also when time stands still.
// 3. `due` is never before the moment of the request. So whoever asks for "at once" again and
//    again stands behind all that were due before, and starves nobody.
// 4. Of a due notifiee and posted work the one with the lower order goes first.
// 5. Between two callbacks the queues are whole: an exception may leave a turn there.

namespace Orb {
namespace {

constexpr double kReapShare = 0.05;    // of the quantum and for each piece of garbage, ...
constexpr double kMaxReapShare = 0.5;  // ... up to this, when callbacks leave no time

thread_local unsigned turnDepth = 0;

std::atomic<ActivityManager*> scoped{nullptr};

struct InTurn {
  InTurn() noexcept { ++turnDepth; }
  ~InTurn() { --turnDepth; }
};

}  // namespace

// The clock

Clock::~Clock() = default;

double Clock::monotonicSeconds() noexcept {
  using Seconds = std::chrono::duration<double>;
  return std::chrono::duration_cast<Seconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

void Clock::attach() {
  if (heap_.capacity() <= attached_) heap_.reserve(2 * attached_ + 4);
  ++attached_;
}

void Clock::timeSourceIs(TimeSource source) {
  std::vector<Armed> inOrder = heap_;  // the heap itself keeps its room
  timeSource_ = std::move(source);
  // Requests of the past are due now, and stay in their order; all are younger than a turn that
  // may be running, whose times are those of the old source.
  std::sort(inOrder.begin(), inOrder.end(),
            [](Armed const& a, Armed const& b) { return a.before(b); });
  heap_.clear();
  for (Armed const& armed : inOrder) armed.notifiee->place_ = Notifiee::kNotArmed;
  for (Armed const& armed : inOrder) arm(*armed.notifiee, armed.notifiee->timeMin_);
}

void Clock::arm(Notifiee& notifiee, double timeMin) {
  Armed const armed{std::max(timeMin, now()), nextOrder_++, &notifiee};
  std::size_t place = notifiee.place_;
  if (place == Notifiee::kNotArmed) {
    place = heap_.size();
    heap_.push_back(armed);
    siftUp(place, armed);
  } else if (armed.before(heap_[place])) {
    siftUp(place, armed);
  } else {
    siftDown(place, armed);
  }
  if (notifiee.place_ == 0 && manager_) manager_->workArrived();
}

void Clock::disarm(Notifiee& notifiee) noexcept {
  std::size_t const place = std::exchange(notifiee.place_, Notifiee::kNotArmed);
  if (place == Notifiee::kNotArmed) return;
  Armed const last = heap_.back();
  heap_.pop_back();
  if (place == heap_.size()) return;  // it was the last one itself
  if (last.before(heap_[place])) {
    siftUp(place, last);
  } else {
    siftDown(place, last);
  }
}

void Clock::placeIs(std::size_t place, Armed const& armed) noexcept {
  heap_[place] = armed;
  armed.notifiee->place_ = place;
}

void Clock::siftUp(std::size_t place, Armed const& armed) noexcept {
  while (place > 0) {
    std::size_t const parent = (place - 1) / 2;
    if (!armed.before(heap_[parent])) break;
    placeIs(place, heap_[parent]);
    place = parent;
  }
  placeIs(place, armed);
}

void Clock::siftDown(std::size_t place, Armed const& armed) noexcept {
  for (;;) {
    std::size_t child = 2 * place + 1;
    if (child >= heap_.size()) break;
    if (child + 1 < heap_.size() && heap_[child + 1].before(heap_[child])) ++child;
    if (!heap_[child].before(armed)) break;
    placeIs(place, heap_[child]);
    place = child;
  }
  placeIs(place, armed);
}

Clock::Notifiee::Notifiee(Ptr<Clock> clock) : clock_(std::move(clock)) {
  if (clock_) clock_->attach();
}

Clock::Notifiee::~Notifiee() {
  if (!clock_) return;
  clock_->disarm(*this);
  clock_->detach();
}

void Clock::Notifiee::clockIs(Ptr<Clock> clock) {
  if (clock == clock_) return;
  if (clock) clock->attach();  // may throw, and changes nothing then
  if (clock_) {
    clock_->disarm(*this);
    clock_->detach();
  }
  clock_ = std::move(clock);
  if (clock_ && timeMin_ != kNever) clock_->arm(*this, timeMin_);
}

void Clock::Notifiee::timeMinIs(double timeMin) {
  if (std::isnan(timeMin)) {
    throw RangeException("Orb::Clock::Notifiee::timeMin that is not a number not allowed");
  }
  if (timeMin == timeMin_) return;
  if (clock_ && timeMin == kNever) clock_->disarm(*this);
  if (clock_ && timeMin != kNever)
    clock_->arm(*this, timeMin);  // may throw, and changes nothing then
  timeMin_ = timeMin;
}

// The loop

ActivityManager& ActivityManager::current() {
  if (ActivityManager* manager = scoped.load(std::memory_order_acquire)) return *manager;
  // Never destroyed, on purpose: static objects may hold notifiees and threads may post work.
  static ActivityManager& theManager = *new ActivityManager;
  return theManager;
}

bool ActivityManager::inTurn() noexcept { return turnDepth != 0; }

ActivityManager::ActivityManager() : clock_(make<Clock>()) { clock_->manager_ = this; }

ActivityManager::~ActivityManager() {
  ActivityLockAnchor const lock;
  clock_->manager_ = nullptr;  // notifiees may hold the clock longer
}

void ActivityManager::quantumIs(double seconds) {
  if (!(seconds >= 0)) {
    throw RangeException("Orb::ActivityManager::quantum negative or not a number not allowed");
  }
  quantum_ = seconds;
}

std::size_t ActivityManager::turn() {
  ActivityLockAnchor const lock;
  loopThread_.store(std::this_thread::get_id(), std::memory_order_relaxed);
  return serve();
}

std::size_t ActivityManager::serve() {
  InTurn const marked;
  takePosted();
  U64 const end = clock_->nextOrder_;  // the requests of this turn are those before it
  double const start = clock_->now();
  double now = start;
  std::size_t served = 0;
  for (;;) {
    bool const timed = !clock_->heap_.empty() && clock_->heap_.front().due <= start &&
                       clock_->heap_.front().order < end;
    bool const posted = !ready_.empty() && ready_.front().order < end;
    if (!timed && !posted) break;
    if (served != 0 && now - start >= quantum_) break;
    serveOne(posted && (!timed || ready_.front().order < clock_->heap_.front().order));
    ++served;
    now = clock_->now();
  }
  if (std::size_t const pieces = pendingGarbage(); pieces != 0 && this == &current()) {
    // The share grows with the pieces that wait, so that they become fewer in the end.
    double const share = std::min(kReapShare * static_cast<double>(pieces), kMaxReapShare);
    Detail::reapUntil(*clock_, std::max(start + quantum_, now + share * quantum_));
  }
  return served;
}

void ActivityManager::serveOne(bool posted) {
  if (posted) {
    std::function<void()> const work = std::move(ready_.front().work);
    ready_.pop_front();
    work();
  } else {
    Clock::Notifiee& notifiee = *clock_->heap_.front().notifiee;
    clock_->disarm(notifiee);
    notifiee.timeMin_ = Clock::kNever;
    notifiee.onTime();  // it may be gone after this
  }
}

double ActivityManager::nextDue() {
  ActivityLockAnchor const lock;
  loopThread_.store(std::this_thread::get_id(), std::memory_order_relaxed);
  return nextDueHeld();
}

double ActivityManager::nextDueHeld() {
  takePosted();
  if (!ready_.empty() || (Detail::garbageWaits() && this == &current())) return Clock::kNextTurn;
  return clock_->nextDue();
}

void ActivityManager::takePosted() {
  std::lock_guard const guard(mutex_);
  for (auto& work : incoming_) ready_.push_back({clock_->nextOrder_++, std::move(work)});
  incoming_.clear();
}

void ActivityManager::run() {
  ActivityUnlockAnchor const unlocked;  // the caller's holds; a turn takes its own
  loopThread_.store(std::this_thread::get_id(), std::memory_order_relaxed);
  for (;;) {
    {
      std::lock_guard const guard(mutex_);
      if (std::exchange(stopped_, false)) return;
      woken_ = false;  // what was handed over before this is seen by the turn
    }
    double due = Clock::kNever;
    {
      ActivityLockAnchor const lock;
      serve();
      due = nextDueHeld();
    }
    if (due > Clock::kNextTurn) sleepUntil(due);
  }
}

void ActivityManager::sleepUntil(double due) {
  constexpr double kLongest = 3600;  // seconds; far below what the system's timers overflow at
  double const left = due - clock_->now();
  if (left <= 0) return;
  std::unique_lock guard(mutex_);
  changed_.wait_for(guard, std::chrono::duration<double>(std::min(left, kLongest)),
                    [this] { return woken_ || stopped_; });
}

void ActivityManager::stop() {
  std::lock_guard const guard(mutex_);
  stopped_ = true;
  changed_.notify_all();
}

void ActivityManager::post(std::function<void()> work) {
  ORB_ASSERT(work != nullptr);
  bool first = false;
  {
    std::lock_guard const guard(mutex_);
    first = incoming_.empty();  // else the loop is woken already
    incoming_.push_back(std::move(work));
  }
  if (first) workArrived();
}

void ActivityManager::wakeHandlerIs(std::function<void()> handler) {
  std::lock_guard const guard(handlerMutex_);
  wakeHandler_.swap(handler);
}

void ActivityManager::wake() {
  {
    std::lock_guard const guard(mutex_);
    woken_ = true;
    changed_.notify_all();
  }
  std::lock_guard const guard(handlerMutex_);
  if (wakeHandler_) wakeHandler_();
}

void ActivityManager::workArrived() {
  if (loopThread_.load(std::memory_order_relaxed) != std::this_thread::get_id()) wake();
}

ActivityManager::Scope::Scope(ActivityManager& manager) noexcept
    : before_(scoped.exchange(&manager, std::memory_order_acq_rel)) {}

ActivityManager::Scope::~Scope() { scoped.store(before_, std::memory_order_release); }

}  // namespace Orb
