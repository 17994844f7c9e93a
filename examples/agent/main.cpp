// An agent of a routing daemon. On its first thread sessions commit policy and machines compile it,
// driven by a poll(2) loop of its own; meanwhile a second thread evaluates routes, again and again,
// against what was compiled last, and each verdict that changes is printed. docs/embedding.md walks
// through it.
//   example_agent <examples/agent/script.txt
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cmath>
#include <condition_variable>
#include <iostream>
#include <map>
#include <thread>

#include "config_copy/RouteMapCopy.h"
#include "config_text/ConfigTree.h"
#include "list_import/CliHelper.h"
#include "platform/orb/loop/ActivityLock.h"
#include "policy_config/CommunityText.h"
#include "policy_eval/MatchAsPathList.h"
#include "policy_eval/MatchCommunityList.h"
#include "policy_eval/MatchDynamicPrefixList.h"
#include "policy_sm/RouteMapSm.h"

using namespace Routing::RouteMap;
namespace Dynamic = Routing::DynamicPrefixList;
namespace Eval = Routing::PolicyEval;
using Orb::make, Orb::Ptr;

namespace {

/// The program's own poll(2) loop, which drives that of the library. A daemon waits for its sockets
/// in the same poll(). It is made first and goes last: machines ask the current activity manager
/// for their turns, and other threads wake it.
class HostLoop {
 public:
  HostLoop() {
    if (wakeFd_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
    // Runs on other threads, which may hold locks: it does nothing but end the poll(). It may fail
    // in one way, because the counter is full, which ends the poll() as well.
    manager_.wakeHandlerIs([fd = wakeFd_] { eventfd_write(fd, 1); });
  }
  ~HostLoop() {
    manager_.wakeHandlerIs(nullptr);  // has returned when this returns, and is not called again
    close(wakeFd_);
  }

  /// Turns, and sleeps while nothing is due. Calls `onIdle` before it sleeps; ends when that
  /// returns false.
  void run(Orb::FunctionRef<bool()> onIdle) {
    auto const secondsLeft = [&] { return manager_.nextDue() - manager_.clock()->now(); };
    for (;;) {
      try {
        if (secondsLeft() > 0 && !onIdle()) return;
        // At most an hour, since nextDue() may be Clock::kNever; not at all when something is due.
        // Rounded up, or the last millisecond would go by in calls that do not wait.
        double const seconds = std::fmin(std::fmax(secondsLeft(), 0), 3600);
        pollfd wake{wakeFd_, POLLIN, 0};
        poll(&wake, 1, static_cast<int>(std::ceil(seconds * 1000)));  // a signal may end it as well
        eventfd_t count = 0;
        eventfd_read(wakeFd_, &count);  // before the turn, which sees what woke the loop so far
        manager_.turn();
      } catch (std::exception const& error) {
        // What a callback or onIdle() threw. Other callbacks are called in the next turns, and what
        // found no memory has asked for another one.
        std::cout << "  " << error.what() << '\n';
      }
    }
  }

 private:
  Orb::ActivityManager manager_;
  Orb::ActivityManager::Scope const current_{manager_};
  int const wakeFd_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
};

/// The symbols of one kind of lists: the collection has those of the lists that there are, the
/// table all that somebody holds.
template <class Kind>
struct Symbols {
  Ptr<AllSymbolsOf<Kind>> const collection = make<AllSymbolsOf<Kind>>();
  Ptr<DedupTableOf<Kind>> const table = make<DedupTableOf<Kind>>();
};

/// The configuration, what it compiles to, and the machines that keep the second in step with the
/// first. Members are made from top to bottom and go from bottom to top.
struct Policy {
  // What the user configures.
  Ptr<Acl::AclListConfig> const lists = make<Acl::AclListConfig>("lists");
  Ptr<Config> const routeMaps = make<Config>();
  Ptr<PeerFilterConfig> const peerFilters = make<PeerFilterConfig>();
  Ptr<Dynamic::Config> const dynamicLists = make<Dynamic::Config>();
  Ptr<Routing::AsnConfig> const asn = make<Routing::AsnConfig>();
  // What agents publish that evaluate the route maps of dynamic lists.
  using VrfState = Dynamic::AllDynamicPrefixListVrfSet;
  Ptr<VrfState> const vrfState = make<VrfState>();

  // What the lists compile to. A machine is the only writer of its collections.
  Symbols<PrefixListKind> const ipv4{}, ipv6{};
  Symbols<AsPathListKind> const asPath{};
  Symbols<CommListKind> const standard{}, extended{}, large{};
  Symbols<DynPrefixListKind> const dynamic{};

  Ptr<Orb::RefCounted> const machines[5] = {
      prefixListConfigSmFactory(lists, ipv4.collection, ipv4.table),
      ipv6PrefixListConfigSmFactory(lists, ipv6.collection, ipv6.table),
      asPathListConfigSmFactory(lists, asn, asPath.collection, asPath.table),
      commListConfigSmFactory(lists, standard.collection, extended.collection, large.collection,
                              standard.table, extended.table, large.table),
      // Takes the prefix lists that a dynamic list names from the tables of the machines above.
      dynPrefixListConfigSmFactory(dynamicLists, vrfState, ipv4.table, ipv6.table,
                                   dynamic.collection, dynamic.table)};

  // Sessions change what the user configures. The handlers raise versions when they commit.
  Ptr<Cli::Session::Manager> const sessions = make<Cli::Session::Manager>(
      std::vector<Ptr<Orb::Entity>>{lists, routeMaps, peerFilters, dynamicLists, asn},
      make<RouteMapCopyHandlerDir>("handlers"));
};

/// Compiled lists as they were at one moment, each null where there was none. They are never
/// changed again: whoever holds them reads them on any thread, without a lock.
struct Lists {
  Orb::U64 moment;
  Ptr<PrefixListStatus const> ipv4, ipv6;
  Ptr<AsPathListStatus const> asPath;
  Ptr<CommListStatus const> standard;
  Ptr<DynPrefixListStatus const> dynamic;
};

struct Route {
  Ipa::IpGenPrefix prefix;
  std::vector<Orb::U32> asPath;                  // from the neighbour to the origin
  std::vector<Acl::CommunityValue> communities;  // standard ones, ascending
  Eval::VrfId vrf;
  std::map<std::string, std::string> verdicts = {};  // by the kind of list
};

template <class Match>
std::string verdictOf(Match const& match) {
  if (match.entry)
    return (match.isPermit ? "permit by " : "deny by ") + std::to_string(match.seqno);
  if (match.outcome == Match::Outcome::noMatch) return "no match";
  return match.outcome == Match::Outcome::noSuchList ? "no such list" : "inactive";
}

/// Evaluates routes on a thread of its own, round after round, against the newest lists that it was
/// given.
class Evaluator {
 public:
  explicit Evaluator(std::vector<Route> routes) : routes_(std::move(routes)) {}

  /// Hands lists over; earlier ones that the thread has not taken up are dropped.
  void listsAre(std::optional<Lists> lists) {
    std::unique_lock guard(mutex_);
    mailbox_.swap(lists);
    guard.unlock();  // what is dropped goes without the lock
    arrived_.notify_one();
  }
  /// The moment of the lists that were evaluated last; the loop is woken when it changes.
  Orb::U64 moment() const { return moment_; }

 private:
  void run(std::stop_token const& stop) {
    for (Lists lists{}; !stop.stop_requested();) {
      std::unique_lock guard(mutex_);
      arrived_.wait_for(guard, stop, std::chrono::milliseconds(1), [&] { return !!mailbox_; });
      auto arrived = std::exchange(mailbox_, std::nullopt);
      guard.unlock();
      if (arrived) std::swap(lists, *arrived);
      for (Route& route : routes_) evaluate(lists, route);
      if (moment_.exchange(lists.moment) != lists.moment) Orb::ActivityManager::current().wake();
    }
  }

  void evaluate(Lists const& lists, Route& route) {
    auto const note = [&](char const* kind, auto const& match) {
      std::string const verdict = verdictOf(match);
      if (std::exchange(route.verdicts[kind], verdict) == verdict) return;
      std::cout << "  " << route.prefix << ", " << kind << ": " << verdict << '\n';
    };
    bool const isIpv4 = route.prefix.family() == Ipa::AddressFamily::ipv4;
    note("prefix list", Eval::matchPrefixList(isIpv4 ? lists.ipv4 : lists.ipv6, route.prefix));
    note("AS path", Eval::matchAsPathList(lists.asPath, route.asPath, Acl::bgpIGP, buffer_));
    note("communities", Eval::matchCommunityList(lists.standard, route.communities,
                                                 Eval::CommunityMatch::contained, buffer_));
    note("dynamic list", Eval::matchDynamicPrefixList(lists.dynamic, route.vrf, route.prefix));
  }

  std::vector<Route> routes_;  // the thread's own, like the buffer
  std::string buffer_;
  std::atomic<Orb::U64> moment_{0};
  std::mutex mutex_;  // guards the mailbox
  std::condition_variable_any arrived_;
  std::optional<Lists> mailbox_;
  std::jthread thread_{[this](std::stop_token const& stop) { run(stop); }};  // the first to go
};

/// The symbol of a list, held by its name: the same one whether there is such a list, was, or will
/// be.
template <class Kind>
struct Followed final : PolicySymbolNotifier::Notifiee {
  Followed(Symbols<Kind> const& symbols, bool& flag)
      : symbol(symbols.table->symbolIs("CUSTOMER")), hasChanged(flag) {
    notifierIs(symbol->symbolNotifier());
  }
  /// Takes note of it alone: what notifies may be in the midst of more.
  void onVersion() override { hasChanged = true; }

  Ptr<SymbolOf<Kind>> const symbol;
  bool& hasChanged;
};

/// Does what the next lines of standard input say, and commits; false at its end.
bool commitNext(Policy const& policy) {
  auto const session = policy.sessions->open("operator");
  for (std::string line; std::getline(std::cin, line) && line != "commit";) {
    std::cout << line << '\n';
    if (line.starts_with("import ")) {
      auto const list = session->edit<Acl::PrefixList>("prefixList['CUSTOMER']");
      auto const error =
          Acl::CliHelper::loadPrefixListEntries(*list, line.substr(7), Acl::duplicateError);
      if (!error.empty()) throw std::runtime_error(error.str());
    } else if (line == "activate") {
      policy.vrfState->dynamicPrefixListIs("CUSTOMER")->activeInVrfIs(1, Dynamic::active);
    } else if (!line.starts_with("#")) {
      ConfigText::ConfigEdit::ofLine(line).apply(*session);
    }
  }
  auto const report = session->commit();  // raises the versions of the lists that it changed
  if (!report.isComplete()) throw std::runtime_error(report.error);
  Orb::ActivityManager::current().wake();  // what is compiled at once leaves the loop nothing due
  return !std::cin.eof();
}

}  // namespace

/// What is made here goes from bottom to top: nothing is followed any more, the thread ends, the
/// machines go, and last the loop, which all of them use.
int main() {
  HostLoop loop;
  Policy const policy;
  Evaluator evaluator(std::vector<Route>{
      {Ipa::Prefix::parse("198.51.100.0/24"), {64500, 64501}, {Acl::readCommunity("64496:100")}, 1},
      {Ipa::Prefix::parse("203.0.113.192/26"), {64500}, {Acl::readCommunity("no-export")}, 2},
      {Ipa::Ip6Prefix::parse("2001:db8:1000::/48"), {64500, 64504}, {}, 1}});
  Orb::U64 moment = 0;
  bool hasChanged = true;
  Followed<PrefixListKind> const ipv4{policy.ipv4, hasChanged}, ipv6{policy.ipv6, hasChanged};
  Followed<AsPathListKind> const asPath{policy.asPath, hasChanged};
  Followed<CommListKind> const standard{policy.standard, hasChanged};
  Followed<DynPrefixListKind> const dynamic{policy.dynamic, hasChanged};

  loop.run([&] {                         // all that has been committed is compiled
    Orb::ActivityLockAnchor const lock;  // turns hold it, but this is in none
    if (std::exchange(hasChanged, false)) {
      evaluator.listsAre(Lists{++moment, ipv4.symbol->status(), ipv6.symbol->status(),
                               asPath.symbol->status(), standard.symbol->status(),
                               dynamic.symbol->status()});
    }
    return evaluator.moment() != moment || commitNext(policy);
  });
}
