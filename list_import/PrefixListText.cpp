#include <charconv>
#include <cstdint>
#include <ctime>
#include <string>

#include "list_import/CliHelper.h"
#include "list_import/detail/Format.h"
#include "policy_config/PrefixListFamily.h"

namespace Acl {

namespace {

using detail::formatted;
using Orb::U32;

template <class Number>
void appendNumber(std::string& text, Number number) {
  char digits[12];
  text.append(digits, std::to_chars(digits, std::end(digits), number).ptr);
}

/// A length, which printed as %d is negative beyond 31 bits.
void appendLength(std::string& text, char const* keyword, U32 length) {
  text += keyword;
  appendNumber(text, static_cast<std::int32_t>(length));
}

Orb::String localTime(U32 seconds) {
  std::time_t const time = seconds;
  std::tm local{};
  char text[64];
  if (!localtime_r(&time, &local)) return {};
  return std::string_view(text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local));
}

template <class Entry>
void appendEntry(std::string& text, Entry const& entry) {
  text += "    seq ";
  appendNumber(text, entry.seqno());
  text += entry.permit() == permitMatch ? " permit " : " deny ";
  entry.prefix().appendTo(text);
  if (entry.eq() != 0) {
    appendLength(text, " eq ", entry.eq());
  } else {
    if (entry.ge() != 0) appendLength(text, " ge ", entry.ge());
    if (entry.le() != 0) appendLength(text, " le ", entry.le());
  }
  text += '\n';
}

template <class Family>
std::string textOf(typename Family::List const& list) {
  auto const& entries = Family::entries(list);
  constexpr std::size_t kUsualLine = 48;
  std::string text;
  text += formatted("%s prefix-list %s", Family::kCliWord, list.name().c_str());
  if (list.source().empty()) {
    text += '\n';
  } else {
    text += formatted(" source %s\n", list.source().c_str());
    if (list.sourceTimestamp() == 0) return text += "! Failed to import from URL\n";
    text += formatted("! Num entries: %u. Update time: %s\n", static_cast<U32>(entries.size()),
                      localTime(list.sourceTimestamp()).c_str());
  }
  text.reserve(text.size() + kUsualLine * entries.size());
  for (auto const& entry : entries) appendEntry(text, entry);
  return text;
}

}  // namespace

std::string prefixListText(PrefixList const& list) { return textOf<Ipv4Family>(list); }
std::string prefixListText(Ipv6PrefixList const& list) { return textOf<Ipv6Family>(list); }

}  // namespace Acl
