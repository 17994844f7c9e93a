#include <arpa/inet.h>

#include <ostream>

#include "platform/ipa/Address.h"
#include "platform/ipa/Prefix.h"
#include "platform/orb/base/Error.h"

namespace Ipa {

namespace {

/// Writes 0..255 in decimal.
char* writeOctet(char* out, U32 v) noexcept {
  if (v >= 100) *out++ = static_cast<char>('0' + v / 100);
  if (v >= 10) *out++ = static_cast<char>('0' + v / 10 % 10);
  *out++ = static_cast<char>('0' + v % 10);
  return out;
}

char* writeDotted(char* out, U32 v) noexcept {
  out = writeOctet(out, v >> 24);
  for (int shift = 16; shift >= 0; shift -= 8) {
    *out++ = '.';
    out = writeOctet(out, v >> shift & 0xff);
  }
  return out;
}

/// Writes a 16-bit field in hexadecimal, lower case, without leading zeros.
char* writeField(char* out, U32 v) noexcept {
  constexpr char kDigits[] = "0123456789abcdef";
  if (v >= 0x1000) *out++ = kDigits[v >> 12];
  if (v >= 0x100) *out++ = kDigits[v >> 8 & 0xf];
  if (v >= 0x10) *out++ = kDigits[v >> 4 & 0xf];
  *out++ = kDigits[v & 0xf];
  return out;
}

/// Fields [begin, end) of an IPv6 address; begin is 8 and end 0 when there are none.
struct ZeroRun {
  int begin = 8;
  int end = 0;
};

/// The zero fields that "::" stands for (RFC 5952, section 4.2): the longest run, the first of
/// equals, never a single field.
ZeroRun zeroRun(U32 const (&field)[8]) noexcept {
  ZeroRun longest;
  for (int i = 0; i < 8; ++i) {
    int const begin = i;
    while (i < 8 && field[i] == 0) ++i;
    if (i - begin >= 2 && i - begin > longest.end - longest.begin) longest = {begin, i};
  }
  return longest;
}

/// Reads `text` with the system's own parser, which wants it to end in a NUL.
template <std::size_t kMaxSize>
bool systemRead(int family, std::string_view text, void* address) noexcept {
  char terminated[kMaxSize + 1];
  if (text.size() > kMaxSize || text.find('\0') != std::string_view::npos) return false;
  text.copy(terminated, text.size());
  terminated[text.size()] = '\0';
  return inet_pton(family, terminated, address) == 1;
}

bool looksLikeIpv6(std::string_view text) noexcept {
  return text.find(':') != std::string_view::npos;
}

/// Reads a generic value as one of a known family.
template <class Known, class Generic>
TextFault readAs(std::string_view text, Generic& v) noexcept {
  Known known;
  TextFault const fault = Known::read(text, known);
  if (fault == TextFault::none) v = known;
  return fault;
}

char const* reasonOf(TextFault fault) {
  switch (fault) {
    case TextFault::address:
      return ": what stands before the slash is not an address";
    case TextFault::slash:
      return ": a slash and the length must follow the address";
    case TextFault::length:
      return ": the length is not a decimal number in range";
    case TextFault::hostBits:
      return ": the address has bits set beyond the length";
    case TextFault::none:
    case TextFault::form:
      break;
  }
  return "";
}

}  // namespace

namespace detail {

void badText(std::string_view form, std::string_view text, TextFault fault) {
  throw Orb::ParseException(
      {}, Orb::quotedForMessage(text) + " is not an " + std::string(form) + reasonOf(fault));
}

void notCanonical(std::string_view text, std::string_view canonical) {
  throw Orb::ParseException(
      {}, Orb::quotedForMessage(text) + " is not how " + std::string(canonical) + " is written");
}

std::ostream& put(std::ostream& out, std::string_view text) { return out << text; }

}  // namespace detail

char* IpAddr::writeTo(char* out) const noexcept { return writeDotted(out, value_); }

TextFault IpAddr::read(std::string_view text, IpAddr& v) noexcept {
  in_addr address{};
  if (!systemRead<kTextSize>(AF_INET, text, &address)) return TextFault::form;
  v = IpAddr(ntohl(address.s_addr));
  return TextFault::none;
}

char* Ip6Addr::writeTo(char* out) const noexcept {
  if (high() == 0 && words_[2] == 0xffff) {
    constexpr std::string_view kMapped = "::ffff:";
    return writeDotted(out + kMapped.copy(out, kMapped.size()), words_[3]);
  }
  U32 field[8];
  for (std::size_t i = 0; i < 4; ++i) {
    field[2 * i] = words_[i] >> 16;
    field[2 * i + 1] = words_[i] & 0xffff;
  }
  ZeroRun const zeros = zeroRun(field);
  for (int i = 0; i < 8; ++i) {
    if (i == zeros.begin) {
      *out++ = ':';
      *out++ = ':';
      i = zeros.end;
      if (i == 8) break;
    } else if (i > 0) {
      *out++ = ':';
    }
    out = writeField(out, field[i]);
  }
  return out;
}

TextFault Ip6Addr::read(std::string_view text, Ip6Addr& v) noexcept {
  constexpr std::size_t kLongest = INET6_ADDRSTRLEN - 1;  // six full fields and dotted decimal
  std::array<U8, 16> bytes{};
  if (!systemRead<kLongest>(AF_INET6, text, bytes.data())) return TextFault::form;
  v = Ip6Addr(bytes);
  return TextFault::none;
}

char* IpGenAddr::writeTo(char* out) const noexcept {
  return family_ == ipv4 ? IpAddr(*this).writeTo(out) : bits_.writeTo(out);
}

TextFault IpGenAddr::read(std::string_view text, IpGenAddr& v) noexcept {
  return looksLikeIpv6(text) ? readAs<Ip6Addr>(text, v) : readAs<IpAddr>(text, v);
}

namespace detail {

void lengthNotAllowed(std::string_view type, U32 max) {
  throw Orb::RangeException(std::string(type) + "::length > " + std::to_string(max) +
                            " not allowed");
}

void notValidAsPrefix(std::string_view type) {
  throw Orb::RangeException(std::string(type) + "::validAsPrefix != true not allowed");
}

char* writeLength(char* out, U32 length) noexcept {
  *out++ = '/';
  return writeOctet(out, length);
}

TextFault cutLength(std::string_view& text, U32 max, U32& length) noexcept {
  std::size_t const slash = text.find('/');
  if (slash == std::string_view::npos) return TextFault::slash;
  std::string_view const digits = text.substr(slash + 1);
  if (digits.empty() || digits.size() > 3) return TextFault::length;
  if (digits.size() > 1 && digits.front() == '0') return TextFault::length;
  U32 read = 0;
  for (char const c : digits) {
    if (c < '0' || c > '9') return TextFault::length;
    read = read * 10 + static_cast<U32>(c - '0');
  }
  if (read > max) return TextFault::length;
  text = text.substr(0, slash);
  length = read;
  return TextFault::none;
}

}  // namespace detail

TextFault IpGenPrefix::read(std::string_view text, IpGenPrefix& v) noexcept {
  return looksLikeIpv6(text) ? readAs<Ip6Prefix>(text, v) : readAs<Prefix>(text, v);
}

void IpGenPrefix::requireFamily(AddressFamily family) const {
  if (this->family() == family) return;
  throw Orb::RangeException("IpGenPrefix::family != " + Orb::toText(family) + " not allowed");
}

}  // namespace Ipa
