#pragma once

#include <cstddef>
#include <memory>

#include "platform/orb/Types.h"

/// Freeing what is large a little at a time, so that no turn of the event loop is long because
/// the last holder of something large let go of it.
namespace Orb {

/// Something large that is freed a little at a time.
class ROUTEPOLICY_EXPORT Garbage {
 public:
  Garbage() = default;
  Garbage(Garbage const&) = delete;
  Garbage& operator=(Garbage const&) = delete;
  /// Frees at once whatever freeSome() has not freed.
  virtual ~Garbage();

  /// Frees about `count` objects; false when nothing is left. Must not throw. May call reap().
  virtual bool freeSome(std::size_t count) = 0;
};

/// Takes the garbage over; null does nothing. Any thread. The event loop of the current activity
/// manager frees it in slices, on its thread.
ROUTEPOLICY_EXPORT void reap(std::unique_ptr<Garbage> garbage);

/// How many pieces wait or are being freed. Any thread.
ROUTEPOLICY_EXPORT std::size_t pendingGarbage();

/// Frees all that waits at once, what it leads to included: for tests and for shutting down.
ROUTEPOLICY_EXPORT void reapAll();

}  // namespace Orb
