#include "platform/regex/PosixBounds.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <vector>

#include "platform/regex/detail/PosixCost.h"

namespace Routing::AsPath {

namespace {

using Orb::U32;
using Cost = detail::PosixCost<20>;

constexpr std::size_t kMaxDepth = 500;
/// Repeated parts that may take nothing, anchors included, can double the work with each node.
constexpr Orb::U64 kMaxRiskyNodes = 40;
constexpr Orb::U64 kMaxRiskyAnchors = 2;
/// Behind a backslash, anchors and back-references: they take nothing, or may.
constexpr std::string_view kAnchors = "bB<>`'123456789";

/// Reads an expression as the system's engine does, and adds up what it makes of it.
class Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}

  void read() {
    while (!rest_.empty()) readOne();
    while (open_.size() > 1) close();
    finishBranch();
    Cost const& all = *open_.back().branches;
    if (isRisky_ && (all.nodes > kMaxRiskyNodes || all.anchors > kMaxRiskyAnchors)) {
      detail::refuse(0, "it takes too long");
    }
  }

 private:
  struct Group {
    std::optional<Cost> branches;
    Cost sequence;
    Cost atom;                  // the last one: a quantifier may follow
    std::size_t atomDepth = 0;  // of what nests in it
    std::size_t depth = 0;      // the most that an atom of the group had
  };

  char take() {
    char const c = rest_.front();
    rest_.remove_prefix(1);
    return c;
  }

  void readOne() {
    switch (take()) {
      case '(':
        open_.emplace_back();
        return note(0);
      case ')':
        return open_.size() > 1 ? close() : put(Cost::ofNodes(1), 0);
      case '|':
        return finishBranch();
      case '*':
        return repeat(0, detail::kUnbounded);
      case '+':
        return repeat(1, detail::kUnbounded);
      case '?':
        return repeat(0, 1);
      case '{':
        return readCount();
      case '^':
      case '$':
        return put(Cost::ofAnchors(1, 1), 0);
      case '[':
        skipBracket();
        return put(Cost::ofNodes(1), 0);
      case '\\': {
        bool const isAnchor = !rest_.empty() && kAnchors.find(take()) != kAnchors.npos;
        return put(isAnchor ? Cost::ofAnchors(1, 1) : Cost::ofNodes(1), 0);
      }
      default:
        return put(Cost::ofNodes(1), 0);
    }
  }

  void put(Cost const& atom, std::size_t depth) {
    Group& group = open_.back();
    group.sequence.chain(group.atom);
    group.atom = atom;
    note(depth);
  }
  void note(std::size_t depth) {
    Group& group = open_.back();
    if (open_.size() + depth > kMaxDepth) detail::refuse(0, "groups and repetitions nest too deep");
    group.atomDepth = depth;
    group.depth = std::max(group.depth, depth);
  }

  void finishBranch() {
    put({}, 0);
    Group& group = open_.back();
    group.branches ? group.branches->either(group.sequence) : void(group.branches = group.sequence);
    group.sequence = {};
  }

  void close() {
    finishBranch();
    Cost all = *open_.back().branches;
    std::size_t const depth = open_.back().depth + 1;
    open_.pop_back();
    ++all.nodes;
    put(all, depth);
  }

  /// What is repeated no times is read all the same.
  void repeat(U32 min, U32 max) {
    Group& group = open_.back();
    Orb::U64 const nodes = group.atom.nodes;
    isRisky_ = isRisky_ || group.atom.isNullable;
    if (nodes > 0) group.atom = group.atom.times(min, max);
    group.atom.nodes = std::max(group.atom.nodes, nodes) + 1;
    note(group.atomDepth + 1);
  }

  /// Behind a brace: 3} or 3,} or 3,5} or ,5}; all else is no quantifier.
  void readCount() {
    std::string_view const text = rest_.substr(0, rest_.find('}'));
    std::size_t const comma = std::min(text.find(','), text.size());
    bool const isOpen = comma + 1 == text.size();
    U32 min = 0;
    U32 max = 0;
    bool const isCount = !text.empty() && text.size() < rest_.size() &&
                         readNumber(text.substr(0, comma), min) &&
                         readNumber(text.substr(std::min(comma + 1, text.size())), max);
    if (!isCount) return put(Cost::ofNodes(1), 0);
    rest_.remove_prefix(text.size() + 1);
    repeat(min, isOpen ? detail::kUnbounded : std::max(min, max));
  }
  /// Whether it is one; an empty text leaves the value as it is.
  static bool readNumber(std::string_view text, U32& value) {
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::result_out_of_range || value > kMaxCount) value = kMaxCount;
    return end == text.data() + text.size();
  }
  static constexpr U32 kMaxCount = 0x8000;  // one more than the engine takes

  void skipBracket() {
    if (rest_.starts_with('^')) take();
    if (rest_.starts_with(']')) take();
    while (!rest_.empty()) {
      char const c = take();
      if (c == ']') return;
      if (c != '[' || rest_.empty()) continue;
      char const kind = rest_.front();  // [:alpha:], [.-.] or [=a=]
      if (kind != ':' && kind != '.' && kind != '=') continue;
      char const close[] = {kind, ']'};
      std::size_t const end = rest_.find(std::string_view(close, 2), 1);
      rest_.remove_prefix(end == rest_.npos ? rest_.size() : end + 2);
    }
  }

  std::string_view rest_;
  bool isRisky_ = false;  // a part that may take nothing is repeated
  std::vector<Group> open_ = std::vector<Group>(1);
};

/// So short, and with so few operators, that there is nothing to add up.
bool isHarmless(std::string_view expression) {
  constexpr std::string_view kOperators = "*+?(\\^$";
  auto const isOperator = [&](char c) { return kOperators.find(c) != kOperators.npos; };
  return expression.size() <= 256 && expression.find('{') == expression.npos &&
         std::count_if(expression.begin(), expression.end(), isOperator) <= 6;
}

}  // namespace

bool isWithinPosixBounds(std::string_view expression) {
  if (isHarmless(expression)) return true;
  try {
    Reader(expression).read();
    return true;
  } catch (detail::Refused const&) {
    return false;
  }
}

}  // namespace Routing::AsPath
