#pragma once

#include <algorithm>
#include <array>
#include <compare>
#include <functional>
#include <span>
#include <type_traits>

#include "platform/ipa/AddressFamily.h"
#include "platform/ipa/AddressValue.h"

namespace Ipa {

/// An IPv4 address; 0.0.0.0 by default. Its text is the dotted decimal form.
class ROUTEPOLICY_EXPORT IpAddr : public AddressValue<IpAddr> {
 public:
  static constexpr std::string_view typeName = "Ipa::IpAddr";
  static constexpr U32 kBits = 32;
  static constexpr std::string_view kForm = "IPv4 address";
  static constexpr std::size_t kTextSize = 15;

  constexpr IpAddr() noexcept = default;
  /// `value` is in host byte order: 0x0a000001 is 10.0.0.1.
  explicit constexpr IpAddr(U32 value) noexcept : value_(value) {}

  constexpr U32 value() const noexcept { return value_; }

  /// The `length` leading bits set; all of them for a length beyond 32.
  static constexpr IpAddr mask(U32 length) noexcept {
    return IpAddr(static_cast<U32>(0xffffffff00000000U >> std::min(length, kBits)));
  }
  friend constexpr IpAddr operator&(IpAddr a, IpAddr b) noexcept {
    return IpAddr(a.value_ & b.value_);
  }

  char* writeTo(char* out) const noexcept;
  static TextFault read(std::string_view text, IpAddr& v) noexcept;

  friend constexpr bool operator==(IpAddr const&, IpAddr const&) noexcept = default;
  friend constexpr auto operator<=>(IpAddr const&, IpAddr const&) noexcept = default;
  friend constexpr U32 hashOf(IpAddr const& v) noexcept { return detail::hashBits(v.value_, 0, 0); }

 private:
  U32 value_ = 0;
};

/// An IPv6 address; :: by default. Its text is the canonical form of RFC 5952; IPv4-mapped
/// addresses (::ffff:0:0/96) end in dotted decimal, as its section 5 recommends.
class ROUTEPOLICY_EXPORT Ip6Addr : public AddressValue<Ip6Addr> {
 public:
  static constexpr std::string_view typeName = "Ipa::Ip6Addr";
  static constexpr U32 kBits = 128;
  static constexpr std::string_view kForm = "IPv6 address";
  static constexpr std::size_t kTextSize = 39;

  constexpr Ip6Addr() noexcept = default;
  /// The leading and the trailing 64 bits, in host byte order.
  constexpr Ip6Addr(U64 high, U64 low) noexcept
      : words_{static_cast<U32>(high >> 32), static_cast<U32>(high), static_cast<U32>(low >> 32),
               static_cast<U32>(low)} {}
  /// The address as it stands in a packet.
  explicit constexpr Ip6Addr(std::span<U8 const, 16> bytes) noexcept {
    for (std::size_t i = 0; i < bytes.size(); ++i) words_[i / 4] = words_[i / 4] << 8 | bytes[i];
  }

  constexpr U64 high() const noexcept { return U64{words_[0]} << 32 | words_[1]; }
  constexpr U64 low() const noexcept { return U64{words_[2]} << 32 | words_[3]; }
  /// The address as it stands in a packet.
  constexpr std::array<U8, 16> bytes() const noexcept {
    std::array<U8, 16> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      bytes[i] = static_cast<U8>(words_[i / 4] >> (24 - i % 4 * 8));
    }
    return bytes;
  }

  /// The `length` leading bits set; all of them for a length beyond 128.
  static constexpr Ip6Addr mask(U32 length) noexcept {
    constexpr auto half = [](U32 bits) { return bits == 0 ? 0 : ~U64{0} << (64 - bits); };
    return {half(std::min(length, 64U)), half(std::clamp(length, 64U, kBits) - 64)};
  }
  friend constexpr Ip6Addr operator&(Ip6Addr const& a, Ip6Addr const& b) noexcept {
    return {a.high() & b.high(), a.low() & b.low()};
  }

  char* writeTo(char* out) const noexcept;
  static TextFault read(std::string_view text, Ip6Addr& v) noexcept;

  friend constexpr bool operator==(Ip6Addr const& a, Ip6Addr const& b) noexcept {
    return a.high() == b.high() && a.low() == b.low();
  }
  friend constexpr std::strong_ordering operator<=>(Ip6Addr const& a, Ip6Addr const& b) noexcept {
    auto const order = a.high() <=> b.high();
    return std::is_neq(order) ? order : a.low() <=> b.low();
  }
  friend constexpr U32 hashOf(Ip6Addr const& v) noexcept {
    return detail::hashBits(v.high(), v.low(), 0);
  }

 private:
  std::array<U32, 4> words_{};  // four words, not two: alignment 4 keeps a prefix at 20 bytes
};

/// An address of either family; 0.0.0.0 by default. IPv4 sorts before IPv6.
class ROUTEPOLICY_EXPORT IpGenAddr : public AddressValue<IpGenAddr> {
 public:
  static constexpr std::string_view typeName = "Ipa::IpGenAddr";
  static constexpr std::string_view kForm = "IP address";
  static constexpr std::size_t kTextSize = Ip6Addr::kTextSize;

  constexpr IpGenAddr() noexcept = default;
  constexpr IpGenAddr(IpAddr const& address) noexcept : bits_(U64{address.value()} << 32, 0) {}
  constexpr IpGenAddr(Ip6Addr const& address) noexcept : family_(ipv6), bits_(address) {}

  constexpr AddressFamily family() const noexcept { return family_; }
  /// The number of bits of an address of this family.
  constexpr U32 maxLength() const noexcept {
    return family_ == ipv4 ? IpAddr::kBits : Ip6Addr::kBits;
  }
  /// The leading and the trailing 64 bits, left-aligned: IPv4 is in the top 32 bits of high().
  constexpr U64 high() const noexcept { return bits_.high(); }
  constexpr U64 low() const noexcept { return bits_.low(); }

  /// The address, or the zero address when the family differs.
  explicit constexpr operator IpAddr() const noexcept {
    return family_ == ipv4 ? IpAddr(static_cast<U32>(high() >> 32)) : IpAddr();
  }
  explicit constexpr operator Ip6Addr() const noexcept {
    return family_ == ipv6 ? bits_ : Ip6Addr();
  }

  char* writeTo(char* out) const noexcept;
  static TextFault read(std::string_view text, IpGenAddr& v) noexcept;

  friend constexpr bool operator==(IpGenAddr const&, IpGenAddr const&) noexcept = default;
  friend constexpr auto operator<=>(IpGenAddr const&, IpGenAddr const&) noexcept = default;
  friend constexpr U32 hashOf(IpGenAddr const& v) noexcept {
    return detail::hashBits(v.high(), v.low(), static_cast<U32>(v.family_));
  }

 private:
  AddressFamily family_ = ipv4;
  Ip6Addr bits_;  // left-aligned
};

// Binary forms: the bytes of an address in network order; IpGenAddr has its family before them.
ROUTEPOLICY_EXPORT void writeBinary(std::string& out, IpAddr const& v);
ROUTEPOLICY_EXPORT void writeBinary(std::string& out, Ip6Addr const& v);
ROUTEPOLICY_EXPORT void writeBinary(std::string& out, IpGenAddr const& v);
ROUTEPOLICY_EXPORT void readBinary(Orb::BinaryReader& in, IpAddr& v);
ROUTEPOLICY_EXPORT void readBinary(Orb::BinaryReader& in, Ip6Addr& v);
ROUTEPOLICY_EXPORT void readBinary(Orb::BinaryReader& in, IpGenAddr& v);

static_assert(sizeof(IpAddr) == 4 && std::is_trivially_copyable_v<IpAddr>);
static_assert(sizeof(Ip6Addr) == 16 && alignof(Ip6Addr) == 4);
static_assert(std::is_trivially_copyable_v<Ip6Addr> && std::is_trivially_copyable_v<IpGenAddr>);

}  // namespace Ipa

template <>
struct std::hash<Ipa::IpAddr> : Ipa::detail::Hash<Ipa::IpAddr> {};
template <>
struct std::hash<Ipa::Ip6Addr> : Ipa::detail::Hash<Ipa::Ip6Addr> {};
template <>
struct std::hash<Ipa::IpGenAddr> : Ipa::detail::Hash<Ipa::IpGenAddr> {};
