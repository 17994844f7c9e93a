#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/regex/PatternFault.h"
#include "platform/regex/detail/NumberSet.h"

/// A pattern as both engines read it first: characters, groups and repetitions. What an engine
/// makes of the tree, and what it refuses of it, is its own.
namespace Routing::AsPath::detail {

/// Thrown with the fault by everything that reads a pattern.
struct Refused {
  PatternFault fault;
};
[[noreturn]] void refuse(std::size_t place, std::string reason);

using DigitMask = Orb::U16;  ///< a set of digits, by bit
inline constexpr DigitMask kAllDigits = 0x3ff;

enum class NodeKind : Orb::U8 {
  digit,        ///< a digit of `digits`: a literal one, or a class
  numberClass,  ///< an AS number of `numbers`
  any,          ///< "."
  escapedDot,   ///< "\."
  separator,    ///< "_"
  blank,        ///< " "
  begin,        ///< "^"
  end,          ///< "$"
  character,    ///< any other character or class of characters, as `text` has it
  sequence,     ///< its children, one behind the other
  choice,       ///< one of its children
  repeat,       ///< its child, `min` to `max` times
};

using NodeId = Orb::U32;
inline constexpr NodeId kNoNode = ~NodeId{0};
inline constexpr Orb::U32 kUnbounded = ~Orb::U32{0};

struct Node {
  NodeKind kind = NodeKind::sequence;
  bool isLiteral = false;  ///< a digit that is written as such, not a class
  bool isNegated = false;  ///< a class of digits with "^"
  bool isGroup = false;    ///< a choice in parentheses
  DigitMask digits = 0;
  Orb::U32 place = 0;    ///< of its first character; of a repetition, the quantifier's
  Orb::U32 length = 0;   ///< how many characters it is, of a `character`
  Orb::U32 numbers = 0;  ///< index of the set, of a class of numbers
  Orb::U32 min = 0;
  Orb::U32 max = 0;
  NodeId firstChild = kNoNode;
  NodeId nextSibling = kNoNode;
};

class PatternTree {
 public:
  /// Patterns are at most so long, and nest groups at most so deep.
  static constexpr std::size_t kMaxLength = 4095;
  static constexpr int kMaxDepth = 50;
  /// The highest count in "{m,n}".
  static constexpr Orb::U32 kMaxCount = 255;

  /// Throws Refused for what is a pattern of neither language. The pattern must outlive the tree.
  PatternTree(std::string_view pattern, Memory memory);

  Node const& operator[](NodeId id) const noexcept { return nodes_[id]; }
  std::size_t size() const noexcept { return nodes_.size(); }
  /// A choice.
  NodeId root() const noexcept { return root_; }
  NumberSet const& numbers(Node const& node) const noexcept { return sets_[node.numbers]; }
  std::string_view text(Node const& node) const noexcept {
    return pattern_.substr(node.place, node.length);
  }
  Memory memory() const { return nodes_.get_allocator().resource(); }

  /// Calls visit(id) for each child.
  template <class Visit>
  void forChildren(NodeId id, Visit const& visit) const {
    for (NodeId child = nodes_[id].firstChild; child != kNoNode;) {
      NodeId const next = nodes_[child].nextSibling;
      visit(child);
      child = next;
    }
  }
  /// Where it starts.
  std::size_t placeOf(NodeId id) const {
    return nodes_[id].kind == NodeKind::repeat ? placeOf(nodes_[id].firstChild) : nodes_[id].place;
  }
  /// Whether there is nothing but digits in it.
  bool isDigits(NodeId id) const;

 private:
  class Reader;

  std::string_view pattern_;
  std::pmr::vector<Node> nodes_;
  std::pmr::vector<NumberSet> sets_;
  NodeId root_ = kNoNode;
};

}  // namespace Routing::AsPath::detail
