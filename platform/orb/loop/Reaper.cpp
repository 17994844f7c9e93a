#include "platform/orb/loop/Reaper.h"

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <utility>

#include "platform/orb/loop/Activity.h"

// Garbage waits in one queue of the process, which links the pieces themselves: to leave garbage,
// to take a piece out and to put it back allocates nothing, so that no piece is lost, nor freed all
// at once, because memory has run out.

namespace Orb {

/// What waits. A piece leaves the queue while it is being freed, and the count when it is gone.
class detail::Yard {
 public:
  using Piece = std::unique_ptr<Garbage>;

  std::size_t pending() const noexcept { return pending_.load(std::memory_order_acquire); }

  /// Puts a piece at the end; whether it is alone there, so that the loop is to be woken.
  bool add(Piece piece) {
    std::lock_guard const guard(mutex_);
    Garbage* const last = piece.get();
    (first_ ? last_->next_ : first_) = std::move(piece);
    last_ = last;
    ++waiting_;
    ++unturned_;
    pending_.fetch_add(1, std::memory_order_acq_rel);
    return waiting_ == 1;
  }

  bool hasWaiting() const {
    std::lock_guard const guard(mutex_);
    return first_ != nullptr;
  }

  /// Takes the oldest piece out; null when none waits.
  Piece take() {
    std::lock_guard const guard(mutex_);
    if (!first_) return nullptr;
    Piece piece = std::move(first_);
    first_ = std::move(piece->next_);
    --waiting_;
    return piece;
  }

  /// Puts a piece that is not done back to the front.
  void putBack(Piece piece) {
    std::lock_guard const guard(mutex_);
    if (!first_) last_ = piece.get();
    piece->next_ = std::move(first_);
    first_ = std::move(piece);
    ++waiting_;
  }

  /// A piece that take() gave is all gone.
  void gone() noexcept { pending_.fetch_sub(1, std::memory_order_acq_rel); }

  void loopTurns() noexcept { unturned_ = 0; }

  /// Whether garbage collects because nothing turns the loop.
  bool overflows() const {
    std::lock_guard const guard(mutex_);
    return unturned_ > kMaxUnturned && waiting_ > kMaxUnturned;
  }

  bool closed() const noexcept { return closed_.load(std::memory_order_acquire); }
  void close() noexcept { closed_.store(true, std::memory_order_release); }

 private:
  mutable std::mutex mutex_;  // guards the queue, down to waiting_
  Piece first_;
  Garbage* last_ = nullptr;  // when there is a first
  std::size_t waiting_ = 0;
  std::atomic<std::size_t> unturned_{0};  // pieces added since the loop last turned
  std::atomic<std::size_t> pending_{0};
  std::atomic<bool> closed_{false};
};

namespace {

using detail::Yard;
using Piece = Yard::Piece;

// Objects freed between two looks at the clock: some ten microseconds at a usual cost of fifty to
// a hundred nanoseconds each.
constexpr std::size_t kStep = 256;

Yard& yard() {
  // Never destroyed, on purpose: garbage may come until the very end. What frees it at exit is an
  // object of its own. It is made at the first use, so that static objects which are older, and
  // which garbage may refer to, are still there.
  static Yard& theYard = *new Yard;
  struct AtExit {
    ~AtExit() {
      theYard.close();
      reapAll();
    }
  };
  static AtExit const atExit;
  return theYard;
}

/// This thread is freeing whole pieces: what they lead to waits for its loop, which recursion
/// through reap() must not replace.
thread_local bool freeing = false;

void freeWhole(Yard& all, Piece piece) {
  bool const nested = std::exchange(freeing, true);
  while (piece->freeSome(kStep)) detail::settleHeap();
  piece.reset();
  freeing = nested;
  all.gone();
}

}  // namespace

Garbage::~Garbage() = default;

void reap(std::unique_ptr<Garbage> garbage) {
  if (!garbage) return;
  Yard& all = yard();
  bool const first = all.add(std::move(garbage));
  if (all.closed()) {
    if (!freeing) reapAll();
    return;
  }
  if (first) ActivityManager::current().workArrived();
  if (freeing || ActivityManager::inTurn()) return;
  while (all.overflows()) {
    if (Piece oldest = all.take()) freeWhole(all, std::move(oldest));
  }
}

std::size_t pendingGarbage() { return yard().pending(); }

void detail::settleHeap() noexcept {
  constexpr std::size_t kLarge = 2048;
  void* const volatile block = std::malloc(kLarge);  // volatile: or the pair would be left out
  std::free(block);
}

void detail::loopTurns() { yard().loopTurns(); }

bool detail::garbageWaits() { return pendingGarbage() != 0 && yard().hasWaiting(); }

void reapAll() {
  Yard& all = yard();
  while (Piece piece = all.take()) freeWhole(all, std::move(piece));
}

void detail::reapUntil(Clock const& clock, double until) {
  loopTurns();
  Yard& all = yard();
  while (Piece piece = all.take()) {
    bool more = true;
    bool late = false;
    do {
      more = piece->freeSome(kStep);
      detail::settleHeap();
      late = clock.now() >= until;
    } while (more && !late);
    if (more) {
      all.putBack(std::move(piece));
    } else {
      piece.reset();
      all.gone();
    }
    if (late) return;
  }
}

}  // namespace Orb
