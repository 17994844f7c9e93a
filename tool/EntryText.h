#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "policy_config/PrefixList.h"

namespace Tool {

/// The entries of a list as they are shown, by sequence number.
class EntryText {
 public:
  template <class List>
  explicit EntryText(List const& list);

  /// "seq 20 deny 10.0.0.0/8 le 32". REQUIRES: the list has that entry.
  std::string_view of(Orb::U32 seqno) const;

 private:
  struct Line {
    Orb::U32 seqno;
    std::size_t begin;
  };

  Line const& lineOf(Orb::U32 seqno) const;

  std::string const text_;
  std::vector<Line> lines_;  // by ascending sequence number, as they are shown
};

extern template EntryText::EntryText(Acl::PrefixList const&);
extern template EntryText::EntryText(Acl::Ipv6PrefixList const&);

}  // namespace Tool
