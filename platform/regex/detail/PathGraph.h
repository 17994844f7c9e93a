#pragma once

#include <span>

#include "platform/regex/PathSet.h"
#include "platform/regex/detail/Budget.h"
#include "platform/regex/detail/PathPattern.h"

/// Patterns as a graph of positions (Glushkov's construction): each place of a pattern that takes a
/// number, or asks for an end of the path, is a position; edges lead to what may come next.
namespace Routing::AsPath::detail {

class PathGraph {
 public:
  enum class Kind : Orb::U8 { number, begin, end };
  struct Position {
    Kind kind = Kind::number;
    bool isLast = false;   ///< the pattern matches when it is reached
    bool isFirst = false;  ///< the pattern can begin with it, anywhere in the path
    Orb::U32 set = 0;      ///< of a number
    Orb::U32 pattern = 0;
  };

  /// A graph has at most so many of these; intervals are those of the sets of its positions.
  struct Limits {
    std::size_t positions;
    std::size_t edges;
    std::size_t intervals;
  };
  PathGraph(Limits limits, Memory memory)
      : limits_(limits),
        positions_(memory),
        sets_(memory),
        first_(memory),
        patterns_(memory),
        unsorted_(memory),
        edges_(memory),
        ends_(memory) {}

  /// Adds a pattern behind the others. Throws Refused beyond the limits; the graph is of no more
  /// use then.
  void add(PathPattern const& pattern, Origins origins);
  /// To be called once, behind the last pattern.
  void finish();

  std::pmr::vector<Position> const& positions() const noexcept { return positions_; }
  std::pmr::vector<NumberSet> const& sets() const noexcept { return sets_; }
  /// The positions that a pattern can begin with.
  std::pmr::vector<Orb::U32> const& first() const noexcept { return first_; }
  /// What may come behind a position, ascending.
  std::span<Orb::U32 const> follow(Orb::U32 position) const {
    return std::span(edges_).subspan(ends_[position], ends_[position + 1] - ends_[position]);
  }
  struct Pattern {
    Origins origins = kAnyOrigin;
    bool isNullable = false;  ///< it matches every path
  };
  std::pmr::vector<Pattern> const& patterns() const noexcept { return patterns_; }

 private:
  /// The positions that a part of a pattern can begin and end with.
  struct Part {
    explicit Part(Memory memory, bool mayBeEmpty = false)
        : first(memory), last(memory), isNullable(mayBeEmpty) {}

    std::pmr::vector<Orb::U32> first;
    std::pmr::vector<Orb::U32> last;
    bool isNullable;
  };
  class Builder;

  struct Edge {
    Orb::U32 from;
    Orb::U32 to;
  };

  Orb::U32 addSet(NumberSet set);

  Limits const limits_;
  std::size_t intervals_ = 0;
  std::pmr::vector<Position> positions_;
  std::pmr::vector<NumberSet> sets_;
  std::pmr::vector<Orb::U32> first_;
  std::pmr::vector<Pattern> patterns_;
  std::pmr::vector<Edge> unsorted_;
  std::pmr::vector<Orb::U32> edges_;
  std::pmr::vector<std::size_t> ends_;  // where the edges of each position begin
};

}  // namespace Routing::AsPath::detail
