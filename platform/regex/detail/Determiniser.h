#pragma once

#include <array>

#include "platform/regex/detail/Alphabet.h"
#include "platform/regex/detail/PathGraph.h"

/// From a graph of positions to an automaton: the subset construction, over many patterns at once.
///
/// A state stands for what the numbers read so far mean for the rest of the path:
///   1. `best`: for each class of origins, the first pattern that matches already, whatever
///   follows.
///      Patterns behind the best of all classes are of no interest any more.
///   2. The positions that may come next, apart from those that any pattern can begin with: these
///      may come next everywhere, since a pattern matches anywhere in the path.
///   3. `answer`: `best`, and what matches if the path ends here.
/// 1 and 2 decide where the next number leads: they are the key of a row of the table, which states
/// that differ in their answers alone share. So a list of a thousand patterns for a path's last
/// number has a thousand states and one row.
namespace Routing::AsPath::detail {

class Determiniser {
 public:
  using Answer = std::array<Orb::U32, kOriginClasses>;  ///< a pattern or PathSet::kNone, each
  static constexpr Orb::U32 kSettled = ~Orb::U32{0};
  struct State {
    Orb::U32 row;  ///< or kSettled: whatever follows, the answer stays
    Answer answer;
  };

  /// `graph` and `alphabet` must outlive this. `cellSize`: the bytes that an entry of the table is
  /// going to take; no table beyond kMaxBytes is built, and no more than kMaxStates states.
  Determiniser(PathGraph const& graph, Alphabet const& alphabet, std::size_t cellSize,
               Budget& budget);

  bool isDone() const noexcept { return filled_ == rowKeys_.size(); }
  /// Fills one more row of the table. Throws Refused beyond the bounds.
  void step();

  /// State 0 is the one before the first number.
  std::pmr::vector<State> const& states() const noexcept { return states_; }
  std::size_t rows() const noexcept { return rowKeys_.size(); }
  /// The states that a row leads to, by class.
  std::span<Orb::U32 const> row(std::size_t row) const {
    return std::span(table_).subspan(row * classes_, classes_);
  }

 private:
  using Positions = std::pmr::vector<Orb::U32>;

  Orb::U32 limitOf(Answer const& best) const;
  void reach(Answer& best, Orb::U32 pattern) const;
  void findAnchorsToMatch();
  void addStart();
  Orb::U32 stateOf(Answer const& best, std::span<Orb::U32 const> reached);
  Orb::U32 addState(Answer const& best, Positions& next, Answer answer);
  bool canGoOn(Answer const& best, Positions const& next) const;
  Answer atEnd(Answer answer) const;
  void take(Positions& next, Orb::U32 position, Orb::U32 limit);

  PathGraph const& graph_;
  Alphabet const& alphabet_;
  std::size_t const classes_;
  std::size_t const maxRows_;
  Budget& budget_;
  Memory memory_;
  std::pmr::vector<bool> endsAtEnd_;      // by position: an anchor leads to a match at the end
  std::pmr::vector<bool> endsWhenEmpty_;  // the same, of a path without numbers
  Positions firstNumbers_;
  Answer endOfFirst_;          // what matches at the end of any path by patterns that begin there
  SequenceTable reachedKeys_;  // best, and the positions of the last number
  std::pmr::vector<Orb::U32> reachedState_;
  SequenceTable rowKeys_;    // best, and the positions that may come next
  SequenceTable stateKeys_;  // row and answer
  std::pmr::vector<State> states_;
  std::pmr::vector<Orb::U32> table_;
  std::size_t filled_ = 0;
  Positions takenFor_;                     // by position: for which state it was taken last
  Orb::U32 takings_ = 0;                   // so many states have taken positions
  Positions next_;                         // scratch
  std::pmr::vector<Positions> reachedBy_;  // scratch of step(): by class
  Positions key_;                          // scratch
};

}  // namespace Routing::AsPath::detail
