#pragma once

#include <array>
#include <concepts>
#include <iosfwd>
#include <span>
#include <string>
#include <string_view>

#include "platform/orb/base/Binary.h"
#include "platform/orb/base/Error.h"
#include "platform/orb/base/Text.h"

/// Enumerations with names. One line declares everything, at namespace scope:
///
///   ORB_ENUM(MatchPermit, "Acl::MatchPermit", permitMatch = 1, denyMatch = 0);
///
/// gives the enum class over U32, its enumerators in the namespace as well, the table of names,
/// its registration under the full name, MatchPermitInstance (value of a number or a name),
/// stringValue, valueToStrep, sequenceToValue, stream output, text and binary form with their
/// readers, and hash. Values are decimal.
namespace Orb {

struct Enumerator {
  std::string_view name;
  U32 value;
};

/// The run-time form of an enumeration: its full name and its enumerators as declared.
struct EnumType {
  std::string_view name;
  std::span<Enumerator const> enumerators;
};

/// The enumeration registered under a full name, or null.
ROUTEPOLICY_EXPORT EnumType const* enumType(std::string_view fullName);

/// Registers an enumeration for as long as it lives; the first one of a name counts.
class ROUTEPOLICY_EXPORT EnumRegistration {
 public:
  explicit EnumRegistration(EnumType const& type);
  ~EnumRegistration();
  EnumRegistration(EnumRegistration const&) = delete;
  EnumRegistration& operator=(EnumRegistration const&) = delete;

 private:
  EnumType const& type_;
};

/// An enumeration that ORB_ENUM declared.
template <class E>
concept Enumeration = std::is_enum_v<E> && requires(E e) {
  { enumTypeOf(e) } -> std::convertible_to<EnumType const&>;
};

namespace detail {

constexpr std::size_t countNames(std::string_view list) {
  std::size_t n = list.empty() ? 0 : 1;
  for (char const c : list) n += c == ',' ? 1U : 0U;
  return n;
}

constexpr std::string_view trimmed(std::string_view s) {
  while (s.starts_with(' ')) s.remove_prefix(1);
  while (s.ends_with(' ')) s.remove_suffix(1);
  return s;
}

/// The part of `list` before the next `separator`, which is taken off.
constexpr std::string_view takePart(std::string_view& list, char separator) {
  std::size_t const n = list.find(separator);
  std::string_view const part = trimmed(list.substr(0, n));
  list.remove_prefix(n == std::string_view::npos ? list.size() : n + 1);
  return part;
}

/// Reads "a = 1, b = 0"; a part without a number follows the one before it.
template <std::size_t count>
constexpr std::array<Enumerator, count> parseEnumerators(std::string_view list) {
  std::array<Enumerator, count> table{};
  U32 next = 0;
  for (Enumerator& e : table) {
    std::string_view part = takePart(list, ',');
    e.name = takePart(part, '=');
    if (!part.empty()) {
      next = 0;
      for (char const digit : trimmed(part)) {
        if (digit < '0' || digit > '9') throw "the value of an enumerator must be decimal";
        next = next * 10 + static_cast<U32>(digit - '0');
      }
    }
    e.value = next++;
  }
  return table;
}

/// The name of `value`, or an empty text.
ROUTEPOLICY_EXPORT std::string_view enumeratorName(EnumType const& type, U32 value) noexcept;
/// The value of a number or a name of the table, or a RangeException.
ROUTEPOLICY_EXPORT U32 enumeratorOf(EnumType const& type, U32 value);
ROUTEPOLICY_EXPORT U32 enumeratorOf(EnumType const& type, std::string_view name);
/// Takes a name of the table off the front; anything else is a ParseException.
ROUTEPOLICY_EXPORT U32 readEnumerator(TextReader& in, EnumType const& type);
/// Takes a number of the table off the front; anything else is a ParseException.
ROUTEPOLICY_EXPORT U32 readEnumerator(BinaryReader& in, EnumType const& type);
/// Appends the name, or the decimal number when there is none.
ROUTEPOLICY_EXPORT void writeEnumerator(std::string& out, EnumType const& type, U32 value);
ROUTEPOLICY_EXPORT std::ostream& writeEnumerator(std::ostream& out, EnumType const& type,
                                                 U32 value);

}  // namespace detail
}  // namespace Orb

#define ORB_ENUM(Type, fullName, ...)                                                          \
  enum class Type : ::Orb::U32 { __VA_ARGS__ };                                                \
  using enum Type;                                                                             \
  inline constexpr auto Type##Enumerators =                                                    \
      ::Orb::detail::parseEnumerators<::Orb::detail::countNames(#__VA_ARGS__)>(#__VA_ARGS__);  \
  inline constexpr ::Orb::EnumType Type##Table{fullName, Type##Enumerators};                   \
  inline ::Orb::EnumRegistration const Type##Registration{Type##Table};                        \
  constexpr ::Orb::EnumType const& enumTypeOf(Type) noexcept { return Type##Table; }           \
  inline Type Type##Instance(::Orb::U32 value) {                                               \
    return static_cast<Type>(::Orb::detail::enumeratorOf(Type##Table, value));                 \
  }                                                                                            \
  inline Type Type##Instance(::Orb::String const& name) {                                      \
    return static_cast<Type>(::Orb::detail::enumeratorOf(Type##Table, name.view()));           \
  }                                                                                            \
  inline void sequenceToValue(std::string_view text, Type& value) {                            \
    value = static_cast<Type>(::Orb::detail::enumeratorOf(Type##Table, text));                 \
  }                                                                                            \
  inline void writeText(std::string& out, Type value) {                                        \
    ::Orb::detail::writeEnumerator(out, Type##Table, static_cast<::Orb::U32>(value));          \
  }                                                                                            \
  inline void readText(::Orb::TextReader& in, Type& value) {                                   \
    value = static_cast<Type>(::Orb::detail::readEnumerator(in, Type##Table));                 \
  }                                                                                            \
  inline void writeBinary(std::string& out, Type value) {                                      \
    ::Orb::writeBinary(out, static_cast<::Orb::U32>(value));                                   \
  }                                                                                            \
  inline void readBinary(::Orb::BinaryReader& in, Type& value) {                               \
    value = static_cast<Type>(::Orb::detail::readEnumerator(in, Type##Table));                 \
  }                                                                                            \
  inline ::Orb::String stringValue(Type value) { return ::Orb::String(::Orb::toText(value)); } \
  inline ::Orb::String valueToStrep(Type value) { return stringValue(value); }                 \
  inline std::ostream& operator<<(std::ostream& out, Type value) {                             \
    return ::Orb::detail::writeEnumerator(out, Type##Table, static_cast<::Orb::U32>(value));   \
  }                                                                                            \
  constexpr ::Orb::U32 hashOf(Type value) noexcept {                                           \
    return ::Orb::hashOf(static_cast<::Orb::U32>(value));                                      \
  }                                                                                            \
  static_assert(Type##Enumerators.size() > 0)
