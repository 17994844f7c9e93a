#pragma once

#include <cstddef>
#include <memory>

#include "platform/orb/base/Types.h"

/// Freeing what is large a little at a time, so that no turn of the event loop is long because
/// the last holder of something large let go of it.
namespace Orb {

class Clock;
namespace detail {
class Yard;
}

/// Something large that is freed a little at a time, by one thread at a time and on any.
class ROUTEPOLICY_EXPORT Garbage {
 public:
  Garbage() = default;
  Garbage(Garbage const&) = delete;
  Garbage& operator=(Garbage const&) = delete;
  /// Frees at once whatever freeSome() has not freed.
  virtual ~Garbage();

  /// Frees about `count` objects; false when nothing is left. Must not throw. May call reap().
  virtual bool freeSome(std::size_t count) = 0;

 private:
  friend class detail::Yard;
  std::unique_ptr<Garbage> next_;  // what waits behind it
};

/// Takes the garbage over; null does nothing. Allocates nothing, but at the first use. Any thread.
/// The loop of the current activity manager frees it in slices, on its thread, the oldest piece
/// first.
///
/// Where no loop turns, garbage does not grow without bound: once more than kMaxUnturned pieces
/// came and wait, and there was no turn meanwhile, each further call frees the oldest pieces
/// itself, whole, unless it is made within a turn. At the end of the process what waits is freed,
/// before the static objects that were made before the first use of the reaper or the loop; what
/// comes later is freed at once.
ROUTEPOLICY_EXPORT void reap(std::unique_ptr<Garbage> garbage);
inline constexpr std::size_t kMaxUnturned = 64;

/// How many pieces wait or are being freed. Any thread.
ROUTEPOLICY_EXPORT std::size_t pendingGarbage();

/// Frees all that waits at once, what it leads to included: for tests and for shutting down. Any
/// thread; a piece that another thread is freeing is left to it.
ROUTEPOLICY_EXPORT void reapAll();

namespace detail {

/// Makes the allocator join freed memory that it has set aside with its neighbours. The GNU one
/// does that for all small blocks at once when it is next asked for a large one: after a million
/// blocks that takes more than ten milliseconds, in whatever asked. To be called after every few
/// hundred, at the same cost altogether.
ROUTEPOLICY_EXPORT void settleHeap() noexcept;

/// Notes that the loop turns without freeing anything: garbage is still left to it.
void loopTurns();

/// Whether there is something to take up; what another thread is freeing is not.
bool garbageWaits();

/// The event loop's slice: frees garbage until the time of the clock is `until`, but at least a
/// little.
void reapUntil(Clock const& clock, double until);

}  // namespace detail
}  // namespace Orb
