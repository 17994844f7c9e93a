#include "platform/regex/PathText.h"

#include <array>
#include <charconv>

#include "platform/orb/base/Error.h"
#include "platform/orb/base/Text.h"

namespace Routing::AsPath {

using Orb::U32;

namespace {

constexpr char kBlanks[] = " \t";

/// A decimal number without leading zeros, up to `most`.
bool readDecimal(std::string_view text, U32 most, U32& value) {
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  bool const isWhole = error == std::errc() && end == text.data() + text.size();
  return isWhole && value <= most && (text.size() == 1 || text.front() != '0');
}

U32 readNumber(std::string_view text) {
  U32 value = 0;
  std::size_t const dot = text.find('.');
  if (dot == text.npos) {
    if (readDecimal(text, ~U32{0}, value)) return value;
  } else {
    U32 low = 0;
    bool const isHigh = readDecimal(text.substr(0, dot), 0xffff, value);
    if (isHigh && readDecimal(text.substr(dot + 1), 0xffff, low)) return value << 16 | low;
  }
  throw Orb::ParseException({}, Orb::quotedForMessage(text) + " is not an AS number");
}

}  // namespace

void pathText(std::string& text, std::span<U32 const> path, Notation notation) {
  constexpr std::size_t kLongest = 12;  // a number in either notation, and a blank
  text.resize(path.size() * kLongest);
  char* out = text.data();
  char* const limit = out + text.size();
  for (U32 const number : path) {
    if (out != text.data()) *out++ = ' ';
    if (notation == Notation::asdot && number > 0xffff) {
      out = std::to_chars(out, limit, number >> 16).ptr;
      *out++ = '.';
      out = std::to_chars(out, limit, number & 0xffff).ptr;
    } else {
      out = std::to_chars(out, limit, number).ptr;
    }
  }
  text.resize(static_cast<std::size_t>(out - text.data()));
}

void readPath(std::string_view text, std::vector<U32>& path) {
  path.clear();
  for (;;) {
    std::size_t const begin = text.find_first_not_of(kBlanks);
    if (begin == text.npos) return;
    std::size_t const end = std::min(text.find_first_of(kBlanks, begin), text.size());
    path.push_back(readNumber(text.substr(begin, end - begin)));
    text.remove_prefix(end);
  }
}

}  // namespace Routing::AsPath
