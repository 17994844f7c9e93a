#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "bench/Shapes.h"
#include "config_copy/RouteMapCopy.h"
#include "platform/orb/loop/Activity.h"
#include "platform/orb/loop/Reaper.h"
#include "platform/orb/model/Path.h"
#include "platform/orb/model/Reactor.h"
#include "policy_config/RouteMap.h"
#include "policy_sm/RouteMapSm.h"

// Changing configuration: commits of sessions, single mutators, notices, and access by name. Times
// of whole commits are what the processor spends, and exclude the making and freeing of what is
// committed. The allocator keeps what is freed; `first_ms` is the first run, which also pays for
// fresh memory. Each figure stands beside a floor, the same work done plainly, in the same run.

namespace {

using namespace Routing::RouteMap;
using Acl::PrefixEntry;
using Acl::PrefixList;
using Orb::Name;
using Orb::Ptr;
using Orb::U32;

[[maybe_unused]] bool const memoryStays =
    mallopt(M_TRIM_THRESHOLD, 1 << 30) != 0 && mallopt(M_MMAP_THRESHOLD, 32 << 20) != 0;

double seconds(clockid_t clock) {
  timespec t{};
  clock_gettime(clock, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

template <class Do>
double cpuSeconds(Do const& act) {
  double const start = seconds(CLOCK_THREAD_CPUTIME_ID);
  act();
  return seconds(CLOCK_THREAD_CPUTIME_ID) - start;
}

/// Times one kind of piece, in processor time.
class Total {
 public:
  template <class Do>
  double add(Do const& act) {
    double const once = cpuSeconds(act);
    if (count_++ == 0) first_ = once;
    sum_ += once;
    longest_ = std::max(longest_, once);
    return once;
  }
  double mean() const { return count_ ? sum_ / count_ : 0; }
  double longest() const { return longest_; }
  double first() const { return first_; }

 private:
  double sum_ = 0;
  double longest_ = 0;
  double first_ = 0;
  int count_ = 0;
};

// One large prefix list.

void fill(PrefixList& list, std::size_t count) {
  U32 seqno = 0;
  for (auto const& p : Shapes::distributedIp4(count)) {
    U32 const le = std::min(p.length() + 4, p.maxLength());
    list.prefixEntryIs(PrefixEntry::of(seqno += 10, Ipa::Prefix(p), Acl::permitMatch, 0U, le, 0U));
  }
}

/// One entry of the list is changed in each commit. With the state machine, every commit leads to
/// a build, whose turns are not in the time of the commit, but in that of the longest turn.
void commitOneEntry(benchmark::State& state, bool isCompiled) {
  auto const count = static_cast<std::size_t>(state.range(0));
  Orb::ActivityManager loop;
  Orb::ActivityManager::Scope const scope(loop);
  auto const config = Orb::make<Acl::AclListConfig>("root");
  fill(*config->prefixListIs("L"), count);
  Ptr<PrefixListConfigSm> machine;
  auto const symbols = allPrefixListSymbolFactory();
  if (isCompiled) {
    machine = prefixListConfigSmFactory(config, symbols, prefixListSymbolDedupTableFactory());
  }
  auto const manager = Orb::make<Cli::Session::Manager>(
      std::vector<Ptr<Orb::Entity>>{config}, Orb::make<RouteMapCopyHandlerDir>("handlers"));
  auto const turnAll = [&](Total& turns) {
    while (loop.nextDue() <= loop.clock()->now()) turns.add([&] { loop.turn(); });
  };
  Total ignored;
  turnAll(ignored);

  Total touches;
  Total commits;
  Total turns;
  U32 seqno = 0;
  for (auto _ : state) {
    auto session = manager->open("s");
    Ptr<PrefixList> list;
    touches.add([&] { list = session->edit<PrefixList>("prefixList['L']"); });
    seqno = (seqno + 7919) % static_cast<U32>(count);
    PrefixEntry entry = list->prefixEntry((seqno + 1) * 10);
    entry.leIs(entry.le() == 32 ? 31 : 32);
    list->prefixEntryIs(entry);
    bool isComplete = false;
    double once = 0;
    loop.post([&] { once = commits.add([&] { isComplete = session->commit().isComplete(); }); });
    list = nullptr;
    turnAll(turns);
    state.SetIterationTime(once);
    if (!isComplete || config->prefixList("L")->prefixEntry(entry.seqno()) != entry) {
      state.SkipWithError("the commit did not change the list");
    }
  }
  state.counters["ns/entry"] = commits.mean() * 1e9 / static_cast<double>(count);
  state.counters["touch_ns/entry"] = touches.mean() * 1e9 / static_cast<double>(count);
  state.counters["longest_turn_ms"] = turns.longest() * 1e3;
}

/// Two lists whose last entries differ, walked side by side.
void walkBoth(benchmark::State& state) {
  auto const count = static_cast<std::size_t>(state.range(0));
  auto const a = Orb::make<PrefixList>("A");
  auto const b = Orb::make<PrefixList>("B");
  fill(*a, count);
  fill(*b, count);
  PrefixEntry last = b->prefixEntry(static_cast<U32>(count) * 10);
  last.permitIs(Acl::denyMatch);
  b->prefixEntryIs(last);
  Total walks;
  for (auto _ : state) {
    std::size_t different = 0;
    state.SetIterationTime(walks.add([&] {
      auto y = b->prefixEntry().begin();
      for (auto const& x : a->prefixEntry()) different += !(x == *y++);
    }));
    if (different != 1) state.SkipWithError("one entry differs");
  }
  state.counters["ns/entry"] = walks.mean() * 1e9 / static_cast<double>(count);
}

/// The same in two arrays.
void walkBothArrays(benchmark::State& state) {
  auto const count = static_cast<std::size_t>(state.range(0));
  auto const list = Orb::make<PrefixList>("A");
  fill(*list, count);
  std::vector<PrefixEntry> a;
  for (auto const& entry : list->prefixEntry()) a.push_back(entry);
  std::vector<PrefixEntry> b = a;
  b.back().permitIs(Acl::denyMatch);
  Total walks;
  for (auto _ : state) {
    std::size_t different = 0;
    state.SetIterationTime(walks.add([&] {
      for (std::size_t i = 0; i < count; ++i) different += !(a[i] == b[i]);
    }));
    if (different != 1) state.SkipWithError("one entry differs");
  }
  state.counters["ns/entry"] = walks.mean() * 1e9 / static_cast<double>(count);
}

// A thousand route maps with everything set.

constexpr U32 kMaps = 1000;
constexpr U32 kEntries = 20;

/// The texts, made once: strings are shared.
struct Texts {
  Texts() {
    for (U32 i = 0; i < kMaps; ++i) maps.emplace_back("RM-" + std::to_string(i));
  }
  std::vector<Name> maps;
  Name add = "add";
  Name del = "delete";
  Name ext = "extended";
  Name large = "large";
  Orb::String statement = "statement";
  Orb::String sub = "SUB";
  Orb::String list = "LIST";
  Orb::String list2 = "LIST2";
  Orb::String bandwidth = "10G";
  Orb::String line = "what this entry is there for";
};
Texts const& texts() {
  static Texts const made;
  return made;
}

void fill(CommunitySet& set, U32 n) {
  set.communityIs(Acl::CommunityValue::of(0U, 0U, n), true);
  set.communityIs(Acl::CommunityValue::of(0U, 0U, n + 1), true);
  set.communityListNameSetIs(texts().list, true);
  set.communityListNameSetIs(texts().list2, true);
  set.useCommunityListIs(true);
  set.flagIs(Acl::commSetAdditive);
}

MatchRule rule(MatchOption option, U32 n) {
  MatchRule made(option);
  made.strValueIs(texts().list);
  made.intValueIs(n);
  made.invertIs(true);
  return made;
}

void fill(MapEntry& entry, U32 n) {
  Texts const& t = texts();
  entry.permitIs(Acl::denyMatch);
  entry.statementNameIs(t.statement);
  entry.statementNameFromCliIs(true);
  for (auto option : {matchPrefixList, matchAsPathList, matchTag, matchMetric}) {
    entry.matchRuleIs(rule(option, n));
  }
  entry.subRouteMapIs(t.sub);
  for (U32 i = 0; i < 4; ++i) {
    entry.asPathPrependIs(i, 65000 + i);
    entry.asPathReplaceIs(i, 65100 + i);
  }
  entry.asPathPrependLastAsIs(3);
  entry.setNextHopArgIs(
      SetNextHopArg::of(nextHopArgAddr, Ipa::IpGenAddr(Ipa::IpAddr(0x0a000000 + n))));
  entry.localPrefIs(n + 1);
  entry.weightIs(n + 2);
  entry.metricIs(Metric::of(n + 3, medAdditive));
  entry.metricTypeIs(Routing::Ospf::ospfExtMetricType2);
  entry.levelIs(Routing::Isis::level2);
  entry.originIs(Acl::bgpEGP);
  entry.distanceIs(n + 4);
  entry.propagateIs(true);
  entry.tagIs(n + 5);
  fill(*entry.communityAddReplaceIs(t.add), n);
  fill(*entry.communityDeleteIs(t.del), n);
  fill(*entry.extCommunityIs(t.ext), n);
  fill(*entry.largeCommunityIs(t.large), n);
  entry.lbwDisplayIs(t.bandwidth);
  entry.linkBandwidthRefDisplayIs(t.bandwidth);
  entry.linkBandwidthRefExtCommIs(1.5F);
  entry.extCommLinkBandwidthSetFlagIs(Acl::extCommLinkBandwidthSetAggregate);
  entry.continueSeqIs(n + 6);
  entry.evpnNextHopUnchangedIs(true);
  entry.segmentIndexIs(n + 7);
  entry.igpMetricIs(n + 8);
  entry.setFlagsIs(MapEntry::SetFlags(MapEntry::SetFlags::kAll));
  entry.descriptionIs(1, t.line);
  entry.descriptionIs(2, t.line);
}

void fill(Map& map, U32 n) {
  map.descriptionIs(1, texts().line);
  for (U32 i = 1; i <= kEntries; ++i) fill(*map.mapEntryIs(i * 10), n + i);
}

Ptr<Config> filledConfig() {
  auto config = Orb::make<Config>();
  for (U32 i = 0; i < kMaps; ++i) fill(*config->routeMapIs(texts().maps[i]), i);
  return config;
}

void countMaps(benchmark::State& state, Total const& pieces) {
  state.counters["us/entry"] = pieces.mean() * 1e6 / (kMaps * kEntries);
  state.counters["first_ms"] = pieces.first() * 1e3;
}

/// The floor of creating them: the mutators alone.
void mapsByHand(benchmark::State& state) {
  Total pieces;
  for (auto _ : state) {
    Ptr<Config> config;
    state.SetIterationTime(pieces.add([&] { config = filledConfig(); }));
  }
  countMaps(state, pieces);
}

enum class Edit { create, nothing, oneOfEach };

void commitMaps(benchmark::State& state, Edit edit) {
  Total touches;
  Total pieces;
  auto config = edit == Edit::create ? nullptr : filledConfig();
  U32 round = 0;
  for (auto _ : state) {
    if (edit == Edit::create) config = Orb::make<Config>();
    auto const manager = Orb::make<Cli::Session::Manager>(
        std::vector<Ptr<Orb::Entity>>{config}, Orb::make<RouteMapCopyHandlerDir>("handlers"));
    auto const session = manager->open("s");
    ++round;
    std::vector<Ptr<Map>> maps;
    touches.add([&] {
      for (Name const& name : texts().maps) {
        maps.push_back(session->edit<Map>("routeMap[" + Orb::toText(name) + "]"));
      }
    });
    for (U32 i = 0; i < kMaps; ++i) {
      if (edit == Edit::create) fill(*maps[i], i);
      if (edit != Edit::oneOfEach) continue;
      for (Ptr<MapEntry> const& entry : maps[i]->mapEntry()) entry->distanceIs(1000 + round);
    }
    Cli::Session::CommitReport report;
    state.SetIterationTime(pieces.add([&] { report = session->commit(); }));
    auto const expected = edit == Edit::create    ? Cli::Session::CommitItem::Outcome::created
                          : edit == Edit::nothing ? Cli::Session::CommitItem::Outcome::unchanged
                                                  : Cli::Session::CommitItem::Outcome::changed;
    if (!std::all_of(report.items.begin(), report.items.end(),
                     [&](auto const& item) { return item.outcome == expected; })) {
      state.SkipWithError("the commit did something else");
    }
  }
  countMaps(state, pieces);
  state.counters["touch_ms"] = touches.mean() * 1e3;
}

// Single mutators and notices.

/// What a mutator comes down to.
struct PlainEntry {
  U32 distance = 0;
  Keel::MaybeU63 localPref;
};

void assignPlain(benchmark::State& state) {
  PlainEntry entry;
  benchmark::DoNotOptimize(&entry);
  U32 n = 0;
  for (auto _ : state) {
    if (entry.distance != ++n) entry.distance = n;
    benchmark::ClobberMemory();
  }
}

void mutateScalar(benchmark::State& state) {
  auto const entry = Orb::make<MapEntry>(10U);
  U32 n = 0;
  for (auto _ : state) {
    entry->distanceIs(++n);
    benchmark::ClobberMemory();
  }
}

void mutateMaybe(benchmark::State& state) {
  auto const entry = Orb::make<MapEntry>(10U);
  U32 n = 0;
  for (auto _ : state) {
    entry->localPrefIs(++n);
    benchmark::ClobberMemory();
  }
}

class DistanceReactor final : public Orb::Reactor<DistanceReactor, MapEntry> {
  friend Reactor;
  static constexpr auto reactions() {
    return std::tuple{on<Attr::distance, &DistanceReactor::handleDistance>};
  }

 public:
  explicit DistanceReactor(Ptr<MapEntry const> entry) : Reactor(std::move(entry)) {}
  Orb::U64 notified() const { return notified_; }

 private:
  void handleDistance() { ++notified_; }

  Orb::U64 notified_ = 0;
};

/// The arguments: how many reactors, and whether reference counts are atomic.
void notify(benchmark::State& state) {
  auto const entry = Orb::make<MapEntry>(10U);
  std::vector<Ptr<DistanceReactor>> reactors;
  for (int i = 0; i < state.range(0); ++i) reactors.push_back(Orb::make<DistanceReactor>(entry));
  Orb::threadSafePtrIs(state.range(1) != 0);
  U32 n = 0;
  for (auto _ : state) {
    entry->distanceIs(++n);
    benchmark::ClobberMemory();
  }
  Orb::threadSafePtrIs(true);
  for (auto const& reactor : reactors) {
    if (reactor->notified() != n) state.SkipWithError("a reactor was not notified");
  }
}

struct Listener {
  virtual ~Listener() = default;
  virtual void onChange() = 0;
  Orb::U64 notified = 0;
};
struct CountingUp final : Listener {
  void onChange() final { ++notified; }
};
struct CountingDown final : Listener {
  void onChange() final { --notified; }
};

void virtualCall(benchmark::State& state) {
  CountingUp up;
  CountingDown down;
  Listener* listener = state.range(0) ? static_cast<Listener*>(&up) : &down;
  for (auto _ : state) {
    benchmark::DoNotOptimize(listener);
    listener->onChange();
  }
  benchmark::DoNotOptimize(listener->notified);
}

// By name. The floor is handed the name and reads no path.

constexpr char const* kPath = "routeMap['RM-IN'].mapEntry[10].localPref";

Ptr<Config> configOfRmIn() {
  auto config = filledConfig();
  config->routeMapIs("RM-IN")->mapEntryIs(10)->localPrefIs(200);
  return config;
}

void readByPath(benchmark::State& state) {
  auto const config = configOfRmIn();
  for (auto _ : state) benchmark::DoNotOptimize(Orb::attributeText(*config, kPath));
}

void readByGetters(benchmark::State& state) {
  auto const config = configOfRmIn();
  Name const name = "RM-IN";
  for (auto _ : state) {
    std::string text;
    writeText(text, config->routeMap(name)->mapEntry(10)->localPref());
    benchmark::DoNotOptimize(text);
  }
}

void setByPath(benchmark::State& state) {
  auto const config = configOfRmIn();
  bool isOdd = false;
  for (auto _ : state) {
    Orb::attributeTextIs(*config, kPath, isOdd ? "201" : "200");
    isOdd = !isOdd;
  }
}

void setByMutators(benchmark::State& state) {
  auto const config = configOfRmIn();
  Name const name = "RM-IN";
  bool isOdd = false;
  for (auto _ : state) {
    Keel::MaybeU63 value;
    Orb::fromText(value, isOdd ? "201" : "200");
    config->routeMapIs(name)->mapEntryIs(10)->localPrefIs(value);
    isOdd = !isOdd;
  }
}

// A hashed collection of a million members: the insertion that finds the block full moves all.

void growHashed(benchmark::State& state) {
  auto const count = static_cast<std::size_t>(state.range(0));
  Total all;
  Total last;
  for (auto _ : state) {
    // The block doubles from 4 on: after 2^k members the next one is the longest.
    Orb::HashMap<Ptr<MapEntry>, Orb::TargetKey<&MapEntry::seqno>, Orb::KeyHash> map;
    auto const entry = [](std::size_t i) { return Orb::make<MapEntry>(static_cast<U32>(i)); };
    all.add([&] {
      for (std::size_t i = 0; i < count; ++i) map.insertOrAssign(entry(i));
    });
    auto one = entry(count);
    state.SetIterationTime(last.add([&] { map.insertOrAssign(std::move(one)); }));
    map.clear();
    Orb::reapAll();
  }
  state.counters["insert_ns/member"] = all.mean() * 1e9 / static_cast<double>(count);
  state.counters["growth_ns/member"] = last.mean() * 1e9 / static_cast<double>(count);
}

/// Leaves the allocator with free blocks in no order, as a process has them that has run for long:
/// what is made from here on lies far apart.
void wearHeap() {
  Shapes::Random random(1);
  std::vector<std::unique_ptr<char[]>> blocks;
  for (std::size_t i = 0; i < 500000; ++i) {
    blocks.push_back(std::make_unique<char[]>(24 + random() % 1000));
  }
  std::shuffle(blocks.begin(), blocks.end(), random);
  // Every eighth block stays, so that the free ones do not grow together.
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    if (i % 8 == 0) benchmark::DoNotOptimize(blocks[i].release());
  }
}

/// REQUIRES: it comes last, as the heap stays worn.
void inWornHeap(benchmark::State& state, void (*run)(benchmark::State&)) {
  [[maybe_unused]] static bool const worn = (wearHeap(), true);
  run(state);
}

#define WHOLE UseManualTime()->Unit(benchmark::kMillisecond)
BENCHMARK(mapsByHand)->WHOLE;
BENCHMARK_CAPTURE(commitMaps, create, Edit::create)->WHOLE;
BENCHMARK_CAPTURE(commitMaps, unchanged, Edit::nothing)->WHOLE;
BENCHMARK_CAPTURE(commitMaps, oneOfEach, Edit::oneOfEach)->WHOLE;
BENCHMARK(assignPlain);
BENCHMARK(mutateScalar);
BENCHMARK(mutateMaybe);
BENCHMARK(virtualCall)->Arg(1);
BENCHMARK(notify)->Args({1, 1})->Args({1, 0})->Args({8, 1})->Args({8, 0});
BENCHMARK(readByGetters);
BENCHMARK(readByPath);
BENCHMARK(setByMutators);
BENCHMARK(setByPath);
BENCHMARK(growHashed)->Arg(1 << 14)->Arg(1 << 18)->Arg(1 << 20)->WHOLE;
BENCHMARK(walkBoth)->Arg(1000)->Arg(100000)->Arg(1000000)->WHOLE;
BENCHMARK(walkBothArrays)->Arg(1000)->Arg(100000)->Arg(1000000)->WHOLE;
BENCHMARK_CAPTURE(commitOneEntry, alone, false)->Arg(1000)->Arg(100000)->Arg(1000000)->WHOLE;
// Each commit is followed by a build of a second, which its time does not show.
BENCHMARK_CAPTURE(commitOneEntry, compiled, true)->Arg(1000000)->Iterations(5)->WHOLE;
BENCHMARK_CAPTURE(inWornHeap, mapsByHand, mapsByHand)->WHOLE;
BENCHMARK_CAPTURE(inWornHeap, create, [](auto& s) { commitMaps(s, Edit::create); }) -> WHOLE;
BENCHMARK_CAPTURE(inWornHeap, unchanged, [](auto& s) { commitMaps(s, Edit::nothing); }) -> WHOLE;
BENCHMARK_CAPTURE(inWornHeap, oneOfEach, [](auto& s) { commitMaps(s, Edit::oneOfEach); }) -> WHOLE;
#undef WHOLE

}  // namespace
