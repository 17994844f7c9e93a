#pragma once

#include "platform/regex/detail/PatternTree.h"

namespace Routing::AsPath::detail {

/// Bounds the work on a pattern: every loop over what the pattern blows up spends its rounds here.
class Budget {
 public:
  explicit Budget(Orb::U64 steps) : left_(steps) {}

  /// Begins a slice of the work that may spend so much.
  void sliceIs(Orb::U64 steps) noexcept { slice_ = steps; }
  /// Throws Refused when there is not so much left, in all or of the slice.
  void spend(Orb::U64 steps) {
    if (steps > left_ || steps > slice_) refuse(0, "the pattern is too complex");
    left_ -= steps;
    slice_ -= steps;
  }

 private:
  Orb::U64 left_;
  Orb::U64 slice_ = ~Orb::U64{0};
};

/// The bounds of an automaton.
inline constexpr std::size_t kMaxStates = 10'000;
inline constexpr std::size_t kMaxBytes = std::size_t{1} << 20;

}  // namespace Routing::AsPath::detail
