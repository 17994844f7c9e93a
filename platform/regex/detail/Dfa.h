#pragma once

#include <array>
#include <cstddef>
#include <string_view>
#include <vector>

#include "platform/regex/detail/IntervalIndex.h"

namespace Routing::AsPath::detail {

/// A compiled pattern over AS numbers: the minimal automaton of its language.
///
/// The table has a row for each state and a column for each interval of AS numbers, or each class
/// of intervals when there are many; a cell holds the place in the table at which the next state's
/// row starts. The last column of a row says whether the path may end in that state. States that
/// are never left come last, so that one comparison ends a walk early.
///
/// A pattern that is anchored at the path's end alone is compiled for the path read backwards: its
/// first numbers decide then.
class Dfa {
 public:
  /// Throws PatternFault's carrier, Refused, for a pattern that is invalid or too large.
  static Dfa compiled(std::string_view pattern);

  /// `numbers`: `count` of them, 32 bits each in host order, aligned or not.
  bool matches(void const* numbers, std::size_t count) const noexcept;

  std::size_t states() const noexcept { return cells_.size() / stride_; }
  std::size_t bytes() const noexcept;

 private:
  static constexpr std::size_t kFew = 8;  // so many limits are compared with each number

  /// Where the first number lies, and how many bytes further the next one.
  struct Numbers {
    unsigned char const* first;
    std::ptrdiff_t step;
    Orb::U32 operator[](std::size_t i) const noexcept;
  };

  using Walk = Orb::U32 (Dfa::*)(Numbers, std::size_t) const noexcept;

  Dfa() = default;
  static Walk walkFor(std::size_t limits) noexcept;
  template <std::size_t limits>
  Orb::U32 walkFew(Numbers numbers, std::size_t count) const noexcept;
  Orb::U32 walkMany(Numbers numbers, std::size_t count) const noexcept;

  // What each match reads stands together.
  Walk walk_ = nullptr;  // the one for so many limits
  std::vector<Orb::U32> cells_;
  Orb::U32 final_ = 0;  // the first place of a row that is never left
  Orb::U32 stride_ = 1;
  bool isBackward_ = false;
  std::array<Orb::U32, kFew> lasts_{};  // of each interval but the last, when these are few
  IntervalIndex intervals_;             // when they are many
  std::vector<Orb::U32> classOf_;       // by interval; empty when each is a column
};

}  // namespace Routing::AsPath::detail
