#include "tool/EntryText.h"

#include <algorithm>

#include "list_import/CliHelper.h"
#include "policy_config/PrefixListFamily.h"

namespace Tool {

namespace {

auto const& entriesOf(Acl::PrefixList const& list) { return Acl::Ipv4Family::entries(list); }
auto const& entriesOf(Acl::Ipv6PrefixList const& list) { return Acl::Ipv6Family::entries(list); }

}  // namespace

template <class List>
EntryText::EntryText(List const& list) : text_(Acl::prefixListText(list)) {
  auto const& entries = entriesOf(list);
  lines_.reserve(entries.size());
  std::size_t end = text_.find('\n');  // of the header: the list was typed by hand
  for (auto const& entry : entries) {
    lines_.push_back({entry.seqno(), text_.find_first_not_of(' ', end + 1)});
    end = text_.find('\n', end + 1);
  }
}

EntryText::Line const& EntryText::lineOf(Orb::U32 seqno) const {
  // Entries mostly are numbered in even steps: a look at where one would stand then saves a search.
  Orb::U64 const first = lines_.front().seqno;
  Orb::U64 const span = std::max<Orb::U64>(lines_.back().seqno - first, 1);
  Line const& guess = lines_[(seqno - first) * (lines_.size() - 1) / span];
  if (guess.seqno == seqno) return guess;
  return *std::lower_bound(lines_.begin(), lines_.end(), seqno,
                           [](Line const& line, Orb::U32 wanted) { return line.seqno < wanted; });
}

std::string_view EntryText::of(Orb::U32 seqno) const {
  std::string_view const rest = std::string_view(text_).substr(lineOf(seqno).begin);
  return rest.substr(0, rest.find('\n'));
}

template EntryText::EntryText(Acl::PrefixList const&);
template EntryText::EntryText(Acl::Ipv6PrefixList const&);

}  // namespace Tool
