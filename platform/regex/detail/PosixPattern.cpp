#include "platform/regex/detail/PosixPattern.h"

#include <algorithm>
#include <bit>

#include "platform/regex/detail/PosixCost.h"

namespace Routing::AsPath::detail {

using Orb::U32;

namespace {

constexpr char kDelimiters[] = "[ ,{}()]";
constexpr std::size_t kMaxText = std::size_t{1} << 16;
constexpr int kMaxWrites = 20'000;  // of nodes: what is written apart is visited again

using Part = PosixCost<1>;

class Writer {
 public:
  explicit Writer(PatternTree const& tree) : tree_(tree), takes_(tree.size(), tree.memory()) {
    noteTaking(tree.root());
  }

  PosixExpression write() {
    Part const whole = part(tree_.root(), {false, false});
    return {std::move(out_), whole.hasLoopedAnchor};
  }

 private:
  /// Whether something that takes a character stands before and behind, whatever matches.
  struct Context {
    bool isBehind = false;
    bool isBefore = false;
  };
  static constexpr Context kWithin{true, true};

  /// Notes of each node whether it takes a character at least, whatever matches.
  bool noteTaking(NodeId id) {
    Node const& node = tree_[id];
    bool any = false;
    bool all = true;
    tree_.forChildren(id, [&](NodeId child) {
      bool const takes = noteTaking(child);
      any = any || takes;
      all = all && takes;
    });
    bool takes = true;
    if (node.kind == NodeKind::sequence) takes = any;
    if (node.kind == NodeKind::choice) takes = all;
    if (node.kind == NodeKind::repeat) takes = any && node.min > 0;
    if (node.kind == NodeKind::separator || node.kind == NodeKind::begin ||
        node.kind == NodeKind::end) {
      takes = false;
    }
    takes_[id] = takes;
    return takes;
  }

  /// Writes a node and counts what it costs.
  Part part(NodeId id, Context context) {
    Node const& node = tree_[id];
    if (++visits_ > kMaxWrites || out_.size() > kMaxText) {
      refuse(0, "its translation for the system's engine is too long");
    }
    switch (node.kind) {
      case NodeKind::digit:
        node.isNegated ? void(out_ += tree_.text(node)) : writeDigits(node.digits);
        return Part::ofNodes(1);
      case NodeKind::numberClass:
        refuse(node.place, "a class of AS numbers: the DFA engine alone reads these");
      case NodeKind::any:
        out_ += '.';
        return Part::ofNodes(1);
      case NodeKind::escapedDot:
        out_ += "\\.";
        return Part::ofNodes(1);
      case NodeKind::blank:
        out_ += ' ';
        return Part::ofNodes(1);
      case NodeKind::character:
        out_ += tree_.text(node);
        return Part::ofNodes(1);
      case NodeKind::begin:
      case NodeKind::end:
        out_ += node.kind == NodeKind::begin ? '^' : '$';
        return Part::ofAnchors(1, 1);
      case NodeKind::separator:
        return separator(context);
      case NodeKind::sequence:
        return sequence(id, context);
      case NodeKind::choice:
        return choice(id, context);
      case NodeKind::repeat:
      default:
        return repeated(node, context);
    }
  }

  void writeDigits(DigitMask mask) {
    if (std::has_single_bit(mask)) {
      out_ += static_cast<char>('0' + std::countr_zero(mask));
      return;
    }
    out_ += '[';
    for (int digit = 0; digit < 10; ++digit) {
      if ((mask >> digit & 1) == 0) continue;
      int end = digit;
      while (end < 9 && (mask >> (end + 1) & 1) != 0) ++end;
      out_ += static_cast<char>('0' + digit);
      if (end > digit + 1) out_ += '-';
      if (end > digit) out_ += static_cast<char>('0' + end);
      digit = end;
    }
    out_ += ']';
  }

  Part separator(Context context) {
    if (context.isBehind && context.isBefore) {
      out_ += kDelimiters;
      return Part::ofNodes(1);
    }
    out_ += context.isBehind ? "(" : "(^|";
    out_ += kDelimiters;
    out_ += context.isBefore ? ")" : "|$)";
    Part part = Part::ofAnchors((context.isBehind ? 0U : 1U) + (context.isBefore ? 0U : 1U), 3);
    part.touchesStart = !context.isBehind;
    part.touchesEnd = !context.isBefore;
    return part;
  }

  Part sequence(NodeId id, Context context) {
    // What stands in front of the last item that takes a character has that behind it.
    NodeId lastTaking = kNoNode;
    tree_.forChildren(id, [&](NodeId child) {
      if (takes_[child]) lastTaking = child;
    });
    bool isBefore = lastTaking != kNoNode;
    bool isBehind = context.isBehind;
    Part all;
    tree_.forChildren(id, [&](NodeId child) {
      if (child == lastTaking) isBefore = false;
      all.chain(part(child, {isBehind, context.isBefore || isBefore}));
      isBehind = isBehind || takes_[child];
    });
    return all;
  }

  Part choice(NodeId id, Context context) {
    bool const isGroup = tree_[id].isGroup;
    if (isGroup) out_ += '(';
    bool isFirst = true;
    Part all;
    tree_.forChildren(id, [&](NodeId child) {
      if (!isFirst) out_ += '|';
      Part const branch = part(child, context);
      isFirst ? void(all = branch) : all.either(branch);
      isFirst = false;
    });
    if (isGroup) out_ += ')';
    return all;
  }

  void writeQuantifier(U32 min, U32 max) {
    if (min == 1 && max == 1) return;
    if (max == kUnbounded && min < 2) {
      out_ += min == 0 ? '*' : '+';
    } else if (min == 0 && max == 1) {
      out_ += '?';
    } else {
      out_.append("{").append(std::to_string(min));
      if (max != min) out_ += ',';
      if (max != min && max != kUnbounded) out_ += std::to_string(max);
      out_ += '}';
    }
  }

  Part rounds(NodeId child, Context context, U32 min, U32 max) {
    Part const one = part(child, context);
    writeQuantifier(min, max);
    return one.times(min, max);
  }

  Part repeated(Node const& node, Context context) {
    NodeId const child = node.firstChild;
    std::size_t const begin = out_.size();
    Part const only = part(child, context);
    if (node.max == 1 || !(only.touchesStart || only.touchesEnd) || !takes_[child]) {
      writeQuantifier(node.min, node.max);
      return only.times(node.min, node.max);
    }
    out_.resize(begin);
    out_ += '(';
    Part all = apart(child, context, only, node);
    out_ += ')';
    if (node.min > 0) return all;
    out_ += '?';
    return all.times(0, 1);
  }

  /// Once at least, with the first or last round written apart, or both.
  Part apart(NodeId child, Context context, Part const& only, Node const& node) {
    auto const less = [](U32 count, U32 by) {
      return count == kUnbounded ? count : count - std::min(count, by);
    };
    Context const first{context.isBehind, true};
    Context const last{true, context.isBefore};
    Part all;
    if (!only.touchesEnd) {
      all = part(child, first);
      if (less(node.max, 1) > 0) {
        all.chain(rounds(child, kWithin, less(node.min, 1), less(node.max, 1)));
      }
      return all;
    }
    if (!only.touchesStart) {
      all = rounds(child, kWithin, less(node.min, 1), less(node.max, 1));
      all.chain(part(child, last));
      return all;
    }
    if (node.min < 2) {
      part(child, context);
      out_ += '|';
    }
    all = part(child, first);
    if (less(node.max, 2) > 0) {
      all.chain(rounds(child, kWithin, less(node.min, 2), less(node.max, 2)));
    }
    all.chain(part(child, last));
    if (node.min < 2) all.either(only);
    return all;
  }

  PatternTree const& tree_;
  std::pmr::vector<bool> takes_;  // by node
  std::string out_;
  int visits_ = 0;
};

}  // namespace

PosixExpression posixExpression(PatternTree const& tree) { return Writer(tree).write(); }

}  // namespace Routing::AsPath::detail
