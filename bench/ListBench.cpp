#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/Shapes.h"
#include "platform/orb/loop/Activity.h"
#include "platform/orb/loop/Reaper.h"
#include "policy_config/RouteMap.h"
#include "policy_eval/MatchPrefixList.h"
#include "policy_sm/RouteMapSm.h"

// Whole prefix lists on the real road: the configuration, the state machine, the event loop, and
// matches against what comes out. A build is what the processor spends until the new form is
// published; the release of the old form, which the loop does beside and after it, is in the
// longest turn. Beside the matches stands a binary search over the same prefixes, in the same run.
// Half of what is matched lies in one of the list's prefixes. In "dependent" matches each waits for
// the one before.

namespace {

using namespace Routing::RouteMap;
using Shapes::Prefixes;

/// The entries of a list, in the order of their sequence numbers.
using Entries = std::vector<GenPrefixEntry>;

Entries numbered(Prefixes const& prefixes, Orb::U32 longer) {
  Entries entries;
  for (auto const& p : prefixes) {
    Orb::U32 const le = longer ? std::min(p.length() + longer, p.maxLength()) : 0;
    auto const seqno = static_cast<Orb::U32>(entries.size()) * 10;
    entries.push_back(GenPrefixEntry::of(seqno, p, Acl::permitMatch, 0U, le, 0U));
  }
  return entries;
}

/// A tenth denies, a fifth are prefixes that cover others, half have bounds; the sequence numbers
/// say nothing about the prefixes.
Entries mixed(Prefixes const& prefixes) {
  Shapes::Random random(9);
  Entries entries;
  for (auto const& drawn : prefixes) {
    Orb::U32 const cut = 1 + static_cast<Orb::U32>(random() % 6);
    auto const p = random() % 5 || drawn.length() < 8 + cut
                       ? drawn
                       : Shapes::subnet(drawn, drawn.length() - cut);
    Orb::U32 const room = p.maxLength() - p.length() + 1;
    Orb::U32 ge = 0;
    Orb::U32 le = 0;
    if (random() % 2) ge = p.length() + static_cast<Orb::U32>(random() % room);
    if (random() % 2) {
      Orb::U32 const from = std::max(ge, p.length());
      le = from + static_cast<Orb::U32>(random() % (p.maxLength() - from + 1));
    }
    auto const seqno = static_cast<Orb::U32>(entries.size()) * 10;
    auto const permit = random() % 10 ? Acl::permitMatch : Acl::denyMatch;
    entries.push_back(GenPrefixEntry::of(seqno, p, permit, ge, le, 0U));
  }
  return entries;
}

/// All entries have one prefix; each has bounds of its own, and the last alone permits everything.
Entries onePrefix(std::size_t count) {
  Entries entries;
  auto const p = Shapes::ip4(0x0a000000, 8);
  for (Orb::U32 i = 0; i < count; ++i) {
    Orb::U32 const ge = 9 + i % 12;
    Orb::U32 const le = i + 1 == count ? 32 : ge + i % 5;
    entries.push_back(GenPrefixEntry::of(i * 10, p, Acl::permitMatch, ge, le, 0U));
  }
  return entries;
}

struct Shape {
  std::string name;
  Ipa::AddressFamily family;
  std::function<Entries()> entries;
  std::function<Prefixes()> others;  // to draw misses from
};

double seconds(clockid_t clock) {
  timespec t{};
  clock_gettime(clock, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

std::size_t heapBytes() {
  auto const info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

/// The turns of an event loop, and the longest of them.
class Turns {
 public:
  /// Turns until nothing is due; calls `turned` with the processor time spent so far after each.
  template <class Turned>
  void untilIdle(Orb::ActivityManager& manager, Turned const& turned) {
    double spent = 0;
    while (manager.nextDue() <= manager.clock()->now()) {
      double const cpu = seconds(CLOCK_THREAD_CPUTIME_ID);
      double const wall = seconds(CLOCK_MONOTONIC);
      manager.turn();
      double const turn = seconds(CLOCK_THREAD_CPUTIME_ID) - cpu;
      longestWall_ = std::max(longestWall_, seconds(CLOCK_MONOTONIC) - wall);
      longestCpu_ = std::max(longestCpu_, turn);
      turned(spent += turn);
    }
  }
  void count(benchmark::State& state) const {
    state.counters["longest_turn_cpu_ms"] = longestCpu_ * 1e3;
    state.counters["longest_turn_wall_ms"] = longestWall_ * 1e3;
  }

 private:
  double longestCpu_ = 0;
  double longestWall_ = 0;
};

/// A list in its configuration, with the machine that compiles it.
class World {
 public:
  explicit World(Shape const& shape)
      : entries_(shape.entries()), isIpv4_(shape.family == Ipa::ipv4), scope_(manager_) {
    if (isIpv4_) {
      ipv4_ = prefixListConfigSmFactory(config_, all_, prefixListSymbolDedupTableFactory());
    } else {
      ipv6_ = ipv6PrefixListConfigSmFactory(config_, all_, prefixListSymbolDedupTableFactory());
    }
    std::size_t const before = heapBytes();
    for (auto const& r : entries_) {
      if (isIpv4_) {
        config_->prefixListIs("L")->prefixEntryIs(Acl::PrefixEntry::of(
            r.seqno(), Ipa::Prefix(r.prefix()), r.permit(), r.ge(), r.le(), r.eq()));
      } else {
        config_->ipv6PrefixListIs("L")->ipv6PrefixEntryIs(Acl::Ipv6PrefixEntry::of(
            r.seqno(), Ipa::Ip6Prefix(r.prefix()), r.permit(), r.ge(), r.le(), r.eq()));
      }
    }
    configBytes_ = heapBytes() - before;
    auto const before2 = heapBytes();
    compile();
    compiledBytes_ = heapBytes() - before2;

    Prefixes prefixes;
    for (auto const& r : entries_) prefixes.push_back(r.prefix());
    probes_ = Shapes::probes(prefixes, shape.others(), std::size_t{1} << 18);
    if (isIpv4_) {
      floor4_ = std::make_unique<Shapes::Floor<Shapes::Key4>>(prefixes);
    } else {
      floor6_ = std::make_unique<Shapes::Floor<Shapes::Key6>>(prefixes);
    }
  }
  ~World() {
    ipv4_ = nullptr;
    ipv6_ = nullptr;
    config_ = nullptr;
    all_ = nullptr;
    Orb::reapAll();
  }

  /// Compiles the list, and frees the old form; notes the longest turn of all that. Returns the
  /// processor time of the turns up to the one that published the new form.
  double compile() {
    turns_ = Turns();
    double published = 0;
    Orb::U32 version = 0;
    if (auto const symbol = all_->symbol("L")) version = symbol->symbolNotifier()->version();
    if (isIpv4_) {
      config_->prefixListIs("L")->versionInc(1);
    } else {
      config_->ipv6PrefixListIs("L")->versionInc(1);
    }
    turns_.untilIdle(manager_, [&](double spent) {
      Orb::U32 const now = all_->symbol("L")->symbolNotifier()->version();
      if (now != version) published = spent;
      version = now;
    });
    return published;
  }

  Orb::Ptr<PrefixListStatus const> status() const { return all_->symbol("L")->status(); }
  std::size_t size() const { return entries_.size(); }
  Prefixes const& probes() const { return probes_; }

  void count(benchmark::State& state) const {
    auto const perEntry = [&](std::size_t bytes) {
      return static_cast<double>(bytes) / static_cast<double>(size());
    };
    state.counters["compiled_B/entry"] = perEntry(compiledBytes_);
    state.counters["config_B/entry"] = perEntry(configBytes_);
    turns_.count(state);
  }
  std::size_t floor(Ipa::IpGenPrefix const& p) const {
    return floor4_ ? floor4_->find(Shapes::Floor<Shapes::Key4>::keyOf(p))
                   : floor6_->find(Shapes::Floor<Shapes::Key6>::keyOf(p));
  }

 private:
  Entries entries_;
  bool const isIpv4_;
  Orb::ActivityManager manager_;
  Orb::ActivityManager::Scope scope_;
  Orb::Ptr<Acl::AclListConfig> config_ = Orb::make<Acl::AclListConfig>("root");
  Orb::Ptr<AllPrefixListSymbol> all_ = allPrefixListSymbolFactory();
  Orb::Ptr<PrefixListConfigSm> ipv4_;
  Orb::Ptr<Ipv6PrefixListConfigSm> ipv6_;
  Prefixes probes_;
  std::unique_ptr<Shapes::Floor<Shapes::Key4>> floor4_;
  std::unique_ptr<Shapes::Floor<Shapes::Key6>> floor6_;
  std::size_t configBytes_ = 0;
  std::size_t compiledBytes_ = 0;
  Turns turns_;
};

/// Lists that are all compiled at the same time, a million entries together. The first has half of
/// them, or as many as each other one. Their longest turn is that of all builds, which from the
/// second on free the old forms beside.
class ManyLists {
 public:
  ManyLists(std::size_t lists, bool oneIsHuge) : scope_(manager_) {
    constexpr std::size_t kEntries = 1000000;
    sm_ = prefixListConfigSmFactory(config_, all_, prefixListSymbolDedupTableFactory());
    auto const prefixes = Shapes::distributedIp4(kEntries, 1);
    std::size_t const huge = lists == 1 ? kEntries : oneIsHuge ? kEntries / 2 : kEntries / lists;
    for (std::size_t i = 0, at = 0; i < lists; ++i) {
      auto const list = config_->prefixListIs("L" + std::to_string(i));
      std::size_t const end = i == 0 ? huge : at + (kEntries - huge) / (lists - 1);
      for (; at < end; ++at) {
        list->prefixEntryIs(Acl::PrefixEntry::of(
            static_cast<Orb::U32>(at), Ipa::Prefix(prefixes[at]), Acl::permitMatch, 0U, 0U, 0U));
      }
      lists_.push_back(list);
    }
    compile();
  }
  ~ManyLists() {
    sm_ = nullptr;
    config_ = nullptr;
    all_ = nullptr;
    Orb::reapAll();
  }

  /// Compiles all, and frees the old forms; returns the processor time.
  double compile() {
    double all = 0;
    for (auto const& list : lists_) list->versionInc(1);
    turns_.untilIdle(manager_, [&all](double spent) { all = spent; });
    return all;
  }
  void count(benchmark::State& state) const { turns_.count(state); }

 private:
  Orb::ActivityManager manager_;
  Orb::ActivityManager::Scope scope_;
  Orb::Ptr<Acl::AclListConfig> config_ = Orb::make<Acl::AclListConfig>("root");
  Orb::Ptr<AllPrefixListSymbol> all_ = allPrefixListSymbolFactory();
  Orb::Ptr<PrefixListConfigSm> sm_;
  std::vector<Orb::Ptr<Acl::PrefixList>> lists_;
  Turns turns_;
};

void buildMany(benchmark::State& state) {
  ManyLists lists(static_cast<std::size_t>(state.range(0)), state.range(1) != 0);
  for (auto _ : state) state.SetIterationTime(lists.compile());
  lists.count(state);
}
BENCHMARK(buildMany)
    ->ArgNames({"lists", "oneIsHuge"})
    ->ArgsProduct({{1, 10, 100, 1000}, {0, 1}})
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime();

/// The world of a shape, kept for the benchmarks that follow one another on it.
World& worldOf(Shape const& shape) {
  static std::string current;
  static std::unique_ptr<World> world;
  if (current != shape.name) {
    world = nullptr;
    world = std::make_unique<World>(shape);
    current = shape.name;
  }
  return *world;
}

void build(benchmark::State& state, Shape const& shape) {
  World& w = worldOf(shape);
  double spent = 0;
  for (auto _ : state) {
    double const once = w.compile();
    state.SetIterationTime(once);
    spent += once;
  }
  state.counters["cpu_ns/entry"] =
      spent * 1e9 / static_cast<double>(w.size()) / static_cast<double>(state.iterations());
  w.count(state);
}

void match(benchmark::State& state, Shape const& shape) {
  World const& w = worldOf(shape);
  auto const status = w.status();
  std::size_t at = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(Routing::PolicyEval::matchPrefixList(status.get(), w.probes()[at]));
    at = (at + 1) & (w.probes().size() - 1);
  }
}

void matchDependent(benchmark::State& state, Shape const& shape) {
  World const& w = worldOf(shape);
  auto const status = w.status();
  std::size_t at = 0;
  for (auto _ : state) {
    auto const m = Routing::PolicyEval::matchPrefixList(status.get(), w.probes()[at]);
    at = (at + 1 + (m.seqno & 1)) & (w.probes().size() - 1);
  }
  benchmark::DoNotOptimize(at);
}

void floorSearch(benchmark::State& state, Shape const& shape) {
  World const& w = worldOf(shape);
  std::size_t at = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(w.floor(w.probes()[at]));
    at = (at + 1) & (w.probes().size() - 1);
  }
}

void floorDependent(benchmark::State& state, Shape const& shape) {
  World const& w = worldOf(shape);
  std::size_t at = 0;
  for (auto _ : state) {
    at = (at + 1 + (w.floor(w.probes()[at]) & 1)) & (w.probes().size() - 1);
  }
  benchmark::DoNotOptimize(at);
}

std::vector<Shape> shapes() {
  std::vector<Shape> all;
  auto const add = [&](std::string name, Ipa::AddressFamily family, std::size_t count, auto draw,
                       auto entries) {
    all.push_back({std::move(name), family, [=] { return entries(draw(count, 1)); },
                   [=] { return draw(count, 3); }});
  };
  auto const exact = [](Prefixes const& p) { return numbered(p, 0); };
  auto const withLe = [](Prefixes const& p) { return numbered(p, 4); };
  auto const v4 = [](std::size_t n, std::uint64_t seed) { return Shapes::distributedIp4(n, seed); };
  auto const v6 = [](std::size_t n, std::uint64_t seed) { return Shapes::distributedIp6(n, seed); };
  for (auto const& [size, label] : {std::pair<std::size_t, char const*>{1, "1"},
                                    {16, "16"},
                                    {100, "100"},
                                    {1000, "1k"},
                                    {10000, "10k"},
                                    {100000, "100k"},
                                    {1000000, "1M"}}) {
    std::string const n = std::string("/") + label;
    add("distributed" + n, Ipa::ipv4, size, v4, exact);
    add("distributed-le" + n, Ipa::ipv4, size, v4, withLe);
    add("mixed" + n, Ipa::ipv4, size, v4, mixed);
    add(
        "uniform" + n, Ipa::ipv4, size,
        [](std::size_t k, std::uint64_t seed) { return Shapes::uniformIp4(k, seed); }, exact);
  }
  add("distributed-ipv6/100k", Ipa::ipv6, 100000, v6, exact);
  add("mixed-ipv6/100k", Ipa::ipv6, 100000, v6, mixed);
  // Misses for these come from the whole address space.
  auto const special = [&](std::string name, Ipa::AddressFamily family, auto entries) {
    all.push_back({std::move(name), family, entries, [family] {
                     return family == Ipa::ipv4 ? Shapes::distributedIp4(10000, 3)
                                                : Shapes::distributedIp6(10000, 3);
                   }});
  };
  special("dense/10k", Ipa::ipv4, [=] { return exact(Shapes::denseIp4(10240)); });
  special("dense-ipv6/10k", Ipa::ipv6, [=] { return exact(Shapes::denseIp6(10000)); });
  special("chains/1k", Ipa::ipv4, [=] { return withLe(Shapes::chains(Ipa::ipv4, 1000)); });
  special("chains/10k", Ipa::ipv4, [=] { return withLe(Shapes::chains(Ipa::ipv4, 10000)); });
  special("chains-ipv6/10k", Ipa::ipv6, [=] { return withLe(Shapes::chains(Ipa::ipv6, 10000)); });
  special("one-prefix/1k", Ipa::ipv4, [] { return onePrefix(1000); });
  return all;
}

int const kRegistered = [] {
  static std::vector<Shape> const all = shapes();
  for (Shape const& shape : all) {
    auto const add = [&](char const* what, void (*run)(benchmark::State&, Shape const&)) {
      return benchmark::RegisterBenchmark((shape.name + '/' + what).c_str(), run, std::cref(shape));
    };
    add("build", build)->Unit(benchmark::kMillisecond)->UseManualTime();
    add("match", match);
    add("floor", floorSearch);
    add("matchDependent", matchDependent);
    add("floorDependent", floorDependent);
  }
  return 0;
}();

}  // namespace
