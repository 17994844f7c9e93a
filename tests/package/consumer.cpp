#include <iostream>

#include "platform/orb/loop/Activity.h"
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
  auto const prefix = Ipa::Prefix::parse("192.0.2.0/24");
  list->prefixEntryIs(Acl::PrefixEntry::of(10U, prefix, Acl::permitMatch, 0U, 0U, 0U));
  list->versionInc(1);
  Orb::ActivityManager::current().turn();
  std::cout
      << "seq "
      << Routing::PolicyEval::matchPrefixList(symbols->symbol("CUSTOMER")->status(), prefix).seqno
      << '\n';
}
