#include "platform/regex/detail/Spelling.h"

#include <array>
#include <bit>

#include "platform/regex/detail/SequenceTable.h"

/// From a regular expression over digits to a set of numbers.
///
/// The expression becomes an automaton over digits, of at most 64 positions and so many sets of
/// them as occur. For each of its states and each number of digits that are left, the number of
/// texts that it accepts is counted. Numbers are then gone through in ascending order, the leading
/// digit first: where all texts are accepted that may follow, they are one interval; where none is,
/// there is nothing to look for. So the work is proportional to the number of intervals.
namespace Routing::AsPath::detail {

using Orb::U32;
using Orb::U64;

namespace {

constexpr unsigned kMostDigits = 10;  // of a 32-bit number
constexpr unsigned kPositions = 64;

constexpr auto kPowers = [] {
  std::array<U64, kMostDigits + 1> powers{};
  powers[0] = 1;
  for (unsigned i = 1; i <= kMostDigits; ++i) powers[i] = powers[i - 1] * 10;
  return powers;
}();

/// Takes numbers in ascending order.
class Numbers {
 public:
  Numbers(U32 most, std::size_t place, Memory memory) : most_(most), place_(place), set_(memory) {}

  /// Whether all numbers with these leading digits and so many behind them are too large.
  bool isPassed(U64 prefix, std::size_t left) const { return prefix * kPowers[left] > most_; }
  /// REQUIRES: `low` is not too large.
  void add(U64 low, U64 high) {
    appendInterval(set_, {static_cast<U32>(low), static_cast<U32>(std::min<U64>(high, most_))});
    if (set_.size() > kMaxIntervals) refuse(place_, "it spells too many ranges of AS numbers");
  }
  NumberSet take() {
    if (set_.empty()) {
      refuse(place_, most_ == kMaxNumber
                         ? "it spells no AS number: these end at 4294967295, and begin with no 0"
                         : "each half of an AS number ends at 65535");
    }
    return std::move(set_);
  }

 private:
  U32 const most_;
  std::size_t const place_;
  NumberSet set_;
};

/// Items that are single digits: no need for an automaton.
class PlainSpelling {
 public:
  PlainSpelling(std::span<DigitMask const> masks, Numbers& out)
      : masks_(masks), anyFrom_(masks.size()), out_(out) {
    while (anyFrom_ > 1 && masks[anyFrom_ - 1] == kAllDigits) --anyFrom_;
    if (!masks.empty()) add(0, 0);
  }

 private:
  void add(std::size_t at, U64 prefix) {
    std::size_t const left = masks_.size() - at;
    if (out_.isPassed(prefix, left)) return;
    if (at >= anyFrom_) {
      return out_.add(prefix * kPowers[left], (prefix + 1) * kPowers[left] - 1);
    }
    bool const mayBeZero = at > 0 || left == 1;
    for (unsigned digits = masks_[at] & (mayBeZero ? ~0U : ~1U); digits != 0;
         digits &= digits - 1) {
      add(at + 1, prefix * 10 + static_cast<unsigned>(std::countr_zero(digits)));
    }
  }

  std::span<DigitMask const> const masks_;
  std::size_t anyFrom_;  // from here on, but not from the first, each digit is any
  Numbers& out_;
};

class DigitAutomaton {
 public:
  DigitAutomaton(PatternTree const& tree, std::span<NodeId const> items, Budget& budget)
      : tree_(tree),
        place_(tree.placeOf(items.front())),
        keys_(tree.memory()),
        states_(tree.memory()) {
    Part whole{.isNullable = true};
    for (NodeId const item : items) whole = chained(whole, part(item));
    if (whole.isNullable) refuse(place_, "it may spell nothing at all");
    first_ = whole.first;
    last_ = whole.last;
    count(budget);
  }

  void addNumbers(Numbers& out) const {
    for (unsigned length = 1; length <= kMostDigits; ++length) addNumbers(0, length, 0, out, true);
  }

 private:
  /// A part of the expression: the positions that it may begin and end with.
  struct Part {
    U64 first = 0;
    U64 last = 0;
    bool isNullable = false;
  };
  struct State {
    U64 next = 0;  // the positions that may come next
    bool isAccepting = false;
    std::array<std::size_t, 10> to{};
    std::array<U64, kMostDigits + 1> texts{};  // by how many digits they have
  };
  static constexpr std::size_t kDead = ~std::size_t{0};

  template <class Visit>
  static void forBits(U64 bits, Visit const& visit) {
    for (; bits != 0; bits &= bits - 1) visit(static_cast<unsigned>(std::countr_zero(bits)));
  }

  Part chained(Part const& a, Part const& b) {
    forBits(a.last, [&](unsigned position) { follow_[position] |= b.first; });
    return {a.first | (a.isNullable ? b.first : 0), b.last | (b.isNullable ? a.last : 0),
            a.isNullable && b.isNullable};
  }

  Part part(NodeId id) {
    Node const& node = tree_[id];
    Part result{.isNullable = node.kind == NodeKind::sequence};
    if (node.kind == NodeKind::digit) {
      if (size_ == kPositions) refuse(place_, "the spelling is too long");
      masks_[size_] = node.digits;
      result.first = result.last = U64{1} << size_++;
    } else if (node.kind == NodeKind::repeat) {
      return repeated(node);
    } else if (node.kind == NodeKind::sequence) {
      tree_.forChildren(id, [&](NodeId child) { result = chained(result, part(child)); });
    } else {
      tree_.forChildren(id, [&](NodeId child) {
        Part const branch = part(child);
        result = {result.first | branch.first, result.last | branch.last,
                  result.isNullable || branch.isNullable};
      });
    }
    return result;
  }

  /// Behind the digits of the longest number one repetition more makes no difference.
  Part repeated(Node const& node) {
    U32 const least = std::min(node.min, U32{kMostDigits + 1});
    bool const isUnbounded = node.max > kMostDigits;
    U32 const most = isUnbounded ? std::max(least, U32{1}) : node.max;
    Part all{.isNullable = true};
    for (U32 i = 1; i <= most; ++i) {
      Part one = part(node.firstChild);
      if (isUnbounded && i == most) chained(one, one);
      if (i > least) one.isNullable = true;
      all = chained(all, one);
    }
    return all;
  }

  std::size_t stateOf(U64 next, bool isAccepting) {
    std::array<U32, 3> const key{static_cast<U32>(next), static_cast<U32>(next >> 32),
                                 isAccepting ? 1U : 0U};
    auto const [id, isNew] = keys_.add(key);
    if (isNew) states_.push_back({.next = next, .isAccepting = isAccepting});
    return id;
  }

  void count(Budget& budget) {
    stateOf(first_, false);
    // NOLINTNEXTLINE(modernize-loop-convert): states are added meanwhile
    for (std::size_t at = 0; at < states_.size(); ++at) {
      budget.spend(16U + static_cast<unsigned>(std::popcount(states_[at].next)));
      for (unsigned digit = 0; digit < 10; ++digit) {
        U64 next = 0;
        bool isAccepting = false;
        bool isAlive = false;
        forBits(states_[at].next, [&](unsigned position) {
          if ((masks_[position] >> digit & 1U) == 0) return;
          isAlive = true;
          next |= follow_[position];
          isAccepting = isAccepting || (last_ >> position & 1U) != 0;
        });
        std::size_t const to = isAlive ? stateOf(next, isAccepting) : kDead;
        states_[at].to[digit] = to;
      }
    }
    for (State& state : states_) state.texts[0] = state.isAccepting ? 1 : 0;
    for (unsigned left = 1; left <= kMostDigits; ++left) {
      for (State& state : states_) {
        for (std::size_t const to : state.to) {
          if (to != kDead) state.texts[left] += states_[to].texts[left - 1];
        }
      }
    }
  }

  void addNumbers(std::size_t at, unsigned left, U64 prefix, Numbers& out, bool isFirst) const {
    State const& state = states_[at];
    if (state.texts[left] == 0 || out.isPassed(prefix, left)) return;
    if (!isFirst && state.texts[left] == kPowers[left]) {
      return out.add(prefix * kPowers[left], (prefix + 1) * kPowers[left] - 1);
    }
    unsigned const lowest = isFirst && left > 1 ? 1 : 0;
    for (unsigned digit = lowest; digit < 10; ++digit) {
      if (state.to[digit] == kDead) continue;
      addNumbers(state.to[digit], left - 1, prefix * 10 + digit, out, false);
    }
  }

  PatternTree const& tree_;
  std::size_t const place_;
  std::array<DigitMask, kPositions> masks_{};
  std::array<U64, kPositions> follow_{};
  unsigned size_ = 0;
  U64 first_ = 0;
  U64 last_ = 0;
  SequenceTable keys_;  // of the states
  std::pmr::vector<State> states_;
};

/// Whether it is [0-9]+, by far the most frequent repetition.
bool isAnyNumber(PatternTree const& tree, Node const& node) {
  if (node.kind != NodeKind::repeat || node.min != 1 || node.max != kUnbounded) return false;
  Node const& digit = tree[node.firstChild];
  return digit.kind == NodeKind::digit && digit.digits == kAllDigits;
}

}  // namespace

NumberSet numbersSpelled(PatternTree const& tree, std::span<NodeId const> items, U32 most,
                         Budget& budget) {
  if (items.size() == 1 && isAnyNumber(tree, tree[items.front()])) {
    return NumberSet({{0, most}}, tree.memory());
  }
  Numbers out(most, tree.placeOf(items.front()), tree.memory());
  std::array<DigitMask, kMostDigits> masks{};
  bool isPlain = items.size() <= masks.size();
  for (std::size_t i = 0; isPlain && i < items.size(); ++i) {
    isPlain = tree[items[i]].kind == NodeKind::digit;
    masks[i] = tree[items[i]].digits;
  }
  if (isPlain) {
    PlainSpelling(std::span(masks).first(items.size()), out);
  } else {
    DigitAutomaton(tree, items, budget).addNumbers(out);
  }
  return out.take();
}

}  // namespace Routing::AsPath::detail
