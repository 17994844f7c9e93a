#include "policy_eval/MatchPrefixList.h"

namespace Routing::PolicyEval {

using RouteMap::EntrySummary;

PrefixListMatch matchPrefixList(PrefixListStatus const* status,
                                Ipa::IpGenPrefix const& route) noexcept {
  PrefixListMatch best;
  PatriciaTrieWithNodeData const* const trie = status ? status->trieRawPtr() : nullptr;
  if (!trie) return best;
  best.outcome = PrefixListMatch::Outcome::noMatch;
  Orb::U64 bestSeqno = Orb::U64{1} << 32;  // beyond every sequence number
  Orb::U32 const length = route.length();

  // Heads are matched by what is kept beside their nodes; a chain is followed only where its
  // head comes before the best so far, but does not match itself.
  Cover covers[kMaxCovers];
  std::size_t const count = trie->covering(route, covers);
  for (std::size_t i = 0; i < count; ++i) {
    EntrySummary const head(covers[i].summary);
    if (head.seqno() >= bestSeqno) continue;
    auto const* entry = static_cast<PrefixListEntryData const*>(covers[i].head);
    if (head.matchesLength(length)) {
      bestSeqno = head.seqno();
      best.isPermit = head.isPermit();
    } else if (head.isChained() && (entry = entry->firstBehind(length, bestSeqno))) {
      bestSeqno = entry->seqno();
      best.isPermit = entry->isPrefixEntryPermit();
    } else {
      continue;
    }
    best.entry = entry;
  }
  if (best.entry) {
    best.outcome = PrefixListMatch::Outcome::match;
    best.seqno = static_cast<Orb::U32>(bestSeqno);
  }
  return best;
}

}  // namespace Routing::PolicyEval
