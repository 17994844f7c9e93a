#include "platform/orb/base/Text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "platform/orb/base/Error.h"

namespace Orb {

namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

[[noreturn]] void fail(std::string const& reason) { throw ParseException({}, reason); }

constexpr U8 byteAt(std::string_view text, std::size_t i) {
  return i < text.size() ? static_cast<U8>(text[i]) : U8{0};
}

constexpr bool isContinuation(U8 byte) { return (byte & 0xc0) == 0x80; }

/// The length of the UTF-8 character in front; 0 when there is none.
constexpr std::size_t characterLength(std::string_view text) {
  U8 const lead = byteAt(text, 0);
  U8 const second = byteAt(text, 1);
  if (lead < 0x80) return 1;
  // Forms longer than need be, surrogates, and what is beyond U+10FFFF.
  bool const isBad = lead < 0xc2 || lead > 0xf4 || (lead == 0xe0 && second < 0xa0) ||
                     (lead == 0xed && second > 0x9f) || (lead == 0xf0 && second < 0x90) ||
                     (lead == 0xf4 && second > 0x8f);
  std::size_t const length = lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
  if (isBad) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if (!isContinuation(byteAt(text, i))) return 0;
  }
  return length;
}

/// The decimal number in front, without sign or needless zeros, up to `max`.
U64 readNumber(TextReader& in, U64 max) {
  std::string_view const rest = in.rest();
  U64 v = 0;
  auto const [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), v);
  auto const digits = static_cast<std::size_t>(end - rest.data());
  if (digits == 0) fail("a number was expected at " + quotedForMessage(rest));
  if (error != std::errc() || v > max) {
    fail("the number " + quotedForMessage(rest.substr(0, digits)) + " is greater than " +
         std::to_string(max));
  }
  if (digits > 1 && rest.front() == '0') fail("needless zeros at " + quotedForMessage(rest));
  in.skip(digits);
  return v;
}

template <class T>
void readNarrow(TextReader& in, T& v) {
  v = static_cast<T>(readNumber(in, std::numeric_limits<T>::max()));
}

/// What stands behind a backslash for `c`, or 0 when `c` is written otherwise.
constexpr char escapeOf(char c) {
  switch (c) {
    case '\\':
    case '\'':
      return c;
    case '\n':
      return 'n';
    case '\r':
      return 'r';
    case '\t':
      return 't';
    default:
      return 0;
  }
}

constexpr bool isControl(char c) { return static_cast<U8>(c) < 0x20 || c == 0x7f; }

constexpr int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

void writeHex(std::string& out, char c) {
  ((out += "\\x") += kHexDigits[static_cast<U8>(c) / 16]) += kHexDigits[static_cast<U8>(c) % 16];
}

void writeEscaped(std::string& out, char c) {
  if (char const escape = escapeOf(c)) {
    (out += '\\') += escape;
  } else if (isControl(c)) {
    writeHex(out, c);
  } else {
    out += c;
  }
}

/// Takes a character off the front, or one byte that belongs to none.
std::string_view takeCharacter(std::string_view& text) {
  std::string_view const character =
      text.substr(0, std::max<std::size_t>(characterLength(text), 1));
  text.remove_prefix(character.size());
  return character;
}

/// Appends what takeCharacter() gave as a person can see it.
void writeCharacter(std::string& out, std::string_view character, std::string_view kept) {
  char const c = character.front();
  bool const isC1 = c == '\xc2' && byteAt(character, 1) < 0xa0;
  bool const isPart = character.size() == 1 && byteAt(character, 0) >= 0x80;
  if (isC1 || isPart) {
    for (char const byte : character) writeHex(out, byte);
  } else if (isControl(c) && kept.find(c) == kept.npos) {
    writeEscaped(out, c);
  } else {
    out += character;
  }
}

/// Takes one escape off the front of `rest`, which begins behind the backslash.
char readEscape(std::string_view& rest) {
  if (rest.empty()) fail("a string ends in a backslash");
  char const c = rest.front();
  rest.remove_prefix(1);
  for (char const raw : {'\\', '\'', '\n', '\r', '\t'}) {
    if (c == escapeOf(raw)) return raw;
  }
  if (c == 'x' && rest.size() >= 2) {
    int const high = hexValue(rest[0]);
    int const low = hexValue(rest[1]);
    char const raw = static_cast<char>(high * 16 + low);
    if (high >= 0 && low >= 0 && isControl(raw) && !escapeOf(raw)) {
      rest.remove_prefix(2);
      return raw;
    }
  }
  fail("an unknown escape in a string at " + quotedForMessage(rest));
}

}  // namespace

void TextReader::literal(std::string_view word) {
  if (!rest_.starts_with(word)) {
    fail("expected " + std::string(word) + " at " + quotedForMessage(rest_));
  }
  rest_.remove_prefix(word.size());
}

std::string_view TextReader::word() noexcept {
  std::string_view const front = rest_.substr(0, rest_.find_first_of(",})]"));
  rest_.remove_prefix(front.size());
  return front;
}

void TextReader::end() const {
  if (!rest_.empty()) fail("unexpected text at " + quotedForMessage(rest_));
}

void writeText(std::string& out, U64 v) {
  char digits[20];
  auto const end = std::to_chars(digits, digits + sizeof digits, v).ptr;
  out.append(digits, end);
}

void writeText(std::string& out, float v) {
  char digits[32];
  auto const end = std::to_chars(digits, digits + sizeof digits, v).ptr;
  out.append(digits, end);
}

void writeText(std::string& out, bool v) { out += v ? "True" : "False"; }

void writeText(std::string& out, String const& v) {
  out += '\'';
  for (char const c : v.view()) writeEscaped(out, c);
  out += '\'';
}

void writeVisible(std::string& out, std::string_view text, std::string_view kept) {
  while (!text.empty()) writeCharacter(out, takeCharacter(text), kept);
}

std::string messageText(std::string_view text, std::size_t limit) {
  std::string out;
  while (!text.empty()) {
    std::size_t const size = out.size();
    writeCharacter(out, takeCharacter(text), {});
    if (out.size() <= limit) continue;
    out.resize(size);
    return out + "...";
  }
  return out;
}

std::string quotedForMessage(std::string_view text) {
  constexpr std::size_t kMost = 60;
  std::size_t end = 0;
  for (std::string_view rest = text; !rest.empty();) {
    std::size_t const next = end + takeCharacter(rest).size();
    if (next > kMost) break;
    end = next;
  }
  std::string out;
  writeVisible(out, toText(String(text.substr(0, end))));
  return end < text.size() ? out + "..." : out;
}

void readText(TextReader& in, U64& v) { readNarrow(in, v); }
void readText(TextReader& in, U32& v) { readNarrow(in, v); }
void readText(TextReader& in, U16& v) { readNarrow(in, v); }
void readText(TextReader& in, U8& v) { readNarrow(in, v); }

void readText(TextReader& in, bool& v) {
  bool const isTrue = in.rest().starts_with("True");
  if (!isTrue && !in.rest().starts_with("False")) {
    fail("True or False was expected at " + quotedForMessage(in.rest()));
  }
  in.skip(isTrue ? 4 : 5);
  v = isTrue;
}

void readText(TextReader& in, float& v) {
  std::string_view const rest = in.rest();
  std::string_view const word = TextReader(in).word();
  float read = 0;
  auto const [end, error] = std::from_chars(word.data(), word.data() + word.size(), read);
  bool const isWhole = !word.empty() && end == word.data() + word.size();
  if (isWhole && error == std::errc::result_out_of_range) {
    fail("the number " + quotedForMessage(word) + " is beyond the range of floats");
  }
  if (!isWhole || error != std::errc() || (!std::isfinite(read) && toText(read) != word)) {
    fail("a decimal number was expected at " + quotedForMessage(rest));
  }
  in.skip(word.size());
  v = read;
}

void readText(TextReader& in, String& v) {
  std::string_view rest = in.rest();
  if (!rest.starts_with('\''))
    fail("a string in single quotes was expected at " + quotedForMessage(rest));
  rest.remove_prefix(1);
  std::string read;
  while (true) {
    if (rest.empty()) fail("a string without its closing quote");
    char const c = rest.front();
    rest.remove_prefix(1);
    if (c == '\'') break;
    if (isControl(c)) fail("a bare control character in a string");
    read += c == '\\' ? readEscape(rest) : c;
  }
  in.skip(in.rest().size() - rest.size());
  v = String(read);
}

}  // namespace Orb
