#include "policy_eval/MatchDynamicPrefixList.h"

namespace Routing::PolicyEval {

namespace {

using Outcome = DynamicPrefixListMatch::Outcome;

constexpr Outcome outcomeOf(PrefixListMatch::Outcome outcome) noexcept {
  switch (outcome) {
    case PrefixListMatch::Outcome::noMatch:
      return Outcome::noMatch;
    case PrefixListMatch::Outcome::match:
      return Outcome::match;
    case PrefixListMatch::Outcome::noSuchList:
      break;
  }
  return Outcome::noSuchList;
}

}  // namespace

DynamicPrefixListMatch matchDynamicPrefixList(DynPrefixListStatus const* status, VrfId vrf,
                                              Ipa::IpGenPrefix const& route) noexcept {
  DynamicPrefixListMatch result;
  result.family = route.family();
  if (!status) return result;
  if (status->activeInVrf(vrf) != DynamicPrefixList::active) {
    result.outcome = Outcome::inactive;
    return result;
  }
  bool const isIpv4 = route.family() == Ipa::AddressFamily::ipv4;
  auto const& list = isIpv4 ? status->ipv4PfxListStatus() : status->ipv6PfxListStatus();
  PrefixListMatch const match = matchPrefixList(list, route);
  result.outcome = outcomeOf(match.outcome);
  result.isPermit = match.isPermit;
  result.seqno = match.seqno;
  result.entry = match.entry;
  return result;
}

}  // namespace Routing::PolicyEval
