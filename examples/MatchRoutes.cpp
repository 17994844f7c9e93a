// A routing daemon in small: configures a prefix list, lets the event loop compile it, and matches
// routes against the compiled form.
#include <cstdio>

#include "platform/orb/Activity.h"
#include "policy_config/RouteMap.h"
#include "policy_eval/MatchPrefixList.h"
#include "policy_sm/RouteMapSm.h"

using namespace Routing::RouteMap;

int main() {
  auto const config = Orb::make<Acl::AclListConfig>("lists");
  auto const symbols = allPrefixListSymbolFactory();
  auto const machine =
      prefixListConfigSmFactory(config, symbols, prefixListSymbolDedupTableFactory());

  auto const list = config->prefixListIs("CUSTOMER");
  list->prefixEntryIs(
      Acl::PrefixEntry::of(10U, Ipa::Prefix::parse("192.0.2.0/24"), Acl::permitMatch, 0U, 28U, 0U));
  list->versionInc(1);  // a commit does this: the list is compiled in slices from here on
  auto& loop = Orb::ActivityManager::current();
  while (loop.nextDue() <= loop.clock()->now()) loop.turn();

  auto const status = symbols->symbol("CUSTOMER")->status();  // may go to any thread
  int permitted = 0;
  for (auto const* const route : {"192.0.2.128/25", "192.0.2.0/30"}) {
    auto const match = Routing::PolicyEval::matchPrefixList(status, Ipa::Prefix::parse(route));
    permitted += match.isPermit ? 1 : 0;
    std::printf("%s: %s\n", route, match.isPermit ? "permit" : "no match");
  }
  return permitted == 1 ? 0 : 1;
}
