#include "policy_config/CommunityText.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <optional>

#include "platform/ipa/Address.h"
#include "platform/orb/base/Error.h"

// The tables are what is known of the families; the writer and the reader go by the same rows.

namespace Acl {

namespace {

using Orb::TextReader;
using Orb::U16;
using Orb::U32;

/// Those of the IANA registry of well-known communities that RFCs define. A number is written as
/// its first row has it.
struct WellKnownCommunity {
  U32 number;
  std::string_view name;
};
constexpr WellKnownCommunity kWellKnown[] = {
    {0xffff0000, "graceful-shutdown"},    // RFC 8326
    {0xffff0001, "accept-own"},           // RFC 7611
    {0xffff0006, "llgr-stale"},           // RFC 9494
    {0xffff0007, "no-llgr"},              // RFC 9494
    {0xffff0009, "standby-pe"},           // RFC 9026
    {0xffff029a, "blackhole"},            // RFC 7999
    {0xffffff01, "no-export"},            // RFC 1997
    {0xffffff02, "no-advertise"},         // RFC 1997
    {0xffffff03, "no-export-subconfed"},  // RFC 1997
    {0xffffff03, "local-as"},             // what many call it
    {0xffffff04, "no-peer"},              // RFC 3765
};

/// What an extended community's six octets begin with; a number takes what is left of them.
enum class Administrator { twoOctetAs, address, fourOctetAs };

/// The extended communities that have a text of their own.
struct ExtendedForm {
  U32 type;  ///< the octets of type and sub-type
  std::string_view word;
  Administrator administrator;
  bool isBandwidth = false;  ///< the number is an IEEE float
};
constexpr std::string_view kTarget = "rt";   // RFC 4360, section 4
constexpr std::string_view kOrigin = "soo";  // RFC 4360, section 5
constexpr ExtendedForm kExtendedForms[] = {
    {0x0002, kTarget, Administrator::twoOctetAs},  {0x0102, kTarget, Administrator::address},
    {0x0202, kTarget, Administrator::fourOctetAs},  // RFC 5668
    {0x0003, kOrigin, Administrator::twoOctetAs},  {0x0103, kOrigin, Administrator::address},
    {0x0203, kOrigin, Administrator::fourOctetAs}, {0x4004, "lbw", Administrator::twoOctetAs, true},
};

constexpr std::string_view kRaw = "raw 0x";
constexpr char kFourOctetMark = 'L';
constexpr U32 kMostOfTwoOctets = 0xffff;

[[noreturn]] void notSo(std::string const& reason) { throw Orb::ParseException({}, reason); }

// Writing

void writeHexWord(std::string& out, U32 word) {
  for (int shift = 28; shift >= 0; shift -= 4) out += "0123456789abcdef"[word >> shift & 0xf];
}

void writeRaw(std::string& out, CommunityValue const& v) {
  out += kRaw;
  if (v.part0() != 0) writeHexWord(out, v.part0());
  writeHexWord(out, v.part1());
  writeHexWord(out, v.part2());
}

void writeNumbers(std::string& out, U32 first, U32 second) {
  Orb::writeText(out, first);
  out += ':';
  Orb::writeText(out, second);
}

void writeStandard(std::string& out, U32 community) {
  for (WellKnownCommunity const& known : kWellKnown) {
    if (known.number == community) return void(out += known.name);
  }
  writeNumbers(out, community >> 16, community & kMostOfTwoOctets);
}

/// Bandwidths that are none: a negative zero too, which would read back as zero.
bool isBandwidthText(float bandwidth) {
  return std::isfinite(bandwidth) && !std::signbit(bandwidth);
}

ExtendedForm const* extendedFormOf(CommunityValue const& v) {
  for (ExtendedForm const& form : kExtendedForms) {
    if (form.type != v.part1() >> 16) continue;
    return form.isBandwidth && !isBandwidthText(std::bit_cast<float>(v.part2())) ? nullptr : &form;
  }
  return nullptr;
}

void writeExtended(std::string& out, ExtendedForm const& form, CommunityValue const& v) {
  (out += form.word) += ' ';
  if (form.administrator == Administrator::twoOctetAs) {
    Orb::writeText(out, v.part1() & kMostOfTwoOctets);
  } else {
    U32 const four = v.part1() << 16 | v.part2() >> 16;
    if (form.administrator == Administrator::address) {
      Ipa::IpAddr(four).appendTo(out);
    } else {
      Orb::writeText(out, four);
      if (four <= kMostOfTwoOctets) out += kFourOctetMark;
    }
  }
  out += ':';
  if (form.isBandwidth) {
    Orb::writeText(out, std::bit_cast<float>(v.part2()));
  } else {
    bool const isLong = form.administrator == Administrator::twoOctetAs;
    Orb::writeText(out, isLong ? v.part2() : v.part2() & kMostOfTwoOctets);
  }
}

// Reading

/// The next number, and what stands in front of it.
template <class T>
U32 takeNumber(TextReader& in, std::string_view before = {}) {
  in.literal(before);
  T number{};
  Orb::readText(in, number);
  return number;
}

U32 takeBandwidth(TextReader& in) {
  float bandwidth = 0;
  std::string_view const text = in.rest();
  Orb::readText(in, bandwidth);
  if (!isBandwidthText(bandwidth)) {
    notSo("a bandwidth is finite and not negative, not " + Orb::quotedForMessage(text));
  }
  return std::bit_cast<U32>(bandwidth);
}

CommunityValue takeRaw(TextReader& in) {
  constexpr std::size_t kDigits = 8;  // of a part
  in.literal(kRaw);
  std::string_view const digits = in.rest();
  std::size_t const count = digits.size() / kDigits;
  bool const isHex = digits.find_first_not_of("0123456789abcdef") == digits.npos;
  if (!isHex || digits.size() % kDigits != 0 || count < 2 || count > 3) {
    notSo("16 or 24 hexadecimal digits, in lower case, were expected at " +
          Orb::quotedForMessage(digits));
  }
  U32 parts[3]{};
  for (std::size_t i = 0; i < count; ++i) {
    char const* const part = digits.data() + i * kDigits;
    std::from_chars(part, part + kDigits, parts[3 - count + i], 16);
  }
  if (count == 3 && parts[0] == 0) notSo("needless zeros at " + Orb::quotedForMessage(digits));
  in.skip(digits.size());
  return CommunityValue::of(parts[0], parts[1], parts[2]);
}

std::optional<U32> wellKnownNumber(std::string_view name) {
  for (WellKnownCommunity const& known : kWellKnown) {
    if (known.name == name) return known.number;
  }
  return std::nullopt;
}

bool startsWithDigit(std::string_view text) {
  return !text.empty() && text.front() >= '0' && text.front() <= '9';
}

CommunityValue takeStandard(TextReader& in) {
  if (auto const known = wellKnownNumber(in.rest())) {
    in.skip(in.rest().size());
    return CommunityValue::of(0U, 0U, *known);
  }
  if (!startsWithDigit(in.rest())) notSo("neither the name of a well-known one nor 65000:100");
  U32 const as = takeNumber<U16>(in);
  return CommunityValue::of(0U, 0U, as << 16 | takeNumber<U16>(in, ":"));
}

struct AdministratorText {
  Administrator kind;
  U32 number;
};

/// The one that stands before the colon.
AdministratorText takeAdministrator(TextReader& in) {
  std::string_view const text = in.rest().substr(0, in.rest().find(':'));
  if (text.find('.') != text.npos) {
    in.skip(text.size());
    return {Administrator::address, Ipa::IpAddr::parse(text).value()};
  }
  U32 const as = takeNumber<U32>(in);
  bool const isMarked = in.rest().starts_with(kFourOctetMark);
  if (isMarked && as > kMostOfTwoOctets) notSo("a needless L at " + Orb::quotedForMessage(text));
  if (isMarked) in.skip(1);
  bool const isLong = isMarked || as > kMostOfTwoOctets;
  return {isLong ? Administrator::fourOctetAs : Administrator::twoOctetAs, as};
}

bool isExtendedWord(std::string_view word) {
  return std::any_of(std::begin(kExtendedForms), std::end(kExtendedForms),
                     [&](ExtendedForm const& form) { return form.word == word; });
}

std::string_view firstWord(std::string_view text) { return text.substr(0, text.find(' ')); }

CommunityValue takeExtended(TextReader& in) {
  std::string_view const word = firstWord(in.rest());
  if (!isExtendedWord(word)) {
    notSo("rt, soo, lbw or raw was expected at " + Orb::quotedForMessage(word));
  }
  in.skip(word.size());
  if (in.rest().empty()) notSo("a value was expected behind it, such as rt 65000:100");
  in.literal(" ");
  AdministratorText const before = takeAdministrator(in);
  auto const* const form = std::find_if(
      std::begin(kExtendedForms), std::end(kExtendedForms), [&](ExtendedForm const& row) {
        return row.word == word && row.administrator == before.kind;
      });
  if (form == std::end(kExtendedForms)) {
    notSo("an AS number up to 65535, without L, stands behind " + std::string(word));
  }
  in.literal(":");
  U32 const type = form->type << 16;
  if (before.kind == Administrator::twoOctetAs) {
    U32 const number = form->isBandwidth ? takeBandwidth(in) : takeNumber<U32>(in);
    return CommunityValue::of(0U, type | before.number, number);
  }
  U32 const number = takeNumber<U16>(in);
  return CommunityValue::of(0U, type | before.number >> 16, before.number << 16 | number);
}

CommunityValue takeLarge(TextReader& in) {
  U32 const administrator = takeNumber<U32>(in);
  U32 const first = takeNumber<U32>(in, ":");
  return CommunityValue::of(administrator, first, takeNumber<U32>(in, ":"));
}

CommunityValue takeCommunity(TextReader& in, CommunityType family) {
  if (in.rest().starts_with(kRaw)) return takeRaw(in);
  if (family == communityTypeStandard) return takeStandard(in);
  return family == communityTypeExtended ? takeExtended(in) : takeLarge(in);
}

constexpr std::string_view familyName(CommunityType family) {
  return family == communityTypeStandard   ? "a standard"
         : family == communityTypeExtended ? "an extended"
                                           : "a large";
}

[[noreturn]] void refuseCommunity(std::string_view text, std::string_view kind,
                                  std::string_view reason) {
  notSo(Orb::quotedForMessage(text)
            .append(" is not ")
            .append(kind)
            .append(" community: ")
            .append(reason));
}

/// The family whose form a text has; none when it has no form at all.
std::optional<CommunityType> familyOfForm(std::string_view text) {
  if (wellKnownNumber(text)) return communityTypeStandard;
  if (isExtendedWord(firstWord(text)) || text.starts_with(kRaw)) return communityTypeExtended;
  if (!startsWithDigit(text)) return std::nullopt;
  bool const isLarge = std::count(text.begin(), text.end(), ':') > 1;
  return isLarge ? communityTypeLarge : communityTypeStandard;
}

}  // namespace

void writeCommunity(std::string& out, CommunityType family, CommunityValue const& value) {
  if (family == communityTypeLarge) {
    writeNumbers(out, value.part0(), value.part1());
    out += ':';
    return Orb::writeText(out, value.part2());
  }
  CommunityType const needed = communityTypeOf(value);
  if (family == communityTypeStandard && needed == family) {
    return writeStandard(out, value.part2());
  }
  auto const* const form = family == needed ? extendedFormOf(value) : nullptr;
  form ? writeExtended(out, *form, value) : writeRaw(out, value);
}

CommunityValue readCommunity(std::string_view text, CommunityType family) {
  try {
    TextReader in(text);
    CommunityValue const value = takeCommunity(in, family);
    in.end();
    return value;
  } catch (Orb::ParseException const& error) {
    refuseCommunity(text, familyName(family), error.reason());
  }
}

CommunityValue readCommunity(std::string_view text) {
  if (auto const family = familyOfForm(text)) return readCommunity(text, *family);
  refuseCommunity(text, "a",
                  "expected 65000:100, a name such as no-export, rt, soo or lbw with a value, "
                  "65000:1:2 or raw 0x with digits");
}

void writePlain(std::string& out, CommunityValue const& value) {
  writeCommunity(out, communityTypeOf(value), value);
}

void readPlain(TextReader& in, CommunityValue& value) { value = readCommunity(in.word()); }

}  // namespace Acl
