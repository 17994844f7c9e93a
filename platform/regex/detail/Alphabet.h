#pragma once

#include "platform/regex/detail/Budget.h"
#include "platform/regex/detail/SequenceTable.h"

namespace Routing::AsPath::detail {

/// The alphabet of an automaton: the AS numbers, cut at the limits of the sets that the patterns
/// name. Numbers that lie in the same sets are of one class. Nothing is enumerated.
class Alphabet {
 public:
  Alphabet(std::pmr::vector<NumberSet> const& sets, Budget& budget);

  /// Where each interval but the first starts, ascending; the first starts at 0.
  std::pmr::vector<Orb::U32> const& starts() const noexcept { return starts_; }
  /// The class of each interval.
  std::pmr::vector<Orb::U32> const& classOf() const noexcept { return classOf_; }
  std::size_t classes() const noexcept { return members_.size(); }
  /// The classes that a set is made of.
  std::span<Orb::U32 const> classesOf(Orb::U32 set) const {
    return std::span(setClasses_).subspan(setEnds_[set], setEnds_[set + 1] - setEnds_[set]);
  }

 private:
  void gatherClasses(std::size_t sets);

  std::pmr::vector<Orb::U32> starts_;
  std::pmr::vector<Orb::U32> classOf_;
  SequenceTable members_;  // the sets that each class lies in
  std::pmr::vector<Orb::U32> setClasses_;
  std::pmr::vector<std::size_t> setEnds_;
};

}  // namespace Routing::AsPath::detail
