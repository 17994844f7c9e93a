#pragma once

#include <array>
#include <bit>

#include "platform/ipa/Prefix.h"
#include "platform/orb/base/Types.h"

/// Private to the trie: how an address of either family is cut into the strides of the tree.
///
/// A key is an address at the high end of an integer, behind `kPad` bits that are always zero, and
/// a prefix is a key with a length that counts the padding too. The padding sets where the
/// strides of six bits begin: with two bits IPv4 has them at /4, /10, /16, /22 and /28, so that
/// the lengths of which routing tables are made, /16 to /24, take two nodes. IPv6 needs none: /32,
/// /48 and /64 are each early in their stride.
namespace Routing::detail {

using Orb::U32;
using Orb::U64;
using Orb::U8;
__extension__ using U128 = unsigned __int128;

constexpr unsigned kStride = 6;

struct Ip4Key {
  using Key = U64;
  using Stamp = std::array<U64, 1>;  ///< a prefix; sorts by address, then by length
  static constexpr Ipa::AddressFamily kFamily = Ipa::ipv4;
  static constexpr unsigned kPad = 2;
  static constexpr unsigned kMaxLength = 32 + kPad;
  static constexpr unsigned kWords = 1;  ///< words of 64 bits in a stored key
  /// The root may be a table over this many leading bits when there are that many prefixes.
  static constexpr unsigned kRootDepth[] = {12, 18};
  static constexpr U64 kRootSize[] = {1024, 24576};

  static unsigned leadingZeros(Key key) { return static_cast<unsigned>(std::countl_zero(key)); }
  static unsigned trailingZeros(Key key) { return static_cast<unsigned>(std::countr_zero(key)); }
  static Key load(U64 const* words) { return words[0]; }
  static void store(U64* words, Key key) { words[0] = key; }

  static Key key(Ipa::IpGenPrefix const& prefix) { return prefix.high() >> kPad; }
  static Ipa::IpGenPrefix prefix(Key key, unsigned length) {
    return Ipa::Prefix(Ipa::IpAddr(static_cast<U32>(key << kPad >> 32)), length - kPad);
  }

  static Stamp stamp(Key key, unsigned length) { return {key | length}; }
  static Key stampKey(Stamp const& stamp) { return stamp[0] & ~Key{0xff}; }
  static unsigned stampLength(Stamp const& stamp) { return stamp[0] & 0xff; }
};

struct Ip6Key {
  using Key = U128;
  using Stamp = std::array<U64, 3>;
  static constexpr Ipa::AddressFamily kFamily = Ipa::ipv6;
  static constexpr unsigned kPad = 0;
  static constexpr unsigned kMaxLength = 128;
  static constexpr unsigned kWords = 2;
  static constexpr unsigned kRootDepth[] = {12};
  static constexpr U64 kRootSize[] = {8192};

  static unsigned leadingZeros(Key key) {
    U64 const high = static_cast<U64>(key >> 64);
    return static_cast<unsigned>(high ? std::countl_zero(high)
                                      : 64 + std::countl_zero(static_cast<U64>(key)));
  }
  static unsigned trailingZeros(Key key) {
    U64 const low = static_cast<U64>(key);
    return static_cast<unsigned>(low ? std::countr_zero(low)
                                     : 64 + std::countr_zero(static_cast<U64>(key >> 64)));
  }
  static Key load(U64 const* words) { return Key{words[0]} << 64 | words[1]; }
  static void store(U64* words, Key key) {
    words[0] = static_cast<U64>(key >> 64);
    words[1] = static_cast<U64>(key);
  }

  static Key key(Ipa::IpGenPrefix const& prefix) { return Key{prefix.high()} << 64 | prefix.low(); }
  static Ipa::IpGenPrefix prefix(Key key, unsigned length) {
    return Ipa::Ip6Prefix(Ipa::Ip6Addr(static_cast<U64>(key >> 64), static_cast<U64>(key)), length);
  }

  static Stamp stamp(Key key, unsigned length) {
    return {static_cast<U64>(key >> 64), static_cast<U64>(key), length};
  }
  static Key stampKey(Stamp const& stamp) { return Key{stamp[0]} << 64 | stamp[1]; }
  static unsigned stampLength(Stamp const& stamp) { return static_cast<unsigned>(stamp[2]); }
};

template <class Key>
constexpr unsigned kKeyBits = 8 * sizeof(Key);

/// The first stride of the key.
template <class Key>
constexpr unsigned topStride(Key key) {
  return static_cast<unsigned>(key >> (kKeyBits<Key> - kStride));
}

/// The leading `bits` of the key as a number; `bits` may be 0.
template <class Key>
constexpr U64 leading(Key key, unsigned bits) {
  return bits == 0 ? 0 : static_cast<U64>(key >> (kKeyBits<Key> - bits));
}

/// The key with everything behind the leading `bits` cleared; `bits` may be 0.
template <class Key>
constexpr Key masked(Key key, unsigned bits) {
  return bits == 0 ? Key{0} : key & (~Key{0} << (kKeyBits<Key> - bits));
}

/// The stride `value` at `depth`, which may reach over the end of an IPv6 address.
template <class Key>
constexpr Key strideAt(U64 value, unsigned depth) {
  return Key{value} << (kKeyBits<Key> - kStride) >> depth;
}

/// The depth of the node that keeps prefixes of `length`.
constexpr unsigned homeDepth(unsigned length) { return length / kStride * kStride; }

}  // namespace Routing::detail
