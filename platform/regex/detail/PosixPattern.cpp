#include "platform/regex/detail/PosixPattern.h"

#include <algorithm>
#include <unordered_map>

namespace Routing::AsPath::detail {

using Orb::U32;
using Orb::U64;

namespace {

constexpr char kDelimiters[] = "[ ,{}()]";
/// The copies for anchors in a loop that may take nothing grow sixfold with each "_".
constexpr U64 kMaxLoopedAnchors = 6;
constexpr std::size_t kMaxText = std::size_t{1} << 16;

/// What the system's compiler makes of a part, counted. It copies what is counted by {m,n}, keeps
/// for each node the nodes that it leads to without a character, and goes through these again and
/// again where a repeated part may take nothing. What follows an anchor it copies for that anchor:
/// where several can be passed without a character between them, for each way to pass them.
struct Cost {
  /// The anchors that can be passed at one side of a part before a character is taken.
  struct Anchors {
    U64 count = 0;
    U64 depth = 0;  // the most of them behind one another
    void add(Anchors const& more) {
      count += more.count;
      depth += more.depth;
    }
  };

  U64 nodes = 0;
  U64 first = 0;  // nodes that the part can begin with
  U64 last = 0;
  U64 edges = 0;
  U64 branches = 0;  // pairs of alternatives
  U64 emptyLoops = 0;
  U64 anchors = 0;
  U64 copies = 0;  // bytes, for what stands behind anchors
  Anchors lead{};
  Anchors tail{};
  bool hasEmptyLoopOfAnchors = false;
  bool isNullable = true;

  void noteRun(Anchors const& before, Anchors const& behind) {
    if (before.count == 0 || behind.count == 0) return;
    U64 const depth = before.depth + behind.depth;
    copies += 100 * depth * depth * depth * (before.count + behind.count);
  }

  /// `measured`: bytes a node, an edge and a pair, of the system's compiler.
  bool isTooHigh() const {
    return 500 * nodes + 36 * edges + 16 * branches + copies > 1'000'000 ||
           emptyLoops * edges > 500'000 || (hasEmptyLoopOfAnchors && anchors > kMaxLoopedAnchors);
  }
};

class Writer {
 public:
  explicit Writer(PatternTree const& tree)
      : tree_(tree), takes_(tree.size(), false, tree.memory()) {
    noteTaking(tree.root());
  }

  PosixExpression write() {
    Part const whole = part(tree_.root(), {false, false});
    return {whole.text, whole.hasLoopedAnchor};
  }

 private:
  /// Whether something that takes a character stands before and behind, whatever matches.
  struct Context {
    bool isBehind = false;
    bool isBefore = false;
  };
  struct Part {
    std::string text{};
    Cost cost{};
    bool hasAnchor = false;
    bool hasLoopedAnchor = false;
  };

  bool takesCharacter(NodeId id) const { return takes_[id]; }

  bool noteTaking(NodeId id) {
    bool const takes = isTaking(id);
    takes_[id] = takes;
    return takes;
  }
  bool isTaking(NodeId id) {
    Node const& node = tree_[id];
    bool any = false;
    bool all = true;
    tree_.forChildren(id, [&](NodeId child) {
      bool const takes = noteTaking(child);
      any = any || takes;
      all = all && takes;
    });
    switch (node.kind) {
      case NodeKind::separator:
      case NodeKind::begin:
      case NodeKind::end:
        return false;
      case NodeKind::sequence:
        return any;
      case NodeKind::choice:
        return all;
      case NodeKind::repeat:
        return any && node.min > 0;
      default:
        return true;
    }
  }

  static Part atom(std::string text, U64 nodes = 1) {
    return {.text = std::move(text),
            .cost = {.nodes = nodes, .first = nodes, .last = nodes, .isNullable = false}};
  }

  static void setAnchors(Cost& cost, U64 count) {
    cost.anchors = count;
    cost.lead = cost.tail = {count, 1};
    cost.isNullable = true;
  }

  Part part(NodeId id, Context context) {
    Node const& node = tree_[id];
    switch (node.kind) {
      case NodeKind::digit:
        return atom(node.isNegated ? std::string(tree_.text(node)) : digits(node.digits));
      case NodeKind::numberClass:
        refuse(node.place, "a class of AS numbers: the DFA engine alone reads these");
      case NodeKind::any:
        return atom(".");
      case NodeKind::escapedDot:
        return atom("\\.");
      case NodeKind::blank:
        return atom(" ");
      case NodeKind::begin:
      case NodeKind::end: {
        Part anchor = atom(node.kind == NodeKind::begin ? "^" : "$");
        setAnchors(anchor.cost, 1);
        anchor.hasAnchor = true;
        return anchor;
      }
      case NodeKind::separator:
        return separator(context);
      case NodeKind::character:
        return atom(std::string(tree_.text(node)));
      case NodeKind::sequence:
        return sequence(id, context);
      case NodeKind::choice:
        return choice(id, context);
      case NodeKind::repeat:
      default:
        return repeated(node, context);
    }
  }

  static std::string digits(DigitMask mask) {
    std::string text;
    for (int digit = 0; digit < 10; ++digit) {
      if ((mask >> digit & 1) == 0) continue;
      int end = digit;
      while (end < 9 && (mask >> (end + 1) & 1) != 0) ++end;
      text += static_cast<char>('0' + digit);
      if (end > digit + 1) text += '-';
      if (end > digit) text += static_cast<char>('0' + end);
      digit = end;
    }
    return text.size() == 1 ? text : "[" + text + "]";
  }

  static Part separator(Context context) {
    if (context.isBehind && context.isBefore) return atom(kDelimiters);
    std::string text = "(";
    if (!context.isBehind) text += "^|";
    text += kDelimiters;
    if (!context.isBefore) text += "|$";
    Part part = atom(text += ")", 3);
    setAnchors(part.cost, (context.isBehind ? 0U : 1U) + (context.isBefore ? 0U : 1U));
    part.hasAnchor = true;
    return part;
  }

  void check(Part const& part) const {
    if (part.cost.isTooHigh() || part.text.size() > kMaxText) {
      refuse(0, "the system's engine would need more than 1 MB or 10 ms for it");
    }
  }

  void chain(Part& a, Part const& b) const {
    a.text += b.text;
    Cost const& c = b.cost;
    a.cost.edges += c.edges + a.cost.last * c.first;
    a.cost.nodes += c.nodes;
    a.cost.branches += c.branches;
    a.cost.emptyLoops += c.emptyLoops;
    a.cost.anchors += c.anchors;
    a.cost.copies += c.copies;
    a.cost.noteRun(a.cost.tail, c.lead);
    a.cost.copies += 250 * a.cost.tail.count * c.first;
    if (a.cost.isNullable) a.cost.lead.add(c.lead);
    if (!c.isNullable) a.cost.tail = {};
    a.cost.tail.add(c.tail);
    a.cost.hasEmptyLoopOfAnchors = a.cost.hasEmptyLoopOfAnchors || c.hasEmptyLoopOfAnchors;
    if (a.cost.isNullable) a.cost.first += c.first;
    a.cost.last = c.last + (c.isNullable ? a.cost.last : 0);
    a.cost.isNullable = a.cost.isNullable && c.isNullable;
    a.hasAnchor = a.hasAnchor || b.hasAnchor;
    a.hasLoopedAnchor = a.hasLoopedAnchor || b.hasLoopedAnchor;
    check(a);
  }

  /// The parts, one or the other; without parentheses.
  Part either(std::vector<Part> const& parts) const {
    Part all = parts.front();
    for (std::size_t i = 1; i < parts.size(); ++i) {
      Part const& part = parts[i];
      (all.text += '|') += part.text;
      Cost const& c = part.cost;
      all.cost.branches += all.cost.first + c.branches;
      all.cost.nodes += c.nodes + 1;
      all.cost.edges += c.edges;
      all.cost.emptyLoops += c.emptyLoops;
      all.cost.anchors += c.anchors;
      all.cost.copies += c.copies;
      all.cost.lead = {all.cost.lead.count + c.lead.count,
                       std::max(all.cost.lead.depth, c.lead.depth)};
      all.cost.tail = {all.cost.tail.count + c.tail.count,
                       std::max(all.cost.tail.depth, c.tail.depth)};
      all.cost.hasEmptyLoopOfAnchors = all.cost.hasEmptyLoopOfAnchors || c.hasEmptyLoopOfAnchors;
      all.cost.first += c.first;
      all.cost.last += c.last;
      all.cost.isNullable = all.cost.isNullable || c.isNullable;
      all.hasAnchor = all.hasAnchor || part.hasAnchor;
      all.hasLoopedAnchor = all.hasLoopedAnchor || part.hasLoopedAnchor;
      check(all);
    }
    return all;
  }

  Part sequence(NodeId id, Context context) {
    std::vector<NodeId> items;
    tree_.forChildren(id, [&](NodeId child) { items.push_back(child); });
    // Where the last item that takes a character stands: what is before it has that behind it.
    std::size_t lastTaking = 0;
    for (std::size_t i = 0; i < items.size(); ++i) {
      if (takesCharacter(items[i])) lastTaking = i;
    }
    bool isBehind = context.isBehind;
    Part all;
    for (std::size_t i = 0; i < items.size(); ++i) {
      chain(all, part(items[i], {isBehind, context.isBefore || i < lastTaking}));
      isBehind = isBehind || takesCharacter(items[i]);
    }
    return all;
  }

  Part choice(NodeId id, Context context) {
    std::vector<Part> branches;
    tree_.forChildren(id, [&](NodeId child) { branches.push_back(part(child, context)); });
    Part all = either(branches);
    if (tree_[id].isGroup) all.text = "(" + all.text + ")";
    return all;
  }

  static std::string quantifier(U32 min, U32 max) {
    if (max == kUnbounded && min < 2) return min == 0 ? "*" : "+";
    if (min == 0 && max == 1) return "?";
    std::string text = "{" + std::to_string(min);
    if (max != min) text += ",";
    if (max != min && max != kUnbounded) text += std::to_string(max);
    return text += "}";
  }

  /// A part, `min` to `max` times, as the system's engine is to do it.
  Part times(Part const& one, U32 min, U32 max) const {
    if (max == 0) return {};
    if (min == 1 && max == 1) return one;
    Part all;
    U32 const copies = max == kUnbounded ? min + 1 : max;  // x+ becomes xx*, {2,} xxx*
    for (U32 i = 1; i <= copies; ++i) {
      Part copy = one;
      copy.text.clear();
      if (max == kUnbounded && i == copies) {
        copy.cost.edges += copy.cost.last * copy.cost.first;
        copy.cost.noteRun(copy.cost.tail, copy.cost.lead);
        if (copy.cost.isNullable) {
          ++copy.cost.emptyLoops;
          copy.cost.hasEmptyLoopOfAnchors = copy.cost.anchors > 0;
        }
      }
      if (i > min) copy.cost.isNullable = true;
      chain(all, copy);
    }
    all.text = one.text + quantifier(min, max);
    if (one.hasAnchor && max > 1) all.hasLoopedAnchor = true;
    check(all);
    return all;
  }

  /// Groups in groups are written several times each, but made once for each context.
  Part const& round(NodeId child, Context context) {
    U32 const key = child * 4 + (context.isBehind ? 2U : 0U) + (context.isBefore ? 1U : 0U);
    auto const found = rounds_.find(key);
    if (found != rounds_.end()) return found->second;
    return rounds_.emplace(key, part(child, context)).first->second;
  }

  Part repeated(Node const& node, Context context) {
    NodeId const child = node.firstChild;
    U32 const min = node.min;
    U32 const max = node.max;
    Part const& only = round(child, context);
    Part const& middle = round(child, {true, true});
    if (max == 1 || only.text == middle.text || !takesCharacter(child)) {
      return times(only, min, max);
    }
    Part const& first = round(child, {context.isBehind, true});
    Part const& last = round(child, {true, context.isBefore});
    U32 const minRest = min > 0 ? min - 1 : 0;
    U32 const maxRest = max == kUnbounded ? max : max - 1;
    Part some;
    if (last.text == middle.text) {
      some = first;
      chain(some, times(middle, minRest, maxRest));
    } else if (first.text == middle.text) {
      some = times(middle, minRest, maxRest);
      chain(some, last);
    } else {
      Part many = first;
      chain(many, times(middle, minRest > 0 ? minRest - 1 : 0,
                        maxRest == kUnbounded ? maxRest : maxRest - 1));
      chain(many, last);
      some = many;
      if (min < 2) some = either({only, many});
    }
    some.text = "(" + some.text + ")";
    return min == 0 ? times(some, 0, 1) : some;
  }

  PatternTree const& tree_;
  std::pmr::vector<bool> takes_;          // by node: whether it takes a character
  std::unordered_map<U32, Part> rounds_;  // of repetitions, by node and context
};

}  // namespace

PosixExpression posixExpression(PatternTree const& tree) { return Writer(tree).write(); }

}  // namespace Routing::AsPath::detail
