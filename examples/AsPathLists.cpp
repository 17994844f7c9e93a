// An AS-path list: its entries, made by the program and imported from a file, the machine that
// compiles it, and a route's AS path that is matched against it.
#include <cstdio>
#include <string>
#include <vector>

#include "list_import/CliHelper.h"
#include "platform/orb/loop/Activity.h"
#include "platform/regex/RegexHelper.h"
#include "policy_config/RouteMap.h"
#include "policy_eval/MatchAsPathList.h"
#include "policy_sm/RouteMapSm.h"

using namespace Routing::RouteMap;

int main() {
  using Routing::PolicyEval::matchAsPathList;
  auto const config = Orb::make<Acl::AclListConfig>("lists");
  auto const notation = Orb::make<Routing::AsnConfig>();
  auto const symbols = allAsPathListSymbolFactory();
  auto const machine =
      asPathListConfigSmFactory(config, notation, symbols, asPathListSymbolDedupTableFactory());

  auto const list = config->pathListIs("TRANSIT");
  auto const result = Orb::make<Acl::AsPathUrlLoadReturnStatus>();
  Acl::AsPathCliHelper::loadAsPathListEntries(*list, "samples/bogons-as-path.txt",
                                              Acl::duplicateError, false, *result);
  if (!result->errorStr().empty()) std::printf("%s\n", result->errorStr().c_str());
  // An import says of each entry which engines accept its pattern. Who makes one says it as well:
  // the machine compiles no other entry, and one that is not compiled matches nothing.
  auto const engines = helperFactory();
  Orb::String const pattern("_64496_");
  list->pathEntryIs(Acl::AsPathEntry::of(0U, pattern, Acl::denyMatch, Acl::bgpAny,
                                         engines->validateDfaRegex(pattern),
                                         engines->validatePosixRegex(pattern)));
  list->versionInc(1);  // compiles the list, at once; a commit does this by itself

  auto& loop = Orb::ActivityManager::current();
  while (loop.nextDue() <= loop.clock()->now()) loop.turn();  // makes matches quicker
  auto const status = symbols->symbol("TRANSIT")->status();   // may go to any thread
  std::vector<Orb::U32> const path{3356, 64496, 1299};        // from the neighbour to the origin
  std::string buffer;                                         // kept from match to match
  auto const match = matchAsPathList(status, path, Acl::bgpIGP, buffer);
  std::printf("%s by entry %u\n", match.isPermit ? "permit" : "deny", match.seqno);
  return match.entry && match.seqno == 0 && !match.isPermit ? 0 : 1;
}
