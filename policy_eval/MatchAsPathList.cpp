#include "policy_eval/MatchAsPathList.h"

#include <new>

#include "platform/regex/PathText.h"

namespace Routing::PolicyEval {

namespace {

using RouteMap::AsPathMatchEntry;

constexpr AsPathListMatch kNoAsPathMatch{AsPathListMatch::Outcome::noMatch, false, 0, nullptr};

AsPathListMatch found(AsPathMatchEntry const& entry) noexcept {
  return {AsPathListMatch::Outcome::match, entry.isPermit, entry.seqno, entry.entry};
}

/// Expressions that read the path's numbers.
struct NumberMatcher {
  std::span<Orb::U32 const> path;

  bool operator()(AsPathMatchEntry const& entry) const noexcept {
    return rd_match(entry.dfa, path.data(), path.size()) != 0;
  }
};

/// Expressions that read the path's text, which is made for the first of them.
class TextMatcher {
 public:
  TextMatcher(AsPathListStatus const& status, std::span<Orb::U32 const> path, std::string& text)
      : status_(status), path_(path), text_(text) {}

  bool operator()(AsPathMatchEntry const& entry) {
    if (!isMade_) {
      AsPath::pathText(text_, path_,
                       status_.asnNotation() == asnNotationAsdot ? AsPath::Notation::asdot
                                                                 : AsPath::Notation::asplain);
      isMade_ = true;
    }
    int const result = entry.posix->execute(text_.c_str());
    // To pass over the entry could let in a route that it denies.
    if (result == REG_ESPACE) throw std::bad_alloc();
    return result == 0;
  }

 private:
  AsPathListStatus const& status_;
  std::span<Orb::U32 const> const path_;
  std::string& text_;
  bool isMade_ = false;
};

/// Whether an entry is for routes of that origin, and its expression matches.
template <class Matches>
bool isMatch(AsPathMatchEntry const& entry, AsPath::Origins origin, Matches& matches) {
  return (entry.origins & origin) != 0 && matches(entry);
}

template <class Matches>
AsPathListMatch firstOf(AsPathListStatus const& status, AsPath::Origins origin, Matches matches) {
  for (AsPathMatchEntry const& entry : status.matchEntries()) {
    if (isMatch(entry, origin, matches)) return found(entry);
  }
  return kNoAsPathMatch;
}

template <class Matches>
AsPathListMatch firstOfUnprepared(AsPathListStatus const& status, AsPath::Origins origin,
                                  Matches matches) {
  for (Acl::AsPathEntry const& entry : status.asPathEntry()) {
    auto const made = status.matchEntryOf(entry);
    if (made && isMatch(*made, origin, matches)) return found(*made);
  }
  return kNoAsPathMatch;
}

/// What is not a prepared list in DFA mode. Apart from that, which it would make slower.
[[gnu::noinline]] AsPathListMatch matchOther(AsPathListStatus const& status,
                                             std::span<Orb::U32 const> path, AsPath::Origins origin,
                                             std::string& text) {
  if (status.regexMode() == Acl::regexModeDfa) {
    return firstOfUnprepared(status, origin, NumberMatcher{path});
  }
  TextMatcher const matcher(status, path, text);
  return status.isPrepared() ? firstOf(status, origin, matcher)
                             : firstOfUnprepared(status, origin, matcher);
}

}  // namespace

AsPathListMatch matchAsPathList(AsPathListStatus const* status, std::span<Orb::U32 const> path,
                                Acl::BGPOrigin origin, std::string& text) {
  if (!status) return {};
  AsPath::OriginClass const kind = RouteMap::originClassOf(origin);
  if (status->regexMode() != Acl::regexModeDfa || !status->isPrepared()) {
    return matchOther(*status, path, RouteMap::originBit(kind), text);
  }
  AsPath::PathSet const* const set = status->pathSet();
  if (!set) return firstOf(*status, RouteMap::originBit(kind), NumberMatcher{path});
  Orb::U32 const first = set->firstMatch(path, kind);
  auto const entries = status->matchEntries();
  return first < entries.size() ? found(entries[first]) : kNoAsPathMatch;
}

}  // namespace Routing::PolicyEval
