// The path of one change: a session edits a prefix list and commits, the event loop compiles the
// list, and the followers of its symbol are notified once.
#include <cstdio>

#include "config_copy/RouteMapCopy.h"
#include "platform/orb/loop/Activity.h"
#include "policy_config/RouteMap.h"
#include "policy_eval/MatchPrefixList.h"
#include "policy_sm/RouteMapSm.h"

using namespace Routing::RouteMap;

namespace {

/// A routing protocol that uses a list.
struct Follower final : PolicySymbolNotifier::Notifiee {
  int notified = 0;
  void onVersion() override { ++notified; }
};

}  // namespace

int main() {
  using Routing::PolicyEval::matchPrefixList;
  auto const config = Orb::make<Acl::AclListConfig>("lists");
  auto const symbols = allPrefixListSymbolFactory();
  auto const machine =
      prefixListConfigSmFactory(config, symbols, prefixListSymbolDedupTableFactory());
  auto const sessions = Orb::make<Cli::Session::Manager>(
      std::vector<Orb::Ptr<Orb::Entity>>{config}, Orb::make<RouteMapCopyHandlerDir>("handlers"));

  auto const session = sessions->open("morning");
  session->attributeTextIs("prefixList['CUSTOMER'].prefixEntry[10].prefix", "192.0.2.0/24");
  session->attributeTextIs("prefixList['CUSTOMER'].prefixEntry[10].permit", "permitMatch");
  auto const list = session->edit<Acl::PrefixList>("prefixList['CUSTOMER']");  // or by its mutators
  list->sourceIs("https://example.net/customer");
  auto const report = session->commit();  // raises the list's version: it is compiled from here on
  if (!report.isComplete()) std::printf("%s\n", report.error.c_str());

  Follower follower;
  follower.notifierIs(symbols->symbol("CUSTOMER")->symbolNotifier());
  auto& loop = Orb::ActivityManager::current();
  while (loop.nextDue() <= loop.clock()->now()) loop.turn();

  auto const status = symbols->symbol("CUSTOMER")->status();  // may go to any thread
  auto const match = matchPrefixList(status, Ipa::Prefix::parse("192.0.2.0/24"));
  std::printf("version %u, notified %d, %s\n", config->prefixList("CUSTOMER")->version(),
              follower.notified, match.isPermit ? "permit" : "no match");
  return match.isPermit && follower.notified == 1 ? 0 : 1;
}
