#pragma once

#include <optional>

#include "platform/regex/detail/PatternTree.h"

namespace Routing::AsPath::detail {

/// A pattern over AS numbers: what the DFA engine reads a PatternTree as.
///
/// Digits that stand side by side are one number. A group of digits alone that stands beside no
/// digit is a choice of numbers, and what repeats it repeats whole numbers.
class PathPattern {
 public:
  enum class Kind : Orb::U8 {
    number,     ///< one of `set`
    separator,  ///< "_": no width
    blank,      ///< no width
    begin,
    end,
    sequence,
    choice,
    repeat,
  };
  struct Item {
    Kind kind = Kind::sequence;
    bool isAny = false;             ///< a number: any
    bool beginsWithNumber = false;  ///< a certain one, or one of a class: not ".", nor a separator
    bool endsWithNumber = false;
    bool mayBeEmpty = false;
    bool isPlain = false;  ///< a number that is spelled in decimal, without a negated class
    Orb::U32 set = 0;      ///< of a number: index into sets()
    Orb::U32 min = 0;      ///< of a repetition
    Orb::U32 max = 0;
    NodeId firstChild = kNoNode;
    NodeId nextSibling = kNoNode;
  };

  /// Throws Refused for what the DFA engine does not read, apart from its bounds of size.
  explicit PathPattern(PatternTree const& tree);

  /// Makes it the pattern of the paths read backwards.
  void mirror();
  /// Whether each of its alternatives ends in "$"; begins with "^".
  bool isEndAnchored() const;
  bool isBeginAnchored() const;

  Item const& operator[](NodeId id) const noexcept { return items_[id]; }
  NodeId root() const noexcept { return root_; }  ///< a choice
  std::size_t size() const noexcept { return items_.size(); }
  std::pmr::vector<NumberSet> const& sets() const noexcept { return sets_; }

  template <class Visit>
  void forChildren(NodeId id, Visit const& visit) const {
    for (NodeId child = items_[id].firstChild; child != kNoNode;
         child = items_[child].nextSibling) {
      visit(child);
    }
  }

 private:
  class Reader;

  std::pmr::vector<Item> items_;
  std::pmr::vector<NumberSet> sets_;
  std::size_t intervals_ = 0;
  NodeId root_ = kNoNode;
};

}  // namespace Routing::AsPath::detail
