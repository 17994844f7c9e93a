#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

/// A slow, obvious matcher of AS-path patterns, and patterns to hold the engines to it: a pattern
/// is grown from a source of choices, as a tree and as text at once, and the tree is matched by
/// trying everything.
namespace TestSupport {

class PathModel {
 public:
  using Path = std::vector<std::uint32_t>;
  /// Gives a number below its argument.
  using Choices = std::function<unsigned(unsigned)>;

  /// `isAtEnd`: it is anchored at the path's end.
  explicit PathModel(Choices choices, bool isAtEnd = false)
      : choices_(std::move(choices)), isAtEnd_(isAtEnd) {
    root_ = choice(3, text_);
    if (isAtEnd) text_ = '(' + text_ + ")$";
  }

  std::string const& text() const { return text_; }
  bool matches(Path const& path) const {
    for (std::size_t from = 0; from <= path.size(); ++from) {
      Places const ends = root_(path, from);
      if (isAtEnd_ ? ends.count(path.size()) != 0 : !ends.empty()) return true;
    }
    return false;
  }

 private:
  using Places = std::set<std::size_t>;
  /// Where a part that begins at a place of the path can end.
  using Part = std::function<Places(Path const&, std::size_t)>;

  static Part one(std::function<bool(std::uint32_t)> const& holds) {
    return [holds](Path const& path, std::size_t from) {
      return from < path.size() && holds(path[from]) ? Places{from + 1} : Places{};
    };
  }
  static Part anchor(bool (*holds)(Path const&, std::size_t)) {
    return [holds](Path const& path, std::size_t from) {
      return holds(path, from) ? Places{from} : Places{};
    };
  }
  static Part chained(Part const& a, Part const& b) {
    return [a, b](Path const& path, std::size_t from) {
      Places ends;
      for (std::size_t const middle : a(path, from)) ends.merge(b(path, middle));
      return ends;
    };
  }

  Part choice(unsigned depth, std::string& text) {
    Part all = sequence(depth, text);
    for (unsigned more = choices_(3); more > 1; --more) {
      text += '|';
      all = [a = all, b = sequence(depth, text)](Path const& path, std::size_t from) {
        Places ends = a(path, from);
        ends.merge(b(path, from));
        return ends;
      };
    }
    return all;
  }

  Part sequence(unsigned depth, std::string& text) {
    Part all = item(depth, text);
    for (unsigned more = choices_(3); more > 0; --more) {
      text += '_';
      all = chained(all, item(depth, text));
    }
    return all;
  }

  Part item(unsigned depth, std::string& text) {
    switch (choices_(depth > 0 ? 9 : 6)) {
      case 0:
        text += '^';
        return anchor([](Path const&, std::size_t from) { return from == 0; });
      case 1:
        text += '$';
        return anchor([](Path const& path, std::size_t from) { return from == path.size(); });
      case 2:
        text += '.';
        return repeated(one([](std::uint32_t) { return true; }), text);
      case 3: {
        unsigned const low = 10 + choices_(12);
        unsigned const high = low + choices_(12);
        bool const others = choices_(3) == 0;
        text += std::string(others ? "[^" : "[") + std::to_string(low) + "-" +
                std::to_string(high) + ",4294967295]";
        return repeated(one([=](std::uint32_t n) {
                          return others != ((n >= low && n <= high) || n == 0xffffffff);
                        }),
                        text);
      }
      case 4:
      case 5:
        return spelling(text);
      default: {
        text += '(';
        Part inner = choice(depth - 1, text);
        text += ')';
        return repeated(std::move(inner), text);
      }
    }
  }

  /// A number by its digits: literal ones, classes, the last of which may be repeated.
  Part spelling(std::string& text) {
    std::vector<std::pair<char, char>> digits;
    for (unsigned count = 1 + choices_(2); count > 0; --count) {
      char const low = static_cast<char>('1' + choices_(2));
      char const high = static_cast<char>(low + static_cast<char>(choices_(2)));
      digits.emplace_back(low, high);
      text += high == low ? std::string(1, low) : std::string{'[', low, '-', high, ']'};
    }
    bool const isLoop = digits.back().first != digits.back().second && choices_(2) == 0;
    if (isLoop) text += '+';
    return one([=](std::uint32_t number) {
      std::string const spelled = std::to_string(number);
      if (spelled.size() < digits.size()) return false;
      if (!isLoop && spelled.size() > digits.size()) return false;
      for (std::size_t i = 0; i < spelled.size(); ++i) {
        auto const& [low, high] = digits[std::min(i, digits.size() - 1)];
        if (spelled[i] < low || spelled[i] > high) return false;
      }
      return true;
    });
  }

  Part repeated(Part part, std::string& text) {
    constexpr unsigned kMany = 9;  // more than a path has numbers
    unsigned const kind = choices_(8);
    if (kind > 3) return part;
    unsigned min = kind == 1 ? 1 : 0;
    unsigned max = kind == 2 ? 1 : kMany;
    if (kind < 3) {
      text += "*+?"[kind];
    } else {
      min = choices_(3);
      max = min + choices_(2) + (min == 0 ? 1 : 0);
      text += "{" + std::to_string(min) + "," + std::to_string(max) + "}";
    }
    return [=](Path const& path, std::size_t from) {
      Places ends;
      Places now{from};
      for (unsigned round = 0; round <= max; ++round) {
        if (round >= min) ends.insert(now.begin(), now.end());
        Places next;
        for (std::size_t const at : now) next.merge(part(path, at));
        now = std::move(next);
      }
      return ends;
    };
  }

  Choices const choices_;
  bool const isAtEnd_;
  std::string text_;
  Part root_;
};

}  // namespace TestSupport
