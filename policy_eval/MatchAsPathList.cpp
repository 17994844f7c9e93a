#include "policy_eval/MatchAsPathList.h"

#include "platform/regex/PathText.h"

namespace Routing::PolicyEval {

namespace {

using RouteMap::AsPathMatchEntry;

constexpr AsPathListMatch kNoAsPathMatch{AsPathListMatch::Outcome::noMatch, false, 0, nullptr};

AsPathListMatch found(AsPathMatchEntry const& entry) noexcept {
  return {AsPathListMatch::Outcome::match, entry.isPermit, entry.seqno, entry.entry};
}

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
    return entry.posix->execute(text_.c_str()) == 0;
  }

 private:
  AsPathListStatus const& status_;
  std::span<Orb::U32 const> const path_;
  std::string& text_;
  bool isMade_ = false;
};

/// Asks the entries one by one. Those that are for other origins are passed over.
template <class Matches>
AsPathListMatch firstOf(AsPathListStatus const& status, AsPath::Origins origin, Matches matches) {
  auto const isMatch = [&](AsPathMatchEntry const& entry) {
    return (entry.origins & origin) != 0 && matches(entry);
  };
  if (status.isPrepared()) [[likely]] {
    for (AsPathMatchEntry const& entry : status.matchEntries()) {
      if (isMatch(entry)) return found(entry);
    }
  } else {
    for (Acl::AsPathEntry const& entry : status.asPathEntry()) {
      auto const made = status.matchEntryOf(entry);
      if (made && isMatch(*made)) return found(*made);
    }
  }
  return kNoAsPathMatch;
}

}  // namespace

AsPathListMatch matchAsPathList(AsPathListStatus const* status, std::span<Orb::U32 const> path,
                                Acl::BGPOrigin origin, std::string& text) {
  if (!status) return {};
  AsPath::OriginClass const kind = RouteMap::originClassOf(origin);
  AsPath::Origins const bit = RouteMap::originBit(kind);
  if (status->regexMode() != Acl::regexModeDfa) {
    return firstOf(*status, bit, TextMatcher(*status, path, text));
  }
  AsPath::PathSet const* const set = status->isPrepared() ? status->pathSet() : nullptr;
  if (!set) {
    return firstOf(*status, bit, [path](AsPathMatchEntry const& entry) {
      return rd_match(entry.dfa, path.data(), path.size()) != 0;
    });
  }
  Orb::U32 const first = set->firstMatch(path, kind);
  if (first < status->matchEntries().size()) return found(status->matchEntries()[first]);
  return kNoAsPathMatch;
}

}  // namespace Routing::PolicyEval
