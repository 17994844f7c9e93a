// A community list: a session that makes its entries, the machine that compiles them, and a route's
// communities of two families that are matched against it.
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "config_copy/RouteMapCopy.h"
#include "platform/orb/loop/Activity.h"
#include "platform/session/Manager.h"
#include "platform/session/Session.h"
#include "policy_config/CommunityText.h"
#include "policy_config/RouteMap.h"
#include "policy_eval/MatchCommunityList.h"
#include "policy_sm/RouteMapSm.h"

using namespace Routing::RouteMap;
using Communities = std::vector<Acl::CommunityValue>;

int main() {
  using Routing::PolicyEval::CommunityMatch;
  using Routing::PolicyEval::matchCommunityList;
  auto const config = Orb::make<Acl::AclListConfig>("lists");
  // A list has a symbol in each family that it has entries of.
  auto const standard = allCommListSymbolFactory();
  auto const extended = allCommListSymbolFactory();
  auto const large = allCommListSymbolFactory();
  auto const machine =
      commListConfigSmFactory(config, standard, extended, large, commListSymbolDedupTableFactory(),
                              commListSymbolDedupTableFactory(), commListSymbolDedupTableFactory());

  auto const sessions = Orb::make<Cli::Session::Manager>(
      std::vector<Orb::Ptr<Orb::Entity>>{config}, Orb::make<RouteMapCopyHandlerDir>("handlers"));
  auto const session = sessions->open("morning");
  session->attributeTextIs("communityList['CUSTOMER'].communityListEntry[10].community[64496:100]",
                           "True");
  auto const entry =
      session->edit<Acl::CommunityListEntry>("communityList['CUSTOMER'].communityListEntry[20]");
  entry->listTypeIs(Acl::extCommunityExpanded);
  entry->commRegexIs("(^| )rt 64496:2[0-9]*( |$)");
  entry->permitIs(Acl::denyMatch);
  // Raises the version of each entry, which is compiled within that, one after the other: followers
  // of the symbols are notified for each.
  if (!session->commit().isComplete()) return 1;

  auto& loop = Orb::ActivityManager::current();
  while (loop.nextDue() <= loop.clock()->now()) loop.turn();  // makes matches in long lists quicker
  // A status may go to any thread. There is no symbol where no entry is of the family.
  auto const statusIn = [](Orb::Ptr<AllCommListSymbol> const& family) {
    auto const symbol = family->symbol("CUSTOMER");
    return symbol ? symbol->status() : nullptr;
  };
  Communities route{Acl::readCommunity("no-export"), Acl::readCommunity("64496:100")};
  std::sort(route.begin(), route.end());
  Communities const targets{Acl::readCommunity("rt 64496:20")};
  std::string buffer;  // kept from match to match
  auto const byValue =
      matchCommunityList(statusIn(standard), route, CommunityMatch::contained, buffer);
  auto const byTarget =
      matchCommunityList(statusIn(extended), targets, CommunityMatch::contained, buffer);
  auto const none = matchCommunityList(statusIn(large), {}, CommunityMatch::exact, buffer);
  std::printf("%s by entry %u, %s by entry %u\n", byValue.isPermit ? "permit" : "deny",
              byValue.seqno, byTarget.isPermit ? "permit" : "deny", byTarget.seqno);
  bool const isRight = byValue.isPermit && byValue.seqno == 10 && !byTarget.isPermit &&
                       byTarget.seqno == 20 && !none.entry;
  return isRight ? 0 : 1;
}
