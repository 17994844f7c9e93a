#include <benchmark/benchmark.h>

#include <ctime>
#include <map>
#include <memory>
#include <string>

#include "config_copy/RouteMapCopy.h"
#include "platform/orb/loop/Activity.h"
#include "platform/orb/loop/Reaper.h"
#include "platform/session/Manager.h"
#include "platform/session/Session.h"
#include "policy_sm/CommListConfigSm.h"

// The machine of community lists: what the processor spends, in all turns or at once.
//
// "load": a list is made entry by entry, three values each, and every entry is stamped with a
// version; "held": so, and somebody holds the last status that was published; "expanded": so, with
// an expression for each entry; "configured": the same without a machine, which is the floor;
// "copied": without a machine, and a std::map of the entries is copied for each of them, which is
// what a plain copy on write would cost.
// "change": one entry of a loaded list is stamped again. "clear": its entries are removed, one
// after the other. "drop": the list is removed; "longest_turn_ms" is the longest of the turns after
// that, which free it. "commit": a session touches the list, changes one entry and commits.

namespace {

using namespace Routing::RouteMap;
using Orb::U32;

double cpuSeconds() {
  timespec t{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

/// Holds the last status of a symbol.
class Follower final : public PolicySymbolNotifier::Notifiee {
 public:
  explicit Follower(Orb::Ptr<CommListSymbol> symbol) : symbol_(std::move(symbol)) {
    notifierIs(symbol_->symbolNotifier());
  }
  void onVersion() override { status_ = symbol_->status(); }

 private:
  Orb::Ptr<CommListSymbol> const symbol_;
  Orb::Ptr<CommListStatus const> status_;
};

struct World {
  Orb::ActivityManager loop;
  Orb::ActivityManager::Scope scope{loop};
  Orb::Ptr<Acl::AclListConfig> config = Orb::make<Acl::AclListConfig>("root");
  CommListSymbols all[3] = {allCommListSymbolFactory(), allCommListSymbolFactory(),
                            allCommListSymbolFactory()};
  CommListSymbolTable tables[3] = {commListSymbolDedupTableFactory(),
                                   commListSymbolDedupTableFactory(),
                                   commListSymbolDedupTableFactory()};
  Orb::Ptr<CommListConfigSm> machine;

  explicit World(bool hasMachine = true) {
    if (!hasMachine) return;
    machine =
        commListConfigSmFactory(config, all[0], all[1], all[2], tables[0], tables[1], tables[2]);
  }
  /// Runs what the loop has to do; the longest turn in milliseconds.
  double settle() {
    double longest = 0;
    do {
      double const start = cpuSeconds();
      loop.turn();
      longest = std::max(longest, (cpuSeconds() - start) * 1e3);
    } while (loop.nextDue() <= loop.clock()->now() || Orb::pendingGarbage() > 0);
    return longest;
  }
};

Orb::Ptr<Acl::CommunityListEntry> addEntry(Acl::CommunityList& list, U32 i, bool isExpanded) {
  auto const entry = list.communityListEntryIs(10 * i + 10);
  if (isExpanded) {
    entry->listTypeIs(Acl::communityExpanded);
    entry->commRegexIs(Orb::String("65000:" + std::to_string(i % 50'000) + "( |$)"));
  } else {
    for (U32 value : {i, 200'000 + i % 100, 300'000 + i % 7}) {
      entry->communityIs(Acl::CommunityValue::of(0U, 0U, value), true);
    }
  }
  entry->versionIs(1);
  return entry;
}

void fill(World& world, U32 count, bool isExpanded = false) {
  auto const list = world.config->communityListIs("L");
  for (U32 i = 0; i < count; ++i) addEntry(*list, i, isExpanded);
}

/// Times act(world), for a new world that prepare(world) has made ready.
template <class Prepare, class Act>
void time(benchmark::State& state, bool hasMachine, Prepare const& prepare, Act const& act) {
  double longest = 0;
  for (auto _ : state) {
    World world(hasMachine);
    prepare(world);
    world.settle();
    double const start = cpuSeconds();
    act(world);
    state.SetIterationTime(cpuSeconds() - start);
    longest = std::max(longest, world.settle());
    if (world.machine && world.config->communityListHas("L") &&
        !world.machine->communityList("L")->isInLine()) {
      state.SkipWithError("not in line");
    }
  }
  state.counters["us/entry"] = benchmark::Counter(
      static_cast<double>(state.range(0)) * static_cast<double>(state.iterations()) * 1e-6,
      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.counters["longest_turn_ms"] = longest;
}

U32 countOf(benchmark::State const& state) { return static_cast<U32>(state.range(0)); }

enum class Load { plain, expanded, configured, held, copied };

void load(benchmark::State& state, Load how) {
  auto const nothing = [](World&) {};
  bool const hasMachine = how != Load::configured && how != Load::copied;
  time(state, hasMachine, nothing, [&](World& world) {
    if (how == Load::copied) {
      using Entries = std::map<U32, Orb::Ptr<Acl::CommunityListEntry const>>;
      auto published = std::make_shared<Entries const>();
      auto const list = world.config->communityListIs("L");
      for (U32 i = 0; i < countOf(state); ++i) {
        auto next = std::make_shared<Entries>(*published);
        next->emplace(10 * i + 10, addEntry(*list, i, false)->compiledCopy());
        published = next;
      }
    } else if (how == Load::held) {
      fill(world, 1);
      Follower const follower(world.all[0]->symbol("L"));
      fill(world, countOf(state));
    } else {
      fill(world, countOf(state), how == Load::expanded);
    }
  });
}

void change(benchmark::State& state) {
  World world;
  fill(world, countOf(state));
  world.settle();
  auto const list = world.config->communityList("L");
  U32 next = 0;
  for (auto _ : state) {
    next = (next + 7919) % countOf(state);
    list->communityListEntry(10 * next + 10)->versionInc(1);
  }
  state.counters["longest_turn_ms"] = world.settle();
}

void clear(benchmark::State& state) {
  time(
      state, true, [&](World& world) { fill(world, countOf(state)); },
      [&](World& world) { world.config->communityList("L")->communityListEntryDelAll(); });
}

void drop(benchmark::State& state) {
  time(
      state, true, [&](World& world) { fill(world, countOf(state)); },
      [&](World& world) { world.config->communityListDel("L"); });
}

void commit(benchmark::State& state) {
  World world;
  fill(world, countOf(state));
  world.settle();
  auto const manager =
      Orb::make<Cli::Session::Manager>(std::vector<Orb::Ptr<Orb::Entity>>{world.config},
                                       Orb::make<RouteMapCopyHandlerDir>("handlers"));
  U32 next = 0;
  double longest = 0;
  for (auto _ : state) {
    next = (next + 7919) % countOf(state);
    double const start = cpuSeconds();
    auto session = manager->open("s");
    auto const entry = session->edit<Acl::CommunityListEntry>(
        "communityList['L'].communityListEntry[" + std::to_string(10 * next + 10) + "]");
    entry->communityIs(Acl::CommunityValue::of(0U, 0U, 400'000 + next), true);
    if (!session->commit().isComplete()) state.SkipWithError("the commit failed");
    session = nullptr;
    state.SetIterationTime(cpuSeconds() - start);
    longest = std::max(longest, world.settle());
  }
  state.counters["longest_turn_ms"] = longest;
}

int const kRegistered = [] {
  auto const add = [](std::string const& name, auto run) {
    auto* const added = benchmark::RegisterBenchmark(name.c_str(), run);
    added->Unit(benchmark::kMillisecond)->Arg(1)->Arg(16)->Arg(100)->Arg(1'000)->Arg(10'000);
    return added;
  };
  using State = benchmark::State&;
  for (auto const& [label, how] : {std::pair{"load", Load::plain},
                                   {"load/held", Load::held},
                                   {"load/expanded", Load::expanded},
                                   {"load/configured", Load::configured}}) {
    add(label, [how = how](State s) { load(s, how); })->Arg(100'000)->UseManualTime();
  }
  add("load/copied", [](State s) { load(s, Load::copied); })->UseManualTime();
  add("change", change)->Arg(100'000);
  add("clear", clear)->Arg(100'000)->UseManualTime();
  add("drop", drop)->Arg(100'000)->UseManualTime();
  add("commit", commit)->Arg(100'000)->UseManualTime();
  return 0;
}();

}  // namespace
