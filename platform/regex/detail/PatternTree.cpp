#include "platform/regex/detail/PatternTree.h"

#include <algorithm>
#include <array>

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

/// Whether a text reads as digits, with a dot between them or none; cuts them off.
bool cutNumber(std::string_view& text) {
  std::size_t const end = std::min(text.find_first_not_of("0123456789."), text.size());
  std::string_view const number = text.substr(0, end);
  text.remove_prefix(end);
  std::size_t const dot = std::min(number.find('.'), number.size());
  return dot > 0 && dot + 1 != number.size() && number.find('.', dot + 1) == number.npos;
}

/// Whether a class of digits and dots is one of AS numbers: an item has two digits or more, or all
/// items read as numbers and some has a dot.
bool isOfNumbers(std::string_view items) {
  for (std::size_t i = 1; i < items.size(); ++i) {
    if (isDigit(items[i]) && isDigit(items[i - 1])) return true;
  }
  if (items.find('.') == items.npos) return false;
  while (!items.empty()) {
    if (items.front() == ',' || items.front() == ' ') {
      items.remove_prefix(1);
      continue;
    }
    if (!cutNumber(items)) return false;
    if (items.starts_with('-')) {
      items.remove_prefix(1);
      if (!cutNumber(items)) return false;
    }
  }
  return true;
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
    bool const areNumbers = isOfNumbers(items);
    DigitMask digits = digitsOf(items);
    if (!areNumbers && digits == 0) return characterClass(place, begin);
    NodeId const id = add(areNumbers ? NodeKind::numberClass : NodeKind::digit, place);
    if (isNegated && digits != 0) digits = kAllDigits & static_cast<DigitMask>(~digits);
    node(id).digits = digits;
    node(id).isNegated = isNegated;
    node(id).length = static_cast<U32>(at_ - place);
    return id;
  }

  /// A class of other characters: its end is found, as POSIX defines it (IEEE 1003.1, 9.3.5).
  NodeId characterClass(std::size_t place, std::size_t begin) {
    at_ = begin;
    int last = -1;  // the character in front, when a range may begin with it
    while (at_ == begin || !isAt(']')) {
      if (at_ >= pattern_.size()) refuse(place, "a [ without its ]");
      if (isSpecialClass()) {
        namedClass();
        last = -1;
      } else if (isAt('-') && at_ != begin && at_ + 1 < pattern_.size() &&
                 pattern_[at_ + 1] != ']') {
        endOfRange(last);
        last = -1;
      } else {
        last = static_cast<unsigned char>(pattern_[at_++]);
      }
    }
    ++at_;
    return character(place);
  }

  bool isSpecialClass() const {
    if (!isAt('[') || at_ + 1 == pattern_.size()) return false;
    char const kind = pattern_[at_ + 1];
    return kind == '.' || kind == '=' || kind == ':';
  }

  /// At the "-" of a range that begins with `first`, or nothing when that is negative.
  void endOfRange(int first) {
    std::size_t const place = at_++;
    if (first < 0 || isSpecialClass()) refuse(place, "a range is from a character to another one");
    if (pattern_[at_] < first) refuse(place - 1, "the range is upside down");
    ++at_;
  }

  void namedClass() {
    if (pattern_[at_ + 1] != ':') refuse(at_, "collating elements are not supported");
    static constexpr std::array<std::string_view, 12> kNames{"alnum", "alpha", "blank", "cntrl",
                                                             "digit", "graph", "lower", "print",
                                                             "punct", "space", "upper", "xdigit"};
    std::size_t const end = std::min(pattern_.find(":]", at_ + 2), pattern_.size());
    std::string_view const name = pattern_.substr(at_ + 2, end - at_ - 2);
    if (std::find(kNames.begin(), kNames.end(), name) == kNames.end() || end == pattern_.size()) {
      refuse(at_, "no such class of characters");
    }
    at_ = end + 2;
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

  /// Whether an item is digits, so that a class beside it is of digits as well.
  bool isDigitItem(NodeId id) {
    Node const& item = node(id);
    if (item.kind == NodeKind::repeat) return isDigitItem(item.firstChild);
    return tree_.isDigits(id) || (item.kind == NodeKind::numberClass && item.digits != 0);
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
      isBehindDigit = isDigitHere;
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
