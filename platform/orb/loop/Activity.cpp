#include "platform/orb/loop/Activity.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>
#include <utility>

#include "platform/orb/base/Error.h"
#include "platform/orb/loop/ActivityLock.h"
#include "platform/orb/loop/Reaper.h"

// Requests wait in two queues: armed notifiees in a binary heap by (due, order), where order counts
// the requests; posted work in a list, with orders from the same count.
//
// 1. A callback is taken out of its queue before it runs, and the loop uses neither it nor its
//    notifiee afterwards: a callback may destroy, arm, attach and replace what it likes.
// 2. A turn serves requests older than itself only: those with an order below the count at its
//    start. What is asked for in a turn waits for the next one, also when time stands still.
// 3. `due` is never before the moment of the request. So whoever asks for "at once" again and
//    again comes after all that were due before, and starves nothing.
// 4. Of a due notifiee and posted work the one with the lower order goes first.
// 5. Between two callbacks the queues are whole: an exception may leave a turn there. Only a
//    request allocates; to take requests over, to serve them and to change the time source does
//    not, so no shortage of memory loses one.
//
// The length of a turn. A callback may take a whole quantum: a build works in time slices of that
// length, which begin when the slice begins. So a turn must not start one late.
//
// 6. A turn starts callbacks until the start limit has passed, and at least one. Many short ones
//    are served in bulk that way, and a long one begins early: the turn lasts at most the start
//    limit and one callback. With slices of the quantum that is 10.5 ms at first, and half a
//    millisecond to the 11 ms that a turn may take is left for what a slice overruns.
// 7. Garbage is freed until the quantum has passed, in a turn that has served all its requests
//    sooner. While requests are left, or callbacks have used the quantum up, the turn frees nothing
//    but owes: a share of the time that it took, though no more than a quantum. Once the debt has
//    come to a quantum, the next turn pays it: it is the garbage's alone and serves no request. The
//    debt stays below two quanta, so no two such turns come one after the other.
// 8. The share is a twentieth for each piece of garbage that waits, at most the whole. So while
//    callbacks leave no time, one piece gets every 21st part of it, and twenty pieces or more get
//    half: as much as the callbacks that leave them behind. To free what was made takes less time
//    than to make it, so garbage cannot grow for ever.
// 9. A callback that throws ends the serving, not the turn: garbage gets what is left. A build that
//    finds no memory, asks again and throws each time cannot keep back what would give it some.

namespace Orb {
namespace {

constexpr double kOwedShare = 0.05;  // of a turn's time, to each piece of garbage that waits
constexpr double kLeastTime = 1e-6;  // of a turn and a quantum, for the debt: neither may be 0

thread_local unsigned turnDepth = 0;

std::atomic<ActivityManager*> scoped{nullptr};

struct InTurn {
  InTurn() noexcept { ++turnDepth; }
  ~InTurn() { --turnDepth; }
};

void requireSeconds(char const* attribute, double seconds) {
  if (seconds >= 0) return;
  throw RangeException(std::string("Orb::ActivityManager::") + attribute +
                       " negative or not a number not allowed");
}

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
  timeSource_ = std::move(source);
  // Requests of the past are due now, and keep their order; all are younger than a turn that may be
  // running, whose times are those of the old source. The heap is mended where it is: there may be
  // no memory for another.
  double const time = now();
  std::sort(heap_.begin(), heap_.end(), [](Armed const& a, Armed const& b) { return a.before(b); });
  for (std::size_t i = 0; i < heap_.size(); ++i) {
    Notifiee* const notifiee = heap_[i].notifiee;
    placeIs(i, Armed{std::max(notifiee->timeMin_, time), nextOrder_++, notifiee});
  }
  for (std::size_t i = heap_.size() / 2; i > 0; --i) siftDown(i - 1, Armed(heap_[i - 1]));
  if (!heap_.empty() && manager_) manager_->workArrived();
}

void Clock::arm(Notifiee& notifiee, double timeMin) {
  Armed const armed{std::max(timeMin, now()), nextOrder_++, &notifiee};
  std::size_t place = notifiee.place_;
  if (place == Notifiee::kNotArmed) {
    place = heap_.size();
    heap_.push_back(armed);  // attach() made room for it
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
  if (clock_) timeMin == kNever ? clock_->disarm(*this) : clock_->arm(*this, timeMin);
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
  requireSeconds("quantum", seconds);
  quantum_ = seconds;
}

void ActivityManager::startLimitIs(double seconds) {
  requireSeconds("startLimit", seconds);
  startLimit_ = seconds;
}

std::size_t ActivityManager::turn() {
  ActivityLockAnchor const lock;
  loopThread_.store(std::this_thread::get_id(), std::memory_order_relaxed);
  return serve();
}

std::size_t ActivityManager::serve() {
  InTurn const marked;
  takePosted();
  double const start = clock_->now();
  bool const owns = this == &current();  // the garbage
  if (owns && owed_ >= owedQuantum() && detail::garbageWaits()) {
    owed_ -= owedQuantum();
    detail::reapUntil(*clock_, start + quantum_);
    return 0;
  }
  std::size_t served = 0;
  bool done = true;
  try {
    done = serveRequests(start, served);
  } catch (...) {
    if (owns) endTurn(start, true);
    throw;
  }
  if (owns) endTurn(start, done);
  return served;
}

double ActivityManager::owedQuantum() const noexcept { return std::max(quantum_, kLeastTime); }

bool ActivityManager::serveRequests(double start, std::size_t& served) {
  U64 const end = clock_->nextOrder_;  // the requests of this turn are those before it
  double const limit = start + std::min(startLimit_, quantum_);
  for (;;) {
    bool const timed = !clock_->heap_.empty() && clock_->heap_.front().due <= start &&
                       clock_->heap_.front().order < end;
    bool const posted = !ready_.empty() && ready_.front().order < end;
    if (!timed && !posted) return true;
    if (served != 0 && clock_->now() >= limit) return false;
    ++served;
    serveOne(posted && (!timed || ready_.front().order < clock_->heap_.front().order));
  }
}

void ActivityManager::endTurn(double start, bool done) {
  if (!detail::garbageWaits()) {
    owed_ = 0;
    return;
  }
  double const now = clock_->now();
  if (done && now < start + quantum_) {
    owed_ = 0;
    detail::reapUntil(*clock_, start + quantum_);
  } else {
    detail::loopTurns();
    double const share = std::min(kOwedShare * static_cast<double>(pendingGarbage()), 1.0);
    owed_ += std::min(share * std::max(now - start, kLeastTime), owedQuantum());
  }
}

void ActivityManager::serveOne(bool posted) {
  if (posted) {
    std::list<Posted> one;
    one.splice(one.begin(), ready_, ready_.begin());
    one.front().work();
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
  if (!ready_.empty() || (detail::garbageWaits() && this == &current())) return Clock::kNextTurn;
  return clock_->nextDue();
}

void ActivityManager::takePosted() {
  std::list<Posted> taken;
  {
    std::lock_guard const guard(mutex_);
    taken.swap(incoming_);
  }
  for (Posted& posted : taken) posted.order = clock_->nextOrder_++;
  ready_.splice(ready_.end(), taken);
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
  std::list<Posted> one;
  one.push_back({0, std::move(work)});
  bool first = false;
  {
    std::lock_guard const guard(mutex_);
    first = incoming_.empty();  // else the loop is woken already
    incoming_.splice(incoming_.end(), one);
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
