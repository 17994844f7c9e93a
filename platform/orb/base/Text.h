#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/orb/base/String.h"

/// Text forms: numbers in decimal, booleans as True and False, strings in single quotes with
/// backslash escapes, addresses and enumerators bare. Every type that has a text form has two
/// functions, found by its namespace:
///   void writeText(std::string& out, T const& v);    appends the form
///   void readText(Orb::TextReader& in, T& v);        takes it off the front of `in`
/// A reader accepts exactly what the writer gives and throws a ParseException for all else, with
/// one exception: a float may be any decimal number, since people type them ("1e30", "0.50").
namespace Orb {

/// Reads text forms from the front of a text, which must outlive it.
class ROUTEPOLICY_EXPORT TextReader {
 public:
  explicit TextReader(std::string_view text) noexcept : rest_(text) {}

  /// Takes exactly `word` off the front, or throws.
  void literal(std::string_view word);
  /// Takes what stands before the next ',', '}', ')' or ']' (or the end) off the front.
  std::string_view word() noexcept;
  /// Throws unless everything has been read.
  void end() const;

  std::string_view rest() const noexcept { return rest_; }
  void skip(std::size_t count) noexcept { rest_.remove_prefix(count); }

 private:
  std::string_view rest_;
};

ROUTEPOLICY_EXPORT void writeText(std::string& out, U64 v);
inline void writeText(std::string& out, U32 v) { writeText(out, U64{v}); }
inline void writeText(std::string& out, U16 v) { writeText(out, U64{v}); }
inline void writeText(std::string& out, U8 v) { writeText(out, U64{v}); }
ROUTEPOLICY_EXPORT void writeText(std::string& out, bool v);
/// The shortest decimal number that reads back as the same value; inf, nan with their sign.
ROUTEPOLICY_EXPORT void writeText(std::string& out, float v);
ROUTEPOLICY_EXPORT void writeText(std::string& out, String const& v);

/// Appends a text that a person is to read, of whatever origin: control characters (those of C1
/// too) and bytes that are not UTF-8 are escaped as strings have it, but for the characters in
/// `kept`.
ROUTEPOLICY_EXPORT void writeVisible(std::string& out, std::string_view text,
                                     std::string_view kept = {});
/// The same for a message: as much as fits `limit` bytes, and "..." for the rest.
ROUTEPOLICY_EXPORT std::string messageText(std::string_view text, std::size_t limit = 500);
/// The text form of a string for a message: visible, and of its first 60 bytes.
ROUTEPOLICY_EXPORT std::string quotedForMessage(std::string_view text);

ROUTEPOLICY_EXPORT void readText(TextReader& in, U64& v);
ROUTEPOLICY_EXPORT void readText(TextReader& in, U32& v);
ROUTEPOLICY_EXPORT void readText(TextReader& in, U16& v);
ROUTEPOLICY_EXPORT void readText(TextReader& in, U8& v);
ROUTEPOLICY_EXPORT void readText(TextReader& in, bool& v);
/// A decimal number with or without an exponent, which is rounded to the nearest float; no plus
/// sign in front, and nothing beyond the range of floats. What is not finite reads as it is written
/// only.
ROUTEPOLICY_EXPORT void readText(TextReader& in, float& v);
ROUTEPOLICY_EXPORT void readText(TextReader& in, String& v);
inline void readText(TextReader& in, Name& v) { readText(in, static_cast<String&>(v)); }

/// The text form of any value.
template <class T>
std::string toText(T const& v) {
  std::string out;
  writeText(out, v);
  return out;
}

/// The same as a String; enumerations have it in their own namespaces as well.
template <class T>
String valueToStrep(T const& v) {
  return String(toText(v));
}

/// Reads `v` from the whole of `text`; `v` is unchanged when that throws.
template <class T>
void fromText(T& v, std::string_view text) {
  TextReader in(text);
  T read{};
  readText(in, read);
  in.end();
  v = std::move(read);
}

/// Hashes, found like the text forms; the same in every process.
constexpr U32 hashOf(U32 v) noexcept {
  v = (v ^ (v >> 16)) * 0x85ebca6bU;
  v = (v ^ (v >> 13)) * 0xc2b2ae35U;
  return v ^ (v >> 16);
}
constexpr U32 hashOf(U64 v) noexcept {
  return hashOf(static_cast<U32>(v) ^ hashOf(static_cast<U32>(v >> 32)));
}
inline U32 hashOf(String const& v) noexcept { return v.hash(); }

/// Adds the hash `next` to the hash `h` of what stands before it; the order counts.
constexpr U32 hashMix(U32 h, U32 next) noexcept { return (h ^ next) * 16777619U; }

}  // namespace Orb
