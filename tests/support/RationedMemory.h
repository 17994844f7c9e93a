#pragma once

#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>

// What rations the memory of a test; any file of a program may include it, as long as one of them
// includes ScarceMemory.h, which makes it true.

namespace TestSupport {

constexpr long kPlenty = std::numeric_limits<long>::max();
inline thread_local long grantedAllocations = kPlenty;
inline thread_local long failingAllocations = kPlenty;

/// While it lives, `granted` more allocations of this thread succeed, and so many after them fail:
/// all, unless a number is given.
struct ScarceMemory {
  explicit ScarceMemory(long granted, long failing = kPlenty) {
    grantedAllocations = failing != 0 ? granted : kPlenty;
    failingAllocations = failing;
  }
  ScarceMemory(ScarceMemory const&) = delete;
  ScarceMemory& operator=(ScarceMemory const&) = delete;
  ~ScarceMemory() { grantedAllocations = kPlenty; }

  /// Whether an allocation has failed, or the next one would.
  bool isSpent() const { return grantedAllocations % kPlenty == 0; }
};

/// Does it with one more allocation granted each time, until they are enough. Calls `check` each
/// time that they were not; returns how often that was.
template <class Do, class Check>
long withEverMoreMemory(Do const& act, Check const& check) {
  for (long granted = 0;; ++granted) {
    try {
      ScarceMemory const scarce(granted);
      act();
      return granted;
    } catch (std::bad_alloc const&) {
    }
    check();
  }
}

inline void* allocate(std::size_t size, std::size_t alignment = 0) noexcept {
  if (grantedAllocations == 0) {
    if (failingAllocations == kPlenty) return nullptr;
    if (--failingAllocations == 0) grantedAllocations = kPlenty;
    return nullptr;
  }
  if (grantedAllocations != kPlenty) --grantedAllocations;
  if (alignment <= alignof(std::max_align_t)) return std::malloc(size != 0 ? size : 1);
  return std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
}
inline void* allocateOrThrow(std::size_t size, std::size_t alignment = 0) {
  if (void* const memory = allocate(size, alignment)) return memory;
  throw std::bad_alloc();
}

}  // namespace TestSupport
