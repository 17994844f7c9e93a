#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <limits>
#include <list>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/orb/base/Ptr.h"
#include "platform/orb/base/Types.h"

/// The event loop and its clock: everything that changes configuration or status runs as a
/// callback of one loop, on one thread, under the activity lock (ActivityLock.h).
///
/// Threads: a clock and its notifiees are guarded by the activity lock. A thread other than the
/// loop's takes it to arm, attach or destroy a notifiee. now(), post(), wake(), stop() and
/// wakeHandlerIs() are for any thread, with or without the lock.
namespace Orb {

class ActivityManager;

/// Gives the time, and calls notifiees back at the times they ask for. Times are in seconds since
/// some moment in the past, as now() gives them.
class ROUTEPOLICY_EXPORT Clock : public RefCounted {
 public:
  class Notifiee;
  using TimeSource = std::function<double()>;

  /// The times of a notifiee with a meaning of their own: the next turn of the loop, and never.
  static constexpr double kNextTurn = 0.0;
  static constexpr double kNever = std::numeric_limits<double>::infinity();

  Clock() = default;

  /// The time, read afresh; it never goes back.
  double now() const { return timeSource_ ? timeSource_() : monotonicSeconds(); }
  /// Replaces the source of now(); null puts back the system's monotonic clock. Times that are set
  /// keep their numbers and their order. REQUIRES: the source does not throw, and no other thread
  /// uses the clock meanwhile.
  void timeSourceIs(TimeSource source);

  /// When the first armed notifiee is due: at or before now() for at once, kNever when none is.
  double nextDue() const noexcept { return heap_.empty() ? kNever : heap_.front().due; }
  /// How many notifiees are armed.
  std::size_t armedCount() const noexcept { return heap_.size(); }

 protected:
  ~Clock() override;

 private:
  friend class ActivityManager;

  /// A notifiee in the heap. `due` is the time it asked for, but not before it asked; `order`
  /// counts the requests, and decides between those due at the same time.
  struct Armed {
    double due;
    U64 order;
    Notifiee* notifiee;

    bool before(Armed const& other) const noexcept {
      return due < other.due || (due == other.due && order < other.order);
    }
  };

  static double monotonicSeconds() noexcept;
  /// Makes room in the heap for one more notifiee: to arm an attached one needs no memory.
  void attach();
  void detach() noexcept { --attached_; }
  void arm(Notifiee& notifiee, double timeMin);
  void disarm(Notifiee& notifiee) noexcept;
  void placeIs(std::size_t place, Armed const& armed) noexcept;
  void siftUp(std::size_t place, Armed const& armed) noexcept;
  void siftDown(std::size_t place, Armed const& armed) noexcept;

  TimeSource timeSource_;
  std::vector<Armed> heap_;   // binary, the first due on top; each notifiee knows its place
  std::size_t attached_ = 0;  // notifiees; never more than the heap has room for
  U64 nextOrder_ = 0;
  ActivityManager* manager_ = nullptr;  // to be woken; null once it is gone
};

/// Is called back by a clock. Destroying one is safe at any time: in its own callback, and in that
/// of another which is due in the same turn. To attach one takes memory; to arm it takes none.
class ROUTEPOLICY_EXPORT Clock::Notifiee {
 public:
  /// Attached to the clock, or to none while it is null.
  explicit Notifiee(Ptr<Clock> clock = nullptr);
  Notifiee(Notifiee const&) = delete;
  Notifiee& operator=(Notifiee const&) = delete;
  virtual ~Notifiee();

  Ptr<Clock> const& clock() const noexcept { return clock_; }
  /// Moves to another clock, or to none; timeMin is kept, and waits while there is no clock. When
  /// this throws, nothing has changed.
  void clockIs(Ptr<Clock> clock);

  double timeMin() const noexcept { return timeMin_; }
  /// When onTime() is to be called: kNextTurn (0.0; so is any time that has passed), kNever (at
  /// first), or a time in the base of now(). Setting the value that it has changes nothing, the
  /// place in the queue included. A time that is not a number raises the range exception. When this
  /// throws, nothing has changed.
  void timeMinIs(double timeMin);

  /// The time has come. timeMin is kNever again, so that a time set in here is a new request: at
  /// the earliest the next turn serves it.
  virtual void onTime() = 0;

 private:
  friend class Clock;
  friend class ActivityManager;
  static constexpr std::size_t kNotArmed = static_cast<std::size_t>(-1);

  Ptr<Clock> clock_;
  double timeMin_ = kNever;
  std::size_t place_ = kNotArmed;
};

/// The event loop. It is driven by itself, run() until stop(); or by a host's own loop, which
/// calls turn() when nextDue() has come or the wake handler was called. One thread drives it.
class ROUTEPOLICY_EXPORT ActivityManager {
 public:
  class Scope;

  /// The one of the process: that of the innermost Scope, else one that lives as long as the
  /// process. Any thread.
  static ActivityManager& current();
  /// Whether the calling thread is in a turn, of whichever manager.
  static bool inTurn() noexcept;

  ActivityManager();
  ActivityManager(ActivityManager const&) = delete;
  ActivityManager& operator=(ActivityManager const&) = delete;
  /// Posted work that did not run is dropped. REQUIRES: no turn is running.
  ~ActivityManager();

  Ptr<Clock> const& clock() const noexcept { return clock_; }

  /// The budget of a turn in seconds, 0.01 at first: how long it may go on to free garbage, and how
  /// long one callback should take at most. A negative one, or one that is not a number, raises the
  /// range exception.
  double quantum() const noexcept { return quantum_; }
  void quantumIs(double seconds);
  /// The part of the quantum in seconds, 0.0005 at first, after which a turn starts no further
  /// callback: a turn takes no longer than this and its last callback. Checked like the quantum.
  double startLimit() const noexcept { return startLimit_; }
  void startLimitIs(double seconds);

  /// Runs what is due, posted work included, in the order in which it fell due, under the activity
  /// lock: until the start limit, but at least one callback; the rest waits for the next turn, and
  /// is first there. What callbacks ask for waits for the next turn, too. When all is served, frees
  /// garbage (Reaper.h) for what is left of the quantum. While callbacks leave nothing of it,
  /// garbage has turns of its own, which run no callback: a twentieth of the time that callbacks
  /// take for each piece that waits, and at most as much time as they. Returns the number of
  /// callbacks. What one throws ends them, and goes to the caller.
  std::size_t turn();

  /// When turn() is to be called again: at or before clock()->now() (0.0 included) for at once,
  /// Clock::kNever while there is nothing to wait for. Waits for the activity lock.
  double nextDue();

  /// Turns, and sleeps when nothing is due, until stop(). It lets go of the activity lock,
  /// however often its caller took it, between turns.
  void run();
  /// Makes run() return after the turn that it is in; the next run() when none is running.
  void stop();

  /// Runs the work once, in a coming turn, in order of posting; between notifiees it has the place
  /// of one that asked for the next turn when the loop took the work over, at the start of a turn.
  /// When this throws, nothing has changed. REQUIRES: it is not null.
  void post(std::function<void()> work);

  /// Is called, on the thread that did it, when a thread other than the loop's posts work, arms a
  /// notifiee that becomes the first due, leaves garbage or calls wake(). It is to wake the host's
  /// loop and return: it must not throw, call the manager nor wait for the activity lock. May be
  /// called once for several such events and without need. The old one has returned when this
  /// returns, and is not called again.
  void wakeHandlerIs(std::function<void()> handler);
  /// Makes a sleeping run() look again what is due; calls the wake handler.
  void wake();

  /// Wakes the loop, unless the calling thread is the loop's: for whatever hands it work.
  void workArrived();

 private:
  struct Posted {
    U64 order;  // in the clock's count, as the notifiees have it; given at the start of a turn
    std::function<void()> work;
  };

  std::size_t serve();
  bool serveRequests(double start, std::size_t& served);
  void serveOne(bool posted);
  void endTurn(double start, bool done);
  double owedQuantum() const noexcept;
  double nextDueHeld();
  void takePosted();
  void sleepUntil(double due);

  Ptr<Clock> const clock_;  // guarded by the activity lock, like all down to ready_
  double quantum_ = 0.01;
  double startLimit_ = 0.0005;
  double owed_ = 0;  // seconds of freeing that turns have put off
  std::list<Posted> ready_;

  std::atomic<std::thread::id> loopThread_{{}};  // the thread that drives; none before it does

  std::mutex mutex_;  // guards all down to stopped_; taken last
  std::condition_variable changed_;
  std::list<Posted> incoming_;
  bool woken_ = false;
  bool stopped_ = false;

  std::mutex handlerMutex_;  // guards and covers the calls of wakeHandler_; taken last
  std::function<void()> wakeHandler_;
};

/// Makes a manager the current one for a scope: for tests, and for hosts with a loop of their own.
/// REQUIRES: scopes end in the reverse order of their beginning.
class ROUTEPOLICY_EXPORT ActivityManager::Scope {
 public:
  explicit Scope(ActivityManager& manager) noexcept;
  ~Scope();
  Scope(Scope const&) = delete;
  Scope& operator=(Scope const&) = delete;

 private:
  ActivityManager* const before_;
};

/// Leads the calls of a clock to a member function of the object that holds this.
template <auto handler>
class ClockRelay;

template <class Target, void (Target::*handler)()>
class ClockRelay<handler> final : public Clock::Notifiee {
 public:
  explicit ClockRelay(Target& target, Ptr<Clock> clock = ActivityManager::current().clock())
      : Notifiee(std::move(clock)), target_(target) {}
  void onTime() override { (target_.*handler)(); }

 private:
  Target& target_;
};

}  // namespace Orb
