#include "platform/regex/detail/PatternTree.h"

#include <bit>
#include <cstdio>

namespace Routing::AsPath::detail {

using Orb::U32;
using Orb::U64;

void refuse(std::size_t place, std::string reason) { throw Refused{{place, std::move(reason)}}; }

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// The digits that a class lists one by one or in ranges ("2-9", "0-46-9"), in ascending order;
/// none when it is anything else.
DigitMask digitsOf(std::string_view items) {
  U32 mask = 0;
  int last = -1;
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (items[i] == ',' || items[i] == ' ') continue;
    if (!isDigit(items[i])) return 0;
    int const low = items[i] - '0';
    int high = low;
    if (i + 2 < items.size() && items[i + 1] == '-' && isDigit(items[i + 2])) {
      high = items[i + 2] - '0';
      i += 2;
    }
    if (low <= last || high < low) return 0;
    for (int digit = low; digit <= high; ++digit) mask |= 1U << static_cast<unsigned>(digit);
    last = high;
  }
  return static_cast<DigitMask>(mask);
}

/// Reads numbers and ranges of them, parted by commas or blanks.
class NumberItems {
 public:
  NumberItems(std::string_view pattern, std::size_t begin, std::size_t end)
      : pattern_(pattern), at_(begin), end_(end) {}

  NumberSet read(Memory memory) {
    NumberSet set(memory);
    while (at_ < end_) {
      if (isSeparator()) {
        ++at_;
        continue;
      }
      std::size_t const place = at_;
      Interval item;
      item.low = item.high = number();
      if (at_ < end_ && pattern_[at_] == '-') {
        ++at_;
        item.high = number();
      }
      if (item.high < item.low) refuse(place, "the range is upside down");
      if (at_ < end_ && !isSeparator()) refuse(at_, "items of a class are parted by commas");
      set.push_back(item);
    }
    normalise(set);
    return set;
  }

 private:
  bool isSeparator() const { return pattern_[at_] == ',' || pattern_[at_] == ' '; }

  U32 decimal(U64 most, char const* reason) {
    std::size_t const place = at_;
    U64 value = 0;
    for (; at_ < end_ && isDigit(pattern_[at_]); ++at_) {
      value = value * 10 + static_cast<U64>(pattern_[at_] - '0');
      if (value > most) refuse(place, reason);
    }
    if (at_ == place) refuse(at_, "an AS number is missing");
    return static_cast<U32>(value);
  }
  U32 number() {
    std::size_t const place = at_;
    U32 const high = decimal(kMaxNumber, "AS numbers end at 4294967295");
    if (at_ == end_ || pattern_[at_] != '.') return high;
    ++at_;
    char const* const reason = "each half of an AS number ends at 65535";
    if (high > 0xffff) refuse(place, reason);
    return high << 16 | decimal(0xffff, reason);
  }

  std::string_view const pattern_;
  std::size_t at_;
  std::size_t const end_;
};

/// Whether an item of a class has two digits or more: the class is one of AS numbers then.
bool hasNumber(std::string_view items) {
  for (std::size_t i = 1; i < items.size(); ++i) {
    bool const isDot = items[i] == '.' && i + 1 < items.size() && isDigit(items[i + 1]);
    if ((isDigit(items[i]) || isDot) && isDigit(items[i - 1])) return true;
  }
  return false;
}

}  // namespace

class PatternTree::Reader {
 public:
  explicit Reader(PatternTree& tree) : tree_(tree), pattern_(tree.pattern_) {}

  NodeId whole() {
    if (pattern_.empty()) refuse(0, "the pattern is empty");
    if (pattern_.size() > kMaxLength) refuse(kMaxLength, "the pattern is too long");
    for (std::size_t i = 0; i < pattern_.size(); ++i) {
      if (pattern_[i] < ' ' || pattern_[i] > '~') refuse(i, "not a printable ASCII character");
    }
    NodeId const root = choice(0);
    if (at_ < pattern_.size()) refuse(at_, "a ) without its (");
    return root;
  }

 private:
  bool isAt(char c) const { return at_ < pattern_.size() && pattern_[at_] == c; }

  NodeId add(NodeKind kind, std::size_t place) {
    Node node;
    node.kind = kind;
    node.place = static_cast<U32>(place);
    tree_.nodes_.push_back(node);
    return static_cast<NodeId>(tree_.nodes_.size() - 1);
  }
  Node& node(NodeId id) { return tree_.nodes_[id]; }

  NodeId choice(int depth) {
    NodeId const id = add(NodeKind::choice, at_);
    NodeId last = kNoNode;
    for (;;) {
      NodeId const branch = sequence(depth);
      (last == kNoNode ? node(id).firstChild : node(last).nextSibling) = branch;
      last = branch;
      if (!isAt('|')) return id;
      ++at_;
    }
  }

  NodeId sequence(int depth) {
    NodeId const id = add(NodeKind::sequence, at_);
    NodeId last = kNoNode;
    while (at_ < pattern_.size() && !isAt('|') && !isAt(')')) {
      NodeId const item = repeated(atom(depth));
      (last == kNoNode ? node(id).firstChild : node(last).nextSibling) = item;
      last = item;
    }
    if (last == kNoNode) refuse(at_, "an alternative is empty");
    resolveClasses(id);
    return id;
  }

  NodeId atom(int depth) {
    std::size_t const place = at_;
    char const c = pattern_[at_];
    if (c == '(') return group(depth);
    if (c == '[') return bracket();
    if (c == '\\') return escape();
    ++at_;
    switch (c) {
      case '.':
        return add(NodeKind::any, place);
      case '_':
        return add(NodeKind::separator, place);
      case ' ':
        return add(NodeKind::blank, place);
      case '^':
        return add(NodeKind::begin, place);
      case '$':
        return add(NodeKind::end, place);
      case '*':
      case '+':
      case '?':
      case '{':
        refuse(place, "nothing to repeat");
      default:
        break;
    }
    if (!isDigit(c)) return character(place);
    NodeId const id = add(NodeKind::digit, place);
    node(id).isLiteral = true;
    node(id).digits = static_cast<DigitMask>(1U << static_cast<unsigned>(c - '0'));
    return id;
  }

  NodeId character(std::size_t place) {
    NodeId const id = add(NodeKind::character, place);
    node(id).length = static_cast<U32>(at_ - place);
    return id;
  }

  NodeId group(int depth) {
    std::size_t const place = at_++;
    if (depth == kMaxDepth) refuse(place, "groups are nested too deeply");
    NodeId const id = choice(depth + 1);
    if (!isAt(')')) refuse(place, "a ( without its )");
    ++at_;
    node(id).isGroup = true;
    node(id).place = static_cast<U32>(place);
    return id;
  }

  NodeId escape() {
    std::size_t const place = at_++;
    if (at_ == pattern_.size()) refuse(place, "nothing behind the \\");
    char const c = pattern_[at_++];
    bool const isWord = isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    if (isWord || std::string_view(" <>`'").find(c) != std::string_view::npos) {
      refuse(place, "nothing has this meaning");
    }
    return c == '.' ? add(NodeKind::escapedDot, place) : character(place);
  }

  /// A class. What is made of digits alone is one of digits or of AS numbers: which one can depend
  /// on what stands beside it (resolveClasses()).
  NodeId bracket() {
    std::size_t const place = at_++;
    bool const isNegated = isAt('^');
    if (isNegated) ++at_;
    std::size_t const begin = at_;
    std::size_t const end = pattern_.find_first_not_of("0123456789-., ", begin);
    if (end == std::string_view::npos) refuse(place, "a [ without its ]");
    if (pattern_[end] != ']' || end == begin) return characterClass(place, begin);
    std::string_view const items = pattern_.substr(begin, end - begin);
    at_ = end + 1;
    bool const isOfNumbers = hasNumber(items);
    DigitMask digits = digitsOf(items);
    if (!isOfNumbers && digits == 0) return characterClass(place, begin);
    if (isNegated) digits = kAllDigits & static_cast<DigitMask>(~digits);
    NodeId const id = add(isOfNumbers ? NodeKind::numberClass : NodeKind::digit, place);
    node(id).digits = isOfNumbers && digitsOf(items) == 0 ? 0 : digits;
    node(id).isNegated = isNegated;
    node(id).length = static_cast<U32>(at_ - place);
    return id;
  }

  /// A class of other characters: its end is found, as POSIX defines it (IEEE 1003.1, 9.3.5).
  NodeId characterClass(std::size_t place, std::size_t begin) {
    at_ = begin;
    int last = -1;  // the character in front, when a range may begin with it
    if (isAt(']')) last = pattern_[at_++];
    while (!isAt(']')) {
      if (at_ >= pattern_.size()) refuse(place, "a [ without its ]");
      if (isAt('[') && at_ + 1 < pattern_.size()) {
        char const kind = pattern_[at_ + 1];
        if (kind == '.' || kind == '=') refuse(at_, "collating elements are not supported");
        if (kind == ':') {
          namedClass();
          last = -1;
          continue;
        }
      }
      char const c = pattern_[at_];
      bool const isRange =
          c == '-' && last >= 0 && at_ + 1 < pattern_.size() && pattern_[at_ + 1] != ']';
      if (isRange) {
        if (pattern_[at_ + 1] == '[' || pattern_[at_ + 1] < last) {
          refuse(at_ - 1, "the range is upside down");
        }
        at_ += 2;
        last = -1;
      } else {
        bool const isFirstOrLast =
            at_ == begin || at_ + 1 >= pattern_.size() || pattern_[at_ + 1] == ']';
        if (c == '-' && !isFirstOrLast) refuse(at_, "a - that is no range stands first or last");
        last = static_cast<unsigned char>(c);
        ++at_;
      }
    }
    ++at_;
    return character(place);
  }

  void namedClass() {
    std::size_t const end = pattern_.find(":]", at_ + 2);
    std::string_view const known =
        " alnum alpha blank cntrl digit graph lower print punct space "
        "upper xdigit ";
    if (end != std::string_view::npos) {
      std::string name(1, ' ');
      name.append(pattern_.substr(at_ + 2, end - at_ - 2)).append(1, ' ');
      if (name.size() > 2 && known.find(name) != std::string_view::npos) {
        at_ = end + 2;
        return;
      }
    }
    refuse(at_, "no such class of characters");
  }

  NodeId repeated(NodeId item) {
    std::size_t const place = at_;
    U32 min = 0;
    U32 max = kUnbounded;
    if (isAt('*') || isAt('+') || isAt('?')) {
      if (isAt('+')) min = 1;
      if (isAt('?')) max = 1;
      ++at_;
    } else if (isAt('{')) {
      ++at_;
      min = count(place);
      max = min;
      if (isAt(',')) {
        ++at_;
        max = isAt('}') ? kUnbounded : count(place);
      }
      if (!isAt('}')) refuse(place, "a count reads {m}, {m,} or {m,n}");
      ++at_;
      if (max < min) refuse(place, "the counts are upside down");
      if (max == 0) refuse(place, "a count of 0");
    } else {
      return item;
    }
    NodeKind const kind = node(item).kind;
    if (kind == NodeKind::begin || kind == NodeKind::end)
      refuse(place, "an anchor is not repeated");
    if (isAt('*') || isAt('+') || isAt('?') || isAt('{')) refuse(at_, "repeated twice");
    NodeId const id = add(NodeKind::repeat, place);
    node(id).firstChild = item;
    node(id).min = min;
    node(id).max = max;
    return id;
  }

  U32 count(std::size_t place) {
    U32 value = 0;
    std::size_t const begin = at_;
    for (; at_ < pattern_.size() && isDigit(pattern_[at_]); ++at_) {
      value = value * 10 + static_cast<U32>(pattern_[at_] - '0');
      if (value > kMaxCount) refuse(place, "a count above " + std::to_string(kMaxCount));
    }
    if (at_ == begin) refuse(place, "a count reads {m}, {m,} or {m,n}");
    return value;
  }

  /// Whether an item of a sequence ends or begins with a digit, so that a class beside it is glued
  /// to that.
  bool isDigitItem(NodeId id) {
    Node const& item = node(id);
    if (item.kind == NodeKind::repeat) return isDigitItem(item.firstChild);
    return item.kind == NodeKind::digit || (item.kind == NodeKind::numberClass && item.digits != 0);
  }

  /// A class such as [13] is of AS numbers when it stands alone, and of digits beside a digit.
  void resolveClasses(NodeId sequence) {
    bool isBehindDigit = false;
    for (NodeId item = node(sequence).firstChild; item != kNoNode;) {
      NodeId const next = node(item).nextSibling;
      NodeId const inner = node(item).kind == NodeKind::repeat ? node(item).firstChild : item;
      bool const isDigitHere = isDigitItem(item) || node(inner).kind == NodeKind::numberClass;
      if (node(inner).kind == NodeKind::numberClass) {
        bool const isGlued = isBehindDigit || (next != kNoNode && isDigitItem(next));
        if (isGlued) {
          if (node(inner).digits == 0) {
            refuse(node(inner).place,
                   "a class of AS numbers needs a _ between it and other digits");
          }
          node(inner).kind = NodeKind::digit;
        } else {
          readNumbers(inner);
        }
      }
      isBehindDigit = isDigitHere && node(inner).kind != NodeKind::choice;
      item = next;
    }
  }

  void readNumbers(NodeId id) {
    std::size_t const begin = node(id).place + (node(id).isNegated ? 2U : 1U);
    NumberSet set =
        NumberItems(pattern_, begin, node(id).place + node(id).length - 1U).read(tree_.memory());
    node(id).numbers = static_cast<U32>(tree_.sets_.size());
    tree_.sets_.push_back(node(id).isNegated ? complementOf(set) : std::move(set));
  }

  PatternTree& tree_;
  std::string_view const pattern_;
  std::size_t at_ = 0;
};

PatternTree::PatternTree(std::string_view pattern, Memory memory)
    : pattern_(pattern), nodes_(memory), sets_(memory) {
  nodes_.reserve(std::min<std::size_t>(2 * pattern.size() + 4, 64));
  root_ = Reader(*this).whole();
}

bool PatternTree::isDigits(NodeId id) const {
  Node const& node = nodes_[id];
  if (node.kind == NodeKind::digit) return true;
  bool const isInner = node.kind == NodeKind::sequence || node.kind == NodeKind::choice ||
                       node.kind == NodeKind::repeat;
  if (!isInner) return false;
  bool all = true;
  forChildren(id, [&](NodeId child) { all = all && isDigits(child); });
  return all;
}

}  // namespace Routing::AsPath::detail
