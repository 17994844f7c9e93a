#include "list_import/PrefixEntryParser.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include "list_import/detail/Format.h"
#include "list_import/detail/SourceLines.h"

// The cases of a line in the order in which they are decided:
//   1. the words; the first one must be a verdict, "seq" or "abort"
//   2. the sequence number, given or automatic
//   3. the verdict
//   4. the prefix, where the families differ
//   5. the lengths behind it
//   6. whether the lengths go together
//   7. whether an earlier line says the same
// Numbers are compared with their bounds as they were read, and narrowed after that.

namespace Acl {

namespace {

using detail::formatted;
using detail::isSpace;
using detail::isWord;
using Orb::U32;
using Orb::U64;

constexpr U32 kMaxSeqno = std::numeric_limits<U32>::max();

/// Whether strtoul() and the like take the number in front of `text` for a negative one.
bool hasMinus(char const* text) {
  while (isSpace(*text)) ++text;
  return *text == '-';
}

/// A number that is out of bounds, as a message shows it: negative ones as 32 bits without a sign,
/// what does not fit them as the largest number that does.
U32 shown(long value) {
  bool const fits = value >= std::numeric_limits<std::int32_t>::min() &&
                    value <= long{std::numeric_limits<U32>::max()};
  return fits ? static_cast<U32>(value) : std::numeric_limits<U32>::max();
}

/// Takes a number off the front of `text` as scanf's %u does: white space, a sign and decimal
/// digits. Nothing when there are no digits or the number does not fit 32 bits.
bool scanNumber(char const*& text, U32& number) {
  while (isSpace(*text)) ++text;
  bool const isNegative = *text == '-';
  if (isNegative || *text == '+') ++text;
  if (*text < '0' || *text > '9') return false;
  U64 value = 0;
  for (; *text >= '0' && *text <= '9'; ++text) {
    value = value * 10 + static_cast<U64>(*text - '0');
    if (value > std::numeric_limits<U32>::max()) return false;
  }
  number = static_cast<U32>(value);
  return !isNegative || value == 0;
}

/// Reads "A.B.C.D/LENGTH" off the front of `text`; what follows is let through, on purpose.
bool readPrefix(char const* text, Ipa::Prefix& prefix) {
  U32 address = 0;
  for (int i = 0; i < 4; ++i) {
    U32 octet = 0;
    if (!scanNumber(text, octet) || octet > 255) return false;
    if (*text++ != (i < 3 ? '.' : '/')) return false;
    address = address << 8 | octet;
  }
  U32 length = 0;
  if (!scanNumber(text, length) || length > Ipa::Prefix::kMaxLength) return false;
  prefix = Ipa::Prefix(Ipa::IpAddr(address), length);
  return true;
}

/// Reads "ADDRESS/LENGTH" and cuts the word at the slash. What follows the length is let through,
/// and bits beyond the length are cleared, unlike those of IPv4: both on purpose.
bool readPrefix(char* word, Ipa::Ip6Prefix& prefix) {
  char* const slash = std::strchr(word, '/');
  if (!slash) return false;
  *slash = '\0';
  long const length = std::strtol(slash + 1, nullptr, 10);
  auto const address = Ipa::Ip6Addr::tryParse(word);
  if (!address || length < 0 || length > long{Ipa::Ip6Prefix::kMaxLength}) return false;
  prefix = Ipa::Ip6Prefix::subnet(*address, static_cast<U32>(length));
  return true;
}

}  // namespace

int checkPrefixLengths(U32 length, U32 ge, U32 le, U32 eq, U32 maxLength) {
  bool const isWrong = length == 0 ||                                         //
                       eq > maxLength || ge > maxLength || le > maxLength ||  //
                       (eq != 0 && length > eq) ||                            //
                       (le != 0 && length > le) ||                            //
                       (ge != 0 && length > ge) ||                            //
                       (ge != 0 && le != 0 && ge > le) ||                     //
                       (eq != 0 && (ge != 0 || le != 0));
  return isWrong ? -1 : 0;
}

template <class Family>
int PrefixEntryParser<Family>::parse(char* line, Orb::String& error) {
  fault_ = PrefixSourceFault::badLine;
  detail::splitLine(line, words_);
  if (words_.empty()) {
    error = {};
    return -1;
  }
  Words word = words_.begin();
  if (isWord(*word, "abort")) {
    error = "abort detected in sequence";
    return -1;
  }
  if (!isWord(*word, "permit") && !isWord(*word, "deny") && !isWord(*word, "seq")) {
    error = formatted("Invalid command %s", *word);
    return -1;
  }
  Line parsed;
  if (!takeSeqno(word, parsed, error)) return -1;
  parsed.permit = isWord(*word, "permit") ? permitMatch : denyMatch;
  if (parsed.permit == denyMatch && !isWord(*word, "deny")) {
    error = formatted("Invalid permission %s", *word);
    return -1;
  }
  ++word;
  if (!takePrefix(word, parsed, error)) return -1;
  if (!takeMaskLengths(word, parsed, error)) return -1;
  if (!accept(parsed, error)) return -1;
  fault_ = PrefixSourceFault::none;
  return 0;
}

template <class Family>
bool PrefixEntryParser<Family>::takeSeqno(Words& word, Line& line, Orb::String& error) {
  if (!isWord(*word, "seq")) {
    U64 const seqno = entries_.nextSeqno();
    if (seqno > kMaxSeqno) {
      error = "Max seqno reached";
      return false;
    }
    entries_.nextSeqnoIs(seqno + 1);
    line.seqno = static_cast<U32>(seqno);
    return true;
  }
  if (words_.size() < 4) {
    error = formatted("Invalid prefix list sequence %s", *word);
    return false;
  }
  char const* const text = *++word;
  ++word;
  char* end = nullptr;
  unsigned long long const seqno = std::strtoull(text, &end, 0);
  bool const isNegative = seqno != 0 && hasMinus(text);  // and came out as a large one
  if (seqno > kMaxSeqno && !isNegative) {
    error = formatted("Seqno %llu exceeds max seqno %u", seqno, kMaxSeqno);
    return false;
  }
  if (*end != '\0' || isNegative) {
    error = formatted("Invalid sequence number %s", text);
    return false;
  }
  line.seqno = static_cast<U32>(seqno);
  if (entries_.seqnoHas(line.seqno)) {
    error = formatted("Duplicate seqno %u found", line.seqno);
    return false;
  }
  return true;
}

template <class Family>
bool PrefixEntryParser<Family>::takePrefix(Words& word, Line& line, Orb::String& error) {
  if (word != words_.end()) {
    line.prefixText = *word;
    if (readPrefix(*word++, line.prefix)) return true;
  }
  bool const isIpv6 = Family::kFamily == Ipa::ipv6;
  bool const looksIpv6 = std::strchr(line.prefixText, ':') != nullptr;
  fault_ = *line.prefixText != '\0' && looksIpv6 != isIpv6 ? PrefixSourceFault::otherFamily
                                                           : PrefixSourceFault::badPrefix;
  error = formatted("Invalid prefix %s", line.prefixText);
  return false;
}

template <class Family>
bool PrefixEntryParser<Family>::takeMaskLengths(Words& word, Line& line, Orb::String& error) {
  while (word != words_.end()) {
    char const* const keyword = *word++;
    U32* const length = isWord(keyword, "ge")   ? &line.ge
                        : isWord(keyword, "le") ? &line.le
                        : isWord(keyword, "eq") ? &line.eq
                                                : nullptr;
    if (!length || word == words_.end()) {
      error = formatted("Invalid mask len type %s", keyword);
      return false;
    }
    char const* const text = *word++;
    char* end = nullptr;
    long const value = std::strtol(text, &end, 0);
    if (*end != '\0') {
      error = formatted("Invalid mask len %s", text);
      return false;
    }
    if (value < 1 || value > long{Family::kMaxLength}) {
      error = formatted("Invalid mask len %u", shown(value));
      return false;
    }
    *length = static_cast<U32>(value);
  }
  return true;
}

template <class Family>
bool PrefixEntryParser<Family>::accept(Line const& line, Orb::String& error) {
  auto const refuse = [&](char const* format) {
    error = formatted(format, line.prefixText, line.prefix.length(), line.ge, line.le, line.eq);
    return false;
  };
  if (checkPrefixLengths(line.prefix.length(), line.ge, line.le, line.eq, Family::kMaxLength) !=
      0) {
    return refuse("Invalid entry %s/%u, ge %u, le %u, eq %u");
  }
  auto const entry =
      Family::Entry::of(line.seqno, line.prefix, line.permit, line.eq != 0 ? line.eq : line.ge,
                        line.eq != 0 ? line.eq : line.le, line.eq);
  auto const earlier = entries_.duplicateOf(entry);
  if (earlier != PfxEntries<Family>::kNone) {
    switch (onDuplicate_) {
      case duplicateIgnore:
        return true;
      case duplicateOverride:
        entries_.remove(earlier);
        break;
      case duplicateError:
      default:
        return refuse("Duplicate prefix entry found: %s/%u, ge %u, le %u, eq %u");
    }
  }
  entries_.add(entry);
  return true;
}

template <class Family>
Orb::String DebugParsePrefixEntry<Family>::operator()(Orb::String const& line) const {
  PfxEntries<Family> entries;
  PrefixEntryParser<Family> parser(entries, duplicateError);
  std::string copy = line.str();
  Orb::String error;
  if (parser.parse(copy.data(), error) != 0) return formatted("Error: %s", error.c_str());
  Orb::String text;
  entries.forEach([&](typename Family::Entry const& entry) {
    text = formatted("Entry: %u, %s, eq %d, ge %d, le %d", entry.seqno(),
                     entry.prefix().toString().c_str(), static_cast<int>(entry.eq()),
                     static_cast<int>(entry.ge()), static_cast<int>(entry.le()));
  });
  return text;
}

template class PrefixEntryParser<Ipv4Family>;
template class PrefixEntryParser<Ipv6Family>;
template struct DebugParsePrefixEntry<Ipv4Family>;
template struct DebugParsePrefixEntry<Ipv6Family>;

}  // namespace Acl
