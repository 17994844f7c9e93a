#include "platform/regex/detail/PathPattern.h"

#include <utility>

#include "platform/regex/detail/Spelling.h"

namespace Routing::AsPath::detail {

using Orb::U32;
using Orb::U64;

namespace {

/// All spellings of a pattern together have at most so many intervals.
constexpr std::size_t kMaxIntervalsInAll = 32768;
constexpr U64 kSpellingSteps = 100'000;

/// HIGH.LOW for each high half and each low one.
NumberSet dotted(NumberSet const& highs, NumberSet const& lows, std::size_t place) {
  constexpr Interval kAll{0, 0xffff};
  NumberSet set(highs.get_allocator());
  for (Interval const& high : highs) {
    if (lows.size() == 1 && lows.front() == kAll) {
      appendInterval(set, {high.low << 16, high.high << 16 | 0xffff});
      continue;
    }
    for (U64 half = high.low; half <= high.high; ++half) {
      U32 const base = static_cast<U32>(half) << 16;
      for (Interval const& low : lows) appendInterval(set, {base | low.low, base | low.high});
      if (set.size() > kMaxIntervals) refuse(place, "it spells too many ranges of AS numbers");
    }
  }
  return set;
}

}  // namespace

class PathPattern::Reader {
 public:
  Reader(PathPattern& out, PatternTree const& tree) : out_(out), tree_(tree) {}

  NodeId choice(NodeId from) {
    NodeId const id = add(Kind::choice);
    Children children(out_, id);
    tree_.forChildren(from, [&](NodeId branch) {
      NodeId const child = sequence(branch);
      children.add(child);
      Item& all = out_.items_[id];
      Item const& one = out_.items_[child];
      all.beginsWithNumber = all.beginsWithNumber || one.beginsWithNumber;
      all.endsWithNumber = all.endsWithNumber || one.endsWithNumber;
      all.mayBeEmpty = all.mayBeEmpty || one.mayBeEmpty;
    });
    return id;
  }

 private:
  /// Appends children to an item.
  class Children {
   public:
    Children(PathPattern& out, NodeId parent) : out_(out), parent_(parent) {}
    void add(NodeId child) {
      (last_ == kNoNode ? out_.items_[parent_].firstChild : out_.items_[last_].nextSibling) = child;
      last_ = child;
    }

   private:
    PathPattern& out_;
    NodeId const parent_;
    NodeId last_ = kNoNode;
  };

  NodeId add(Kind kind) {
    out_.items_.push_back({.kind = kind});
    return static_cast<NodeId>(out_.items_.size() - 1);
  }

  NodeId addNumber(NumberSet set, bool isPlain, std::size_t place) {
    out_.intervals_ += set.size();
    if (out_.intervals_ > kMaxIntervalsInAll) refuse(place, "too many ranges of AS numbers");
    NodeId const id = add(Kind::number);
    out_.items_[id].isPlain = isPlain;
    out_.items_[id].beginsWithNumber = true;
    out_.items_[id].endsWithNumber = true;
    out_.items_[id].set = static_cast<U32>(out_.sets_.size());
    out_.sets_.push_back(std::move(set));
    return id;
  }

  bool isDigits(NodeId id) const { return tree_.isDigits(id); }
  /// A digit, repeated or not, but no group.
  bool isDigit(NodeId id) const {
    Node const& node = tree_[id];
    return node.kind == NodeKind::digit ||
           (node.kind == NodeKind::repeat && isDigit(node.firstChild));
  }
  bool isDot(NodeId id) const {
    return tree_[id].kind == NodeKind::any || tree_[id].kind == NodeKind::escapedDot;
  }
  bool isGroup(NodeId id) const {
    Node const& node = tree_[id];
    return node.isGroup || (node.kind == NodeKind::repeat && isGroup(node.firstChild));
  }

  NodeId sequence(NodeId from) {
    std::pmr::vector<NodeId> items(tree_.memory());
    tree_.forChildren(from, [&](NodeId child) { items.push_back(child); });
    NodeId const id = add(Kind::sequence);
    out_.items_[id].mayBeEmpty = true;
    Children children(out_, id);
    std::span<NodeId const> rest(items);
    while (!rest.empty()) {
      std::size_t taken = digitsAtFront(rest);
      bool const isOneGroup = taken == 1 && isGroup(rest.front());
      NodeId child = kNoNode;
      if (taken == 0 || isOneGroup) {
        taken = 1;
        child = item(rest.front());
      } else {
        child = number(rest, taken);
      }
      children.add(child);
      chain(out_.items_[id], out_.items_[child], tree_.placeOf(rest.front()));
      rest = rest.subspan(taken);
    }
    return id;
  }

  /// Two numbers that nothing parts would be one in the path's text.
  static void chain(Item& all, Item const& next, std::size_t place) {
    if (all.endsWithNumber && next.beginsWithNumber) {
      refuse(place, "two AS numbers need a _ between them");
    }
    all.beginsWithNumber = all.beginsWithNumber || (all.mayBeEmpty && next.beginsWithNumber);
    all.endsWithNumber = next.endsWithNumber || (all.endsWithNumber && next.mayBeEmpty);
    all.mayBeEmpty = all.mayBeEmpty && next.mayBeEmpty;
  }

  std::size_t digitsAtFront(std::span<NodeId const> items) const {
    std::size_t count = 0;
    while (count < items.size() && isDigits(items[count])) ++count;
    return count;
  }

  /// The number that the first items spell, with the digits behind a dot.
  NodeId number(std::span<NodeId const> items, std::size_t& digits) {
    std::size_t const place = tree_.placeOf(items.front());
    bool isPlain = true;
    for (NodeId const item : items.first(digits)) isPlain = isPlain && !hasNegation(item);
    auto const isDotAt = [&](std::size_t at) {
      return at + 1 < items.size() && isDot(items[at]) && isDigit(items[at - 1]) &&
             isDigit(items[at + 1]);
    };
    std::size_t const behind = isDotAt(digits) ? digitsAtFront(items.subspan(digits + 1)) : 0;
    checkLast(items[digits - 1]);
    if (behind == 0) {
      return addNumber(spelled(items.first(digits), kMaxNumber), isPlain, place);
    }
    checkLast(items[digits + behind]);
    NumberSet const highs = spelled(items.first(digits), 0xffff);
    NumberSet const lows = spelled(items.subspan(digits + 1, behind), 0xffff);
    digits += 1 + behind;
    if (isDotAt(digits)) refuse(tree_.placeOf(items[digits]), "an AS number has one dot");
    return addNumber(dotted(highs, lows, place), false, place);
  }

  NumberSet spelled(std::span<NodeId const> items, U32 most) {
    return numbersSpelled(tree_, items, most, budget_);
  }

  bool hasNegation(NodeId id) const {
    if (tree_[id].isNegated) return true;
    bool any = false;
    tree_.forChildren(id, [&](NodeId child) { any = any || hasNegation(child); });
    return any;
  }

  /// "65001+" could repeat the number, as in a pattern over numbers, or its last digit, as in the
  /// path's text.
  void checkLast(NodeId id) const {
    Node const& node = tree_[id];
    if (node.kind == NodeKind::repeat && tree_[node.firstChild].isLiteral) {
      refuse(node.place, "say what is repeated: the number, as in (65001)+, or the digit, [1]+");
    }
  }

  NodeId item(NodeId from) {
    Node const& node = tree_[from];
    switch (node.kind) {
      case NodeKind::numberClass:
        if (tree_.numbers(node).empty()) refuse(node.place, "a class without AS numbers");
        return addNumber(tree_.numbers(node), false, node.place);
      case NodeKind::any: {
        NodeId const id =
            addNumber(NumberSet({{0, kMaxNumber}}, tree_.memory()), false, node.place);
        out_.items_[id].isAny = true;
        out_.items_[id].beginsWithNumber = false;
        out_.items_[id].endsWithNumber = false;
        return id;
      }
      case NodeKind::separator:
        return add(Kind::separator);
      case NodeKind::blank:
        return add(Kind::blank);
      case NodeKind::begin:
        return add(Kind::begin);
      case NodeKind::end:
        return add(Kind::end);
      case NodeKind::choice:
        return choice(from);
      case NodeKind::repeat:
        return repeated(node);
      case NodeKind::escapedDot:
        refuse(node.place, "the dot of an AS number stands between digits");
      default:
        refuse(node.place, "not a part of an AS number");
    }
  }

  NodeId repeated(Node const& node) {
    NodeKind const kind = tree_[node.firstChild].kind;
    if (kind == NodeKind::separator || kind == NodeKind::blank) {
      refuse(node.place, "a separator is not repeated");
    }
    NodeId const child = item(node.firstChild);
    NodeId const id = add(Kind::repeat);
    out_.items_[id].min = node.min;
    out_.items_[id].max = node.max;
    out_.items_[id].firstChild = child;
    out_.items_[id].beginsWithNumber = out_.items_[child].beginsWithNumber;
    out_.items_[id].endsWithNumber = out_.items_[child].endsWithNumber;
    out_.items_[id].mayBeEmpty = node.min == 0 || out_.items_[child].mayBeEmpty;
    return id;
  }

  PathPattern& out_;
  PatternTree const& tree_;
  Budget budget_{kSpellingSteps};
};

PathPattern::PathPattern(PatternTree const& tree) : items_(tree.memory()), sets_(tree.memory()) {
  items_.reserve(16);
  root_ = Reader(*this, tree).choice(tree.root());
}

void PathPattern::mirror() {
  for (Item& item : items_) {
    if (item.kind == Kind::begin || item.kind == Kind::end) {
      item.kind = item.kind == Kind::begin ? Kind::end : Kind::begin;
    }
    if (item.kind != Kind::sequence) continue;
    NodeId reversed = kNoNode;
    for (NodeId child = item.firstChild; child != kNoNode;) {
      NodeId const next = std::exchange(items_[child].nextSibling, reversed);
      reversed = std::exchange(child, next);
    }
    item.firstChild = reversed;
  }
}

bool PathPattern::isBeginAnchored() const {
  bool all = true;
  forChildren(root_, [&](NodeId branch) {
    all = all && items_[items_[branch].firstChild].kind == Kind::begin;
  });
  return all;
}

bool PathPattern::isEndAnchored() const {
  bool all = true;
  forChildren(root_, [&](NodeId branch) {
    Kind last = Kind::sequence;
    forChildren(branch, [&](NodeId child) { last = items_[child].kind; });
    all = all && last == Kind::end;
  });
  return all;
}

}  // namespace Routing::AsPath::detail
