#pragma once

#include <compare>
#include <cstddef>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

#include "platform/orb/base/Binary.h"
#include "platform/orb/base/Text.h"
#include "platform/orb/base/Types.h"

/// IPv4 and IPv6 addresses and prefixes: small values, copied freely, equal when they say the same,
/// ordered by address and then by length, hashed alike in every process.
namespace Ipa {

using Orb::U32;
using Orb::U64;
using Orb::U8;

/// What is wrong with a text that should be an address or a prefix.
enum class TextFault : U8 {
  none,
  form,     ///< not an address
  address,  ///< what stands before the slash is not an address
  slash,    ///< no slash
  length,   ///< what follows the slash is not a decimal number in range
  hostBits  ///< the address has bits beyond the length
};

namespace detail {

/// Throws an Orb::ParseException that names the text, the form it should have and the fault.
[[noreturn]] ROUTEPOLICY_EXPORT void badText(std::string_view form, std::string_view text,
                                             TextFault fault);
/// The same for a text that reads, but is not how `canonical` is written.
[[noreturn]] ROUTEPOLICY_EXPORT void notCanonical(std::string_view text,
                                                  std::string_view canonical);
ROUTEPOLICY_EXPORT std::ostream& put(std::ostream& out, std::string_view text);

/// The hash of up to 136 bits; every bit in reaches every bit out.
constexpr U32 hashBits(U64 high, U64 low, U32 extra) noexcept {
  constexpr auto mix = [](U64 h) {
    h = (h ^ (h >> 33)) * 0xff51afd7ed558ccdU;
    h = (h ^ (h >> 33)) * 0xc4ceb9fe1a85ec53U;
    return h ^ (h >> 33);
  };
  return static_cast<U32>(mix(mix(high ^ extra * 0x9e3779b97f4a7c15U) ^ low));
}

template <class T>
struct Hash {
  std::size_t operator()(T const& v) const noexcept { return hashOf(v); }
};

}  // namespace detail

/// Base of every type here: the texts in all their faces, from four things that Self has:
///   kForm                 what it is called, such as "IPv4 prefix"
///   kTextSize             no text of it is longer
///   char* writeTo(out)    writes the text, without a NUL, and returns its end
///   TextFault read(text, v)   reads all of `text` into `v`, which is unchanged on a fault
template <class Self>
class AddressValue {
 public:
  /// The value of `text`; an Orb::ParseException that names it when it is none.
  static Self parse(std::string_view text) {
    Self v;
    if (TextFault const fault = Self::read(text, v); fault != TextFault::none) {
      detail::badText(Self::kForm, text, fault);
    }
    return v;
  }

  /// The value of `text`, or nothing when it is none.
  static std::optional<Self> tryParse(std::string_view text) noexcept {
    Self v;
    if (Self::read(text, v) != TextFault::none) return std::nullopt;
    return v;
  }

  void appendTo(std::string& out) const {
    char text[Self::kTextSize];
    out.append(text, static_cast<Self const*>(this)->writeTo(text));
  }

  std::string toString() const {
    std::string out;
    appendTo(out);
    return out;
  }

  friend constexpr bool operator==(AddressValue const&, AddressValue const&) noexcept = default;
  friend constexpr auto operator<=>(AddressValue const&, AddressValue const&) noexcept = default;

  friend void writeText(std::string& out, Self const& v) { v.appendTo(out); }

  /// Takes the canonical text alone: what people type goes through parse().
  friend void readText(Orb::TextReader& in, Self& v) {
    std::string_view const word = in.word();
    Self const read = parse(word);
    char text[Self::kTextSize];
    std::string_view const canonical(text, static_cast<std::size_t>(read.writeTo(text) - text));
    if (word != canonical) detail::notCanonical(word, canonical);
    v = read;
  }

  friend std::ostream& operator<<(std::ostream& out, Self const& v) {
    char text[Self::kTextSize];
    return detail::put(out, {text, static_cast<std::size_t>(v.writeTo(text) - text)});
  }
};

}  // namespace Ipa
