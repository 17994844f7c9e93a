#include <cstdint>
#include <string>

#include "list_import/CliHelper.h"
#include "list_import/detail/Format.h"
#include "list_import/detail/ListText.h"
#include "policy_config/PrefixListFamily.h"

namespace Acl {

namespace {

/// A length, which printed as %d is negative beyond 31 bits.
void appendLength(std::string& text, char const* keyword, Orb::U32 length) {
  text += keyword;
  detail::appendNumber(text, static_cast<std::int32_t>(length));
}

template <class Entry>
void appendEntry(std::string& text, Entry const& entry) {
  text += "    seq ";
  detail::appendNumber(text, entry.seqno());
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
  return detail::listText(detail::formatted("%s prefix-list", Family::kCliWord), list,
                          Family::entries(list),
                          [](std::string& text, auto const& entry) { appendEntry(text, entry); });
}

}  // namespace

std::string prefixListText(PrefixList const& list) { return textOf<Ipv4Family>(list); }
std::string prefixListText(Ipv6PrefixList const& list) { return textOf<Ipv6Family>(list); }

}  // namespace Acl
