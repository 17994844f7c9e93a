#pragma once

#include <algorithm>
#include <cstddef>
#include <memory_resource>
#include <vector>

#include "platform/orb/base/Types.h"

namespace Routing::AsPath::detail {

/// AS numbers from `low` to `high`, both included.
struct Interval {
  Orb::U32 low = 0;
  Orb::U32 high = 0;

  friend bool operator==(Interval const&, Interval const&) = default;
};

inline constexpr Orb::U32 kMaxNumber = ~Orb::U32{0};

/// The memory of everything that lives only while a pattern is compiled.
using Memory = std::pmr::memory_resource*;

/// A set of AS numbers. Normal form: intervals ascend, and at least one number lies between two of
/// them, so that equal sets are equal lists.
using NumberSet = std::pmr::vector<Interval>;

/// Appends an interval that starts behind all others, in normal form.
inline void appendInterval(NumberSet& set, Interval interval) {
  if (!set.empty() && set.back().high + Orb::U64{1} >= interval.low) {
    set.back().high = std::max(set.back().high, interval.high);
  } else {
    set.push_back(interval);
  }
}

/// Brings intervals in any order into normal form.
inline void normalise(NumberSet& set) {
  std::sort(set.begin(), set.end(), [](auto const& a, auto const& b) { return a.low < b.low; });
  NumberSet merged(set.get_allocator());
  merged.reserve(set.size());
  for (Interval const& interval : set) appendInterval(merged, interval);
  set = std::move(merged);
}

/// All numbers that are not in the set, which is in normal form.
inline NumberSet complementOf(NumberSet const& set) {
  NumberSet rest(set.get_allocator());
  Orb::U64 next = 0;
  for (Interval const& interval : set) {
    if (interval.low > next) rest.push_back({static_cast<Orb::U32>(next), interval.low - 1});
    next = Orb::U64{interval.high} + 1;
  }
  if (next <= kMaxNumber) rest.push_back({static_cast<Orb::U32>(next), kMaxNumber});
  return rest;
}

}  // namespace Routing::AsPath::detail
