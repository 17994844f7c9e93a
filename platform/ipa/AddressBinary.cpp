#include <array>

#include "platform/ipa/Prefix.h"
#include "platform/orb/base/Error.h"

namespace Ipa {

namespace {

using Orb::BinaryReader;

/// The bytes of an address, from the highest down; IPv4 fills the first four.
using Bytes = std::array<U8, 16>;

Bytes bytesOf(U64 high, U64 low) { return Ip6Addr(high, low).bytes(); }

void writeBytes(std::string& out, Bytes const& bytes, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) out += static_cast<char>(bytes[i]);
}

/// Reads the leading bytes of an address; the others are 0.
Ip6Addr readBytes(BinaryReader& in, std::size_t count) {
  std::string_view const read = in.bytes(count);
  Bytes bytes{};
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<U8>(read[i]);
  return Ip6Addr(bytes);
}

constexpr std::size_t bytesFor(U32 bits) { return (bits + 7) / 8; }

IpAddr upperWord(Ip6Addr const& bits) { return IpAddr(static_cast<U32>(bits.high() >> 32)); }

void writePrefix(std::string& out, Bytes const& bytes, U32 length) {
  Orb::writeBinary(out, static_cast<U8>(length));
  writeBytes(out, bytes, bytesFor(length));
}

/// Reads what writePrefix() wrote; `length` is at most `max`.
Ip6Addr readPrefix(BinaryReader& in, U32 max, U32& length) {
  length = static_cast<U32>(in.number(max));
  Ip6Addr const bits = readBytes(in, bytesFor(length));
  if (!Ip6Prefix::validAsPrefix(bits, length)) {
    throw Orb::ParseException({}, "a prefix has bits beyond its length");
  }
  return bits;
}

}  // namespace

void writeBinary(std::string& out, IpAddr const& v) {
  writeBytes(out, bytesOf(U64{v.value()} << 32, 0), bytesFor(IpAddr::kBits));
}
void writeBinary(std::string& out, Ip6Addr const& v) {
  writeBytes(out, v.bytes(), bytesFor(Ip6Addr::kBits));
}
void writeBinary(std::string& out, IpGenAddr const& v) {
  writeBinary(out, v.family());
  writeBytes(out, bytesOf(v.high(), v.low()), bytesFor(v.maxLength()));
}
void writeBinary(std::string& out, Prefix const& v) {
  writePrefix(out, bytesOf(U64{v.address().value()} << 32, 0), v.length());
}
void writeBinary(std::string& out, Ip6Prefix const& v) {
  writePrefix(out, v.address().bytes(), v.length());
}
void writeBinary(std::string& out, IpGenPrefix const& v) {
  writeBinary(out, v.family());
  writePrefix(out, bytesOf(v.high(), v.low()), v.length());
}

void readBinary(BinaryReader& in, IpAddr& v) {
  v = upperWord(readBytes(in, bytesFor(IpAddr::kBits)));
}
void readBinary(BinaryReader& in, Ip6Addr& v) { v = readBytes(in, bytesFor(Ip6Addr::kBits)); }
void readBinary(BinaryReader& in, IpGenAddr& v) {
  AddressFamily family = ipv4;
  readBinary(in, family);
  bool const isIpv4 = family == ipv4;
  Ip6Addr const bits = readBytes(in, bytesFor(isIpv4 ? IpAddr::kBits : Ip6Addr::kBits));
  v = isIpv4 ? IpGenAddr(upperWord(bits)) : IpGenAddr(bits);
}
void readBinary(BinaryReader& in, Prefix& v) {
  U32 length = 0;
  Ip6Addr const bits = readPrefix(in, Prefix::kMaxLength, length);
  v = Prefix(upperWord(bits), length);
}
void readBinary(BinaryReader& in, Ip6Prefix& v) {
  U32 length = 0;
  Ip6Addr const bits = readPrefix(in, Ip6Prefix::kMaxLength, length);
  v = Ip6Prefix(bits, length);
}
void readBinary(BinaryReader& in, IpGenPrefix& v) {
  AddressFamily family = ipv4;
  readBinary(in, family);
  if (family == ipv4) {
    Prefix prefix;
    readBinary(in, prefix);
    v = prefix;
  } else {
    Ip6Prefix prefix;
    readBinary(in, prefix);
    v = prefix;
  }
}

}  // namespace Ipa
