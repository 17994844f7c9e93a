#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "platform/orb/containers/detail/SlotRun.h"

namespace Orb::detail {

/// The buckets of a large map: each begins a chain of the slots whose tags lead to it. Their number
/// changes by a few at a time, which is called linear hashing.
///
/// A tag is read from its highest bit on, since multiplication leaves the best bits there:
/// reversed, it leads with n buckets, 2^k < n <= 2^(k+1), to the bucket that its lowest k + 1 bits
/// give, or its lowest k bits where there is no such bucket yet. So bucket n comes to be by
/// splitting the bucket that differs from it in the highest bit, and goes by joining that again; no
/// other chain changes. Buckets are stored in segments, so none of them ever moves. They are made
/// and removed in batches: the slots of a batch can be fetched into the cache together.
///
/// Where `at` is asked for, it gives the slot of a link.
class SlotBuckets {
 public:
  static constexpr U32 kBatch = 32;
  static constexpr std::size_t kLeast = 1024;

  /// At least so many.
  explicit SlotBuckets(std::size_t count) {
    count = std::max((count + kBatch - 1) / kBatch * kBatch, kLeast);
    while (segments_.size() * kSegment < count) addSegment();
    count_ = static_cast<U32>(count);
    mask_ = std::bit_ceil(count_) - 1;
    for (std::size_t i = 0; i < count; ++i) bucket(i) = 0;
  }

  std::size_t count() const noexcept { return count_; }
  /// Where the chain of a tag begins.
  SlotLink& head(U32 tag) noexcept {
    U32 const low = reversed(tag) & mask_;
    return bucket(low < count_ ? low : low & (mask_ >> 1));
  }

  /// Makes a batch more, if there is memory for it: a map works with few buckets, too.
  template <class At>
  void split(At const& at) noexcept {
    if (count_ == segments_.size() * kSegment && !mayAddSegment()) return;
    U32 const half = std::bit_floor(count_);
    U32 const bit = U32{1} << (31 - std::countr_zero(half));
    SlotLink* const old = &bucket(count_ - half);
    SlotLink* const fresh = &bucket(count_);
    fetch(old, at);
    for (std::size_t i = 0; i < kBatch; ++i) {
      SlotLink* stay = &old[i];
      SlotLink* go = &fresh[i];
      for (SlotLink link = *stay; link != 0;) {
        auto& slot = at(link);
        SlotLink*& end = (slot.tag & bit) != 0 ? go : stay;
        *end = link;
        end = &slot.next;
        link = slot.next;
      }
      *stay = 0;
      *go = 0;
    }
    count_ += kBatch;
    mask_ = std::bit_ceil(count_) - 1;
  }
  /// Makes a batch less. REQUIRES: more than kLeast are left.
  template <class At>
  void join(At const& at) noexcept {
    count_ -= kBatch;
    mask_ = std::bit_ceil(count_) - 1;
    SlotLink* const into = &bucket(count_ - std::bit_floor(count_));
    SlotLink* const from = &bucket(count_);
    fetch(from, at);
    for (std::size_t i = 0; i < kBatch; ++i) {
      if (from[i] == 0) continue;
      SlotLink* end = &from[i];
      while (*end != 0) end = &at(*end).next;
      *end = std::exchange(into[i], from[i]);
    }
    if (count_ % kSegment == 0) segments_.pop_back();
  }

  /// Frees some of the memory; false when nothing is left. REQUIRES: nothing else is called from
  /// then on.
  bool freeSome() noexcept {
    if (!segments_.empty()) segments_.pop_back();
    return !segments_.empty();
  }

 private:
  static constexpr std::size_t kSegment = 16384;

  SlotLink& bucket(std::size_t i) noexcept { return segments_[i / kSegment][i % kSegment]; }
  static U32 reversed(U32 bits) noexcept {
    bits = (bits >> 1 & 0x55555555) | (bits & 0x55555555) << 1;
    bits = (bits >> 2 & 0x33333333) | (bits & 0x33333333) << 2;
    bits = (bits >> 4 & 0x0f0f0f0f) | (bits & 0x0f0f0f0f) << 4;
    return __builtin_bswap32(bits);
  }
  /// Fetches what the buckets of a batch begin with into the cache. Inlined always, because
  /// compilers take a function that only fetches for one without effect, and drop the call.
  template <class At>
  [[gnu::always_inline]] static void fetch(SlotLink const* batch, At const& at) noexcept {
    for (std::size_t i = 0; i < kBatch; ++i) {
      if (batch[i] != 0) __builtin_prefetch(&at(batch[i]));
    }
  }
  void addSegment() { segments_.push_back(std::make_unique_for_overwrite<SlotLink[]>(kSegment)); }
  bool mayAddSegment() noexcept {
    try {
      addSegment();
      return true;
    } catch (std::bad_alloc const&) {
      return false;
    }
  }

  std::vector<std::unique_ptr<SlotLink[]>> segments_;
  U32 count_;
  U32 mask_;  // the lowest k + 1 bits
};

}  // namespace Orb::detail
