#include "policy_eval/MatchCommunityList.h"

#include <algorithm>
#include <new>

#include "policy_config/CommunityText.h"

namespace Routing::PolicyEval {

namespace {

using Acl::CommunityListEntry;
using Acl::CommunityType;
using Acl::CommunityValue;
using Communities = std::span<CommunityValue const>;
using RouteMap::CommListIndex;
using RouteMap::PosixRegex;

CommunityListMatch matchOf(CommunityListEntry const* entry) {
  if (!entry) return {CommunityListMatch::Outcome::noMatch, false, 0, nullptr};
  return {CommunityListMatch::Outcome::match, entry->permit() == Acl::permitMatch, entry->seqno(),
          entry};
}

/// Whether an entry of explicit values matches, by comparing them all.
bool matchesValues(CommunityListEntry const& entry, Communities communities, CommunityMatch how) {
  auto const& wanted = entry.community();
  if (wanted.size() > communities.size()) return false;
  auto at = communities.begin();
  for (auto const& member : wanted) {
    at = std::lower_bound(at, communities.end(), member.key);
    if (at == communities.end() || !(*at == member.key)) return false;
  }
  return how == CommunityMatch::contained ||
         std::all_of(communities.begin(), communities.end(),
                     [&](CommunityValue const& value) { return wanted.has(value); });
}

/// What expressions read: the communities' text in each family that is asked for, one behind the
/// other in the caller's buffer, with a NUL behind each. (A list may have entries of several
/// families, by the type of each.)
class CommunityTexts {
 public:
  CommunityTexts(Communities communities, std::string& buffer)
      : communities_(communities), buffer_(buffer) {
    buffer_.clear();
  }

  bool isMatch(CommunityListEntry const& entry, PosixRegex const& regex) {
    int const result = regex.execute(textOf(Acl::communityTypeOf(entry.listType())));
    // To pass over the entry could let in a route that it denies.
    if (result == REG_ESPACE) throw std::bad_alloc();
    return result == 0;
  }

 private:
  static constexpr std::size_t kNotMade = ~std::size_t{0};

  /// Good until the text of another family is made.
  char const* textOf(CommunityType family) {
    std::size_t& start =
        starts_[std::min(static_cast<std::size_t>(family), std::size(starts_) - 1)];
    if (start == kNotMade) {
      start = buffer_.size();
      write(family);
    }
    return buffer_.data() + start;
  }
  void write(CommunityType family) {
    CommunityValue const* before = nullptr;
    for (CommunityValue const& value : communities_) {
      if (before && *before == value) continue;
      if (before) buffer_ += ' ';
      writeCommunity(buffer_, family, value);
      before = &value;
    }
    buffer_ += '\0';
  }

  Communities const communities_;
  std::string& buffer_;
  std::size_t starts_[3]{kNotMade, kNotMade, kNotMade};  // in the buffer, by family
};

CommunityListEntry const* firstByScan(CommListStatus const& status, Communities communities,
                                      CommunityMatch how, CommunityTexts& texts) {
  for (auto const& entry : status.communityListEntry()) {
    if (!Acl::isExpanded(entry->listType())) {
      if (matchesValues(*entry, communities, how)) return entry.get();
      continue;
    }
    auto const* const regex = status.regexMap().find(entry->seqno());
    if (regex && (*regex)->compiled() && texts.isMatch(*entry, **regex)) return entry.get();
  }
  return nullptr;
}

/// Only the expanded entries in front of the first one of explicit values are tried.
CommunityListEntry const* firstByIndex(CommListIndex const& index, Communities communities,
                                       CommunityMatch how, CommunityTexts& texts) {
  auto const* const first = index.firstExplicit(communities, how == CommunityMatch::exact);
  for (CommListIndex::Expanded const& expanded : index.expanded()) {
    if (first && first->seqno() < expanded.seqno) break;
    if (texts.isMatch(*expanded.entry, *expanded.regex)) return expanded.entry;
  }
  return first;
}

}  // namespace

CommunityListMatch matchCommunityList(CommListStatus const* status, Communities communities,
                                      CommunityMatch how, std::string& text) {
  if (!status) return {};
  CommunityTexts texts(communities, text);
  CommListIndex const* const index = status->index();
  return matchOf(index ? firstByIndex(*index, communities, how, texts)
                       : firstByScan(*status, communities, how, texts));
}

}  // namespace Routing::PolicyEval
