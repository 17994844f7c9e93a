#pragma once

#include <functional>

#include "platform/ipa/Address.h"

namespace Ipa {

namespace detail {

template <class Address>
struct PrefixTraits;
template <>
struct PrefixTraits<IpAddr> {
  static constexpr std::string_view kName = "Prefix";
  static constexpr std::string_view kTypeName = "Ipa::Prefix";
  static constexpr std::string_view kForm = "IPv4 prefix";
  static constexpr U32 hash(IpAddr address, U32 length) noexcept {
    return hashBits(address.value(), 0, length);
  }
};
template <>
struct PrefixTraits<Ip6Addr> {
  static constexpr std::string_view kName = "Ip6Prefix";
  static constexpr std::string_view kTypeName = "Ipa::Ip6Prefix";
  static constexpr std::string_view kForm = "IPv6 prefix";
  static constexpr U32 hash(Ip6Addr const& address, U32 length) noexcept {
    return hashBits(address.high(), address.low(), length);
  }
};

/// Throws the Orb::RangeException of a length beyond `max`, or of bits beyond the length.
[[noreturn]] ROUTEPOLICY_EXPORT void lengthNotAllowed(std::string_view type, U32 max);
[[noreturn]] ROUTEPOLICY_EXPORT void notValidAsPrefix(std::string_view type);

/// Writes "/" and the length, at most 4 characters; returns their end.
ROUTEPOLICY_EXPORT char* writeLength(char* out, U32 length) noexcept;
/// Cuts "/" and the length, at most `max`, off the end of `text`, which must be an address then.
ROUTEPOLICY_EXPORT TextFault cutLength(std::string_view& text, U32 max, U32& length) noexcept;

}  // namespace detail

/// An address and the number of its leading bits that count; the others are zero. The zero address
/// and length 0 by default. The text is the address, a slash and the length.
template <class Address>
class PrefixOf : public AddressValue<PrefixOf<Address>> {
  using Traits = detail::PrefixTraits<Address>;

 public:
  static constexpr U32 kMaxLength = Address::kBits;
  static constexpr std::string_view typeName = Traits::kTypeName;
  static constexpr std::string_view kForm = Traits::kForm;
  static constexpr std::size_t kTextSize = Address::kTextSize + 4;

  constexpr PrefixOf() noexcept = default;
  /// Throws an Orb::RangeException for a length beyond kMaxLength, and for an address with bits
  /// beyond the length.
  constexpr PrefixOf(Address const& address, U32 length) : address_(address), length_(length) {
    if (length > kMaxLength) detail::lengthNotAllowed(Traits::kName, kMaxLength);
    if (!validAsPrefix(address, length)) detail::notValidAsPrefix(Traits::kName);
  }

  /// The prefix of this length that holds the address; throws for a length beyond kMaxLength only.
  static constexpr PrefixOf subnet(Address const& address, U32 length) {
    return PrefixOf(address & Address::mask(length), length);
  }
  /// Whether the address has no bits beyond the length.
  static constexpr bool validAsPrefix(Address const& address, U32 length) noexcept {
    return (address & Address::mask(length)) == address;
  }

  constexpr Address const& address() const noexcept { return address_; }
  constexpr U32 length() const noexcept { return length_; }
  constexpr Address mask() const noexcept { return Address::mask(length_); }

  constexpr bool contains(Address const& address) const noexcept {
    return (address & mask()) == address_;
  }
  /// Whether `other` lies in this prefix; each prefix contains itself.
  constexpr bool contains(PrefixOf const& other) const noexcept {
    return length_ <= other.length_ && contains(other.address_);
  }

  char* writeTo(char* out) const noexcept {
    return detail::writeLength(address_.writeTo(out), length_);
  }
  static TextFault read(std::string_view text, PrefixOf& v) noexcept {
    PrefixOf read;
    TextFault const fault = detail::cutLength(text, kMaxLength, read.length_);
    if (fault != TextFault::none) return fault;
    if (Address::read(text, read.address_) != TextFault::none) return TextFault::address;
    if (!validAsPrefix(read.address_, read.length_)) return TextFault::hostBits;
    v = read;
    return TextFault::none;
  }

  friend constexpr bool operator==(PrefixOf const&, PrefixOf const&) noexcept = default;
  friend constexpr auto operator<=>(PrefixOf const&, PrefixOf const&) noexcept = default;
  friend constexpr U32 hashOf(PrefixOf const& v) noexcept {
    return Traits::hash(v.address_, v.length_);
  }

 private:
  Address address_;
  U32 length_ = 0;
};

using Prefix = PrefixOf<IpAddr>;
using Ip6Prefix = PrefixOf<Ip6Addr>;

/// A prefix of either family; 0.0.0.0/0 by default. IPv4 sorts before IPv6, then as in PrefixOf.
class ROUTEPOLICY_EXPORT IpGenPrefix : public AddressValue<IpGenPrefix> {
 public:
  static constexpr std::string_view typeName = "Ipa::IpGenPrefix";
  static constexpr std::string_view kForm = "IP prefix";
  static constexpr std::size_t kTextSize = Ip6Prefix::kTextSize;

  constexpr IpGenPrefix() noexcept = default;
  constexpr IpGenPrefix(Prefix const& prefix) noexcept
      : IpGenPrefix(kUnchecked, prefix.address(), prefix.length()) {}
  constexpr IpGenPrefix(Ip6Prefix const& prefix) noexcept
      : IpGenPrefix(kUnchecked, prefix.address(), prefix.length()) {}
  /// Throws as PrefixOf does; a length may be 32 for IPv4, 128 for IPv6.
  constexpr IpGenPrefix(IpGenAddr const& address, U32 length)
      : IpGenPrefix(kUnchecked, address, length) {
    if (length > address.maxLength()) {
      detail::lengthNotAllowed("IpGenPrefix", address.maxLength());
    }
    if (!Ip6Prefix::validAsPrefix(bits_, length)) detail::notValidAsPrefix("IpGenPrefix");
  }

  /// The prefix of this length that holds the address; throws for a length out of range only.
  static constexpr IpGenPrefix subnet(IpGenAddr const& address, U32 length) {
    IpGenPrefix masked(kUnchecked, address, length);
    masked.bits_ = masked.bits_ & Ip6Addr::mask(length);
    return IpGenPrefix(masked.address(), length);
  }

  constexpr AddressFamily family() const noexcept { return static_cast<AddressFamily>(family_); }
  constexpr U32 length() const noexcept { return length_; }
  constexpr IpGenAddr address() const noexcept {
    if (family() == ipv6) return bits_;
    return IpAddr(static_cast<U32>(high() >> 32));
  }
  /// The greatest length of a prefix of this family.
  constexpr U32 maxLength() const noexcept {
    return family() == ipv4 ? Prefix::kMaxLength : Ip6Prefix::kMaxLength;
  }
  /// The leading and the trailing 64 bits, left-aligned: IPv4 is in the top 32 bits of high().
  constexpr U64 high() const noexcept { return bits_.high(); }
  constexpr U64 low() const noexcept { return bits_.low(); }

  /// Throws an Orb::RangeException when the family differs: a prefix of length 0 in its place
  /// would contain everything.
  explicit operator Prefix() const {
    requireFamily(ipv4);
    return {IpAddr(address()), length_};
  }
  explicit operator Ip6Prefix() const {
    requireFamily(ipv6);
    return {bits_, length_};
  }

  /// Nothing contains what is of the other family.
  constexpr bool contains(IpGenAddr const& address) const noexcept {
    return family() == address.family() && containsBits({address.high(), address.low()});
  }
  /// Whether `other` lies in this prefix; each prefix contains itself.
  constexpr bool contains(IpGenPrefix const& other) const noexcept {
    return family_ == other.family_ && length_ <= other.length_ && containsBits(other.bits_);
  }

  char* writeTo(char* out) const noexcept {
    return detail::writeLength(address().writeTo(out), length_);
  }
  static TextFault read(std::string_view text, IpGenPrefix& v) noexcept;

  friend constexpr bool operator==(IpGenPrefix const& a, IpGenPrefix const& b) noexcept {
    return a.family_ == b.family_ && a.length_ == b.length_ && a.bits_ == b.bits_;
  }
  friend constexpr std::strong_ordering operator<=>(IpGenPrefix const& a,
                                                    IpGenPrefix const& b) noexcept {
    if (auto const order = a.family_ <=> b.family_; std::is_neq(order)) return order;
    if (auto const order = a.bits_ <=> b.bits_; std::is_neq(order)) return order;
    return a.length_ <=> b.length_;
  }
  friend constexpr U32 hashOf(IpGenPrefix const& v) noexcept {
    return detail::hashBits(v.high(), v.low(), U32{v.family_} << 8 | v.length_);
  }

 private:
  static constexpr struct Unchecked {
  } kUnchecked{};

  // Narrows the length: who needs the check does it on the number as it was given.
  constexpr IpGenPrefix(Unchecked, IpGenAddr const& address, U32 length) noexcept
      : bits_(address.high(), address.low()),
        length_(static_cast<U8>(length)),
        family_(static_cast<U8>(address.family())) {}

  // Left-aligned, both families compare their bits alike.
  constexpr bool containsBits(Ip6Addr const& bits) const noexcept {
    return (bits & Ip6Addr::mask(length_)) == bits_;
  }
  void requireFamily(AddressFamily family) const;

  Ip6Addr bits_;
  U8 length_ = 0;
  U8 family_ = 0;
};

// Binary forms: the length in one byte and as many bytes of the address, in network order, as it
// reaches into; IpGenPrefix has its family before them. Bits beyond the length are refused.
ROUTEPOLICY_EXPORT void writeBinary(std::string& out, Prefix const& v);
ROUTEPOLICY_EXPORT void writeBinary(std::string& out, Ip6Prefix const& v);
ROUTEPOLICY_EXPORT void writeBinary(std::string& out, IpGenPrefix const& v);
ROUTEPOLICY_EXPORT void readBinary(Orb::BinaryReader& in, Prefix& v);
ROUTEPOLICY_EXPORT void readBinary(Orb::BinaryReader& in, Ip6Prefix& v);
ROUTEPOLICY_EXPORT void readBinary(Orb::BinaryReader& in, IpGenPrefix& v);

static_assert(sizeof(Prefix) == 8 && std::is_trivially_copyable_v<Prefix>);
static_assert(sizeof(Ip6Prefix) == 20 && std::is_trivially_copyable_v<Ip6Prefix>);
static_assert(sizeof(IpGenPrefix) == 20 && std::is_trivially_copyable_v<IpGenPrefix>);

}  // namespace Ipa

template <class Address>
struct std::hash<Ipa::PrefixOf<Address>> : Ipa::detail::Hash<Ipa::PrefixOf<Address>> {};
template <>
struct std::hash<Ipa::IpGenPrefix> : Ipa::detail::Hash<Ipa::IpGenPrefix> {};
