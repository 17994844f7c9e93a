#include "platform/regex/detail/CommonPart.h"

#include <array>

namespace Routing::AsPath::detail {

namespace {

using Kind = PathPattern::Kind;

/// What stands at a place of a pattern, by bit.
enum Token : unsigned {
  number = 1,
  separator = 2,
  blank = 4,
  begin = 8,
  end = 16,
  leadingAny = 32,   // ".*" at the pattern's start, or behind "^" there
  trailingAny = 64,  // ".*" at its end, or before "$" there
  other = 128,       // what the engines read differently
};
using Tokens = unsigned;

/// What may stand behind each token; a number never stands beside a number, since the text would
/// take them for one, and a separator never beside a separator, since it would need two there.
constexpr std::array<Tokens, 8> kBehind{
    separator | blank | end,                // number
    number | end | trailingAny,             // separator
    number,                                 // blank
    number | separator | end | leadingAny,  // begin
    0,                                      // end
    separator | end,                        // leadingAny
    end,                                    // trailingAny
    0,                                      // other
};
constexpr Tokens kAtStart = separator | begin | end | leadingAny;
constexpr Tokens kAtEnd = separator | begin | end | leadingAny | trailingAny;

class Check {
 public:
  explicit Check(PathPattern const& pattern) : pattern_(pattern) {}

  bool isParted() {
    bool all = true;
    pattern_.forChildren(pattern_.root(),
                         [&](NodeId branch) { all = all && isWholeParted(branch); });
    return all;
  }

 private:
  struct Part {
    Tokens first = 0;
    Tokens last = 0;
    bool isNullable = true;
  };

  bool isWholeParted(NodeId branch) {
    markAny(branch);
    Part const whole = part(branch);
    return isFine_ && (whole.first & ~kAtStart) == 0 && (whole.last & ~kAtEnd) == 0;
  }

  bool isAnything(NodeId id) const {
    auto const& item = pattern_[id];
    if (item.kind != Kind::repeat || item.min != 0 || item.max != kUnbounded) return false;
    return pattern_[item.firstChild].isAny;
  }

  void markAny(NodeId branch) {
    std::vector<NodeId> items;
    pattern_.forChildren(branch, [&](NodeId child) { items.push_back(child); });
    std::size_t const first = items.size() > 1 && pattern_[items[0]].kind == Kind::begin ? 1 : 0;
    if (isAnything(items[first])) leading_ = items[first];
    std::size_t last = items.size() - 1;
    if (last > 0 && pattern_[items[last]].kind == Kind::end) --last;
    if (isAnything(items[last]) && items[last] != leading_) trailing_ = items[last];
  }

  Part chained(Part const& a, Part const& b) {
    for (unsigned bit = 0; bit < kBehind.size(); ++bit) {
      if ((a.last >> bit & 1U) != 0 && (b.first & ~kBehind[bit]) != 0) isFine_ = false;
    }
    return {a.first | (a.isNullable ? b.first : 0), b.last | (b.isNullable ? a.last : 0),
            a.isNullable && b.isNullable};
  }

  static Part token(Tokens one) { return {one, one, false}; }

  Part part(NodeId id) {
    auto const& item = pattern_[id];
    if (id == leading_) return token(leadingAny);
    if (id == trailing_) return token(trailingAny);
    Part all;
    switch (item.kind) {
      case Kind::number:
        return token(item.isPlain ? number : other);
      case Kind::separator:
        return token(separator);
      case Kind::blank:
        return token(blank);
      case Kind::begin:
        return token(begin);
      case Kind::end:
        return token(end);
      case Kind::sequence:
        pattern_.forChildren(id, [&](NodeId child) { all = chained(all, part(child)); });
        return all;
      case Kind::choice:
        all.isNullable = false;
        pattern_.forChildren(id, [&](NodeId child) {
          Part const branch = part(child);
          all = {all.first | branch.first, all.last | branch.last,
                 all.isNullable || branch.isNullable};
        });
        return all;
      case Kind::repeat:
      default:
        all = part(item.firstChild);
        if (item.max > 1) chained(all, all);
        all.isNullable = all.isNullable || item.min == 0;
        return all;
    }
  }

  PathPattern const& pattern_;
  NodeId leading_ = kNoNode;
  NodeId trailing_ = kNoNode;
  bool isFine_ = true;
};

}  // namespace

bool isParted(PathPattern const& pattern) { return Check(pattern).isParted(); }

}  // namespace Routing::AsPath::detail
