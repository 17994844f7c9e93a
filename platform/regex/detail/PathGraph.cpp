#include "platform/regex/detail/PathGraph.h"

#include <algorithm>

namespace Routing::AsPath::detail {

using Orb::U32;

namespace {

/// How many items of a pattern are looked at, copies counted: those without a place of a number
/// cost no position and no edge.
constexpr Orb::U64 kMaxVisits = 50'000;

}  // namespace

class PathGraph::Builder {
 public:
  Builder(PathGraph& graph, PathPattern const& pattern)
      : graph_(graph),
        pattern_(pattern),
        memory_(graph.positions_.get_allocator().resource()),
        setOf_(pattern.sets().size(), kUnused, memory_),
        choices_(pattern.size(), memory_) {}

  Part part(NodeId id) {
    using Item = PathPattern::Kind;
    budget_.spend(1);
    auto const& item = pattern_[id];
    switch (item.kind) {
      case Item::number:
        return position(Kind::number, graphSet(item.set));
      case Item::begin:
        return position(Kind::begin, 0);
      case Item::end:
        return position(Kind::end, 0);
      case Item::separator:
      case Item::blank:
        return Part(memory_, true);
      case Item::sequence:
        return sequence(id);
      case Item::choice:
        return choice(id);
      case Item::repeat:
      default:
        return repeated(item);
    }
  }

 private:
  static constexpr U32 kUnused = ~U32{0};
  static constexpr U32 kNoSet = kUnused - 1;

  /// A set of the pattern becomes one of the graph when a position takes it: what no position takes
  /// must not cut the alphabet.
  U32 graphSet(U32 set) {
    if (setOf_[set] == kUnused) setOf_[set] = graph_.addSet(pattern_.sets()[set]);
    return setOf_[set];
  }

  Part position(Kind kind, U32 set) {
    if (graph_.positions_.size() >= graph_.limits_.positions) {
      refuse(0, "the pattern has too many places");
    }
    auto const id = static_cast<U32>(graph_.positions_.size());
    auto const pattern = static_cast<U32>(graph_.patterns_.size());
    graph_.positions_.push_back({.kind = kind, .set = set, .pattern = pattern});
    Part part(memory_);
    part.first.push_back(id);
    part.last.push_back(id);
    return part;
  }

  void connect(Part const& a, Part const& b) {
    std::size_t const edges = a.last.size() * b.first.size();
    if (edges > graph_.limits_.edges - graph_.unsorted_.size()) {
      refuse(0, "the pattern is too complex");
    }
    for (U32 const from : a.last) {
      for (U32 const to : b.first) graph_.unsorted_.push_back({from, to});
    }
  }

  static void append(std::pmr::vector<U32>& to, std::pmr::vector<U32> const& from) {
    to.insert(to.end(), from.begin(), from.end());
  }

  /// `a`, and behind it `b`.
  void chain(Part& a, Part&& b) {
    if (a.isNullable && a.first.empty()) {
      a = std::move(b);
      return;
    }
    connect(a, b);
    if (a.isNullable) append(a.first, b.first);
    if (b.isNullable) {
      append(a.last, b.last);
    } else {
      a.last = std::move(b.last);
    }
    a.isNullable = a.isNullable && b.isNullable;
  }

  Part sequence(NodeId id) {
    Part all(memory_, true);
    pattern_.forChildren(id, [&](NodeId child) { chain(all, part(child)); });
    return all;
  }

  /// Numbers to choose from are one position. A repeated choice is copied: what it chooses from is
  /// found and united once.
  Part choice(NodeId id) {
    NodeId const only = pattern_[id].firstChild;
    if (pattern_[only].nextSibling == kNoNode) return part(only);
    Part all(memory_);
    Choice& found = choices_[id];
    bool const isNew = found.set == kUnused;
    std::pmr::vector<U32> sets(memory_);
    bool hasNumber = false;
    pattern_.forChildren(id, [&](NodeId child) {
      budget_.spend(1);
      if (isNew) choices_[child].isOneNumber = collectNumbers(child, sets);
      if (choices_[child].isOneNumber) {
        hasNumber = true;
        return;
      }
      Part const branch = part(child);
      append(all.first, branch.first);
      append(all.last, branch.last);
      all.isNullable = all.isNullable || branch.isNullable;
    });
    if (isNew) found.set = sets.empty() ? kNoSet : united(sets);
    if (!hasNumber) return all;
    Part const numbers = position(Kind::number, found.set);
    append(all.first, numbers.first);
    append(all.last, numbers.last);
    return all;
  }

  U32 united(std::span<U32 const> sets) {
    if (sets.size() == 1) return graphSet(sets.front());
    NumberSet all(memory_);
    for (U32 const one : sets) {
      NumberSet const& numbers = pattern_.sets()[one];
      all.insert(all.end(), numbers.begin(), numbers.end());
    }
    normalise(all);
    return graph_.addSet(std::move(all));
  }

  /// Whether an item is one number, whichever; appends the sets that it is chosen from.
  bool collectNumbers(NodeId id, std::pmr::vector<U32>& sets) {
    budget_.spend(1);
    auto const& item = pattern_[id];
    using Item = PathPattern::Kind;
    if (item.kind == Item::number) {
      sets.push_back(item.set);
      return true;
    }
    if (item.kind != Item::sequence && item.kind != Item::choice) return false;
    std::size_t const before = sets.size();
    std::size_t numbers = 0;
    bool isOne = true;
    pattern_.forChildren(id, [&](NodeId child) {
      Item const kind = pattern_[child].kind;
      if (kind == Item::separator || kind == Item::blank) return;
      isOne = isOne && collectNumbers(child, sets);
      ++numbers;
    });
    if (isOne && numbers > 0 && (item.kind == Item::choice || numbers == 1)) return true;
    sets.resize(before);
    return false;
  }

  Part repeated(PathPattern::Item const& item) {
    bool const isUnbounded = item.max == kUnbounded;
    U32 const most = isUnbounded ? std::max(item.min, U32{1}) : item.max;
    Part all(memory_, true);
    for (U32 i = 1; i <= most; ++i) {
      Part one = part(item.firstChild);
      if (isUnbounded && i == most) connect(one, one);
      if (i > item.min) one.isNullable = true;
      chain(all, std::move(one));
    }
    return all;
  }

  PathGraph& graph_;
  PathPattern const& pattern_;
  Memory memory_;
  std::pmr::vector<U32> setOf_;  // the graph's set, by the pattern's
  struct Choice {
    U32 set = kUnused;         // of a choice: what it chooses from, united
    bool isOneNumber = false;  // of an alternative
  };
  std::pmr::vector<Choice> choices_;  // by item
  Budget budget_{kMaxVisits};
};

U32 PathGraph::addSet(NumberSet set) {
  intervals_ += set.size();
  if (intervals_ > limits_.intervals) refuse(0, "too many ranges of AS numbers");
  sets_.push_back(std::move(set));
  return static_cast<U32>(sets_.size() - 1);
}

void PathGraph::add(PathPattern const& pattern, Origins origins) {
  Part const whole = Builder(*this, pattern).part(pattern.root());
  patterns_.push_back({origins, whole.isNullable});
  for (U32 const position : whole.first) {
    positions_[position].isFirst = true;
    first_.push_back(position);
  }
  for (U32 const position : whole.last) positions_[position].isLast = true;
}

void PathGraph::finish() {
  ends_.assign(positions_.size() + 1, 0);
  for (Edge const& edge : unsorted_) ++ends_[edge.from + 1];
  for (std::size_t i = 1; i < ends_.size(); ++i) ends_[i] += ends_[i - 1];
  edges_.resize(unsorted_.size());
  std::pmr::vector<std::size_t> at(ends_.begin(), ends_.end() - 1, ends_.get_allocator());
  for (Edge const& edge : unsorted_) edges_[at[edge.from]++] = edge.to;
  // Each position's edges, ascending and without doubles.
  std::size_t kept = 0;
  for (std::size_t i = 0; i + 1 < ends_.size(); ++i) {
    auto const begin = edges_.begin() + static_cast<std::ptrdiff_t>(ends_[i]);
    auto const end = edges_.begin() + static_cast<std::ptrdiff_t>(ends_[i + 1]);
    std::sort(begin, end);
    auto const unique = std::unique(begin, end);
    ends_[i] = kept;
    for (auto edge = begin; edge != unique; ++edge) edges_[kept++] = *edge;
  }
  ends_.back() = kept;
  edges_.resize(kept);
  unsorted_.clear();
  unsorted_.shrink_to_fit();
}

}  // namespace Routing::AsPath::detail
