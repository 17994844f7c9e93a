#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "bench/Shapes.h"
#include "platform/orb/loop/Reaper.h"
#include "platform/routing/PatriciaTrieWithNodeData.h"

// The trie alone: insertion in random and in sorted order, the longest single insertion, bytes for
// each prefix, and finding what covers a prefix, beside a binary search over the same prefixes.
// Half of what is looked up is covered. "Dependent" look-ups wait for the one before.

namespace {

using Routing::PatriciaTrieWithNodeData;
using Shapes::Prefixes;
using Covers = std::array<Routing::Cover, Routing::kMaxCovers>;

class Datum : public Routing::PrefixData {
 public:
  explicit Datum(std::size_t number) : number_(number) {}
  Orb::U64 summary() const noexcept override { return number_; }

 private:
  std::size_t number_;
};

struct Shape {
  std::string name;
  Ipa::AddressFamily family;
  std::size_t count;
  Prefixes (*make)(std::size_t count, std::uint64_t seed);
};

Prefixes chainsIp4(std::size_t count, std::uint64_t seed) {
  return Shapes::chains(Ipa::ipv4, count, seed);
}
Prefixes chainsIp6(std::size_t count, std::uint64_t seed) {
  return Shapes::chains(Ipa::ipv6, count, seed);
}

/// A list with what is looked up in it; made once for the benchmarks that use it.
struct Workload {
  explicit Workload(Shape const& shape)
      : list(shape.make(shape.count, 1)),
        probes(Shapes::probes(list, shape.make(shape.count, 3), std::size_t{1} << 19)) {}

  static Workload const& of(Shape const& shape) {
    static std::string current;
    static std::unique_ptr<Workload> workload;
    if (current != shape.name) {
      workload = nullptr;
      workload = std::make_unique<Workload>(shape);
      current = shape.name;
    }
    return *workload;
  }

  Prefixes list;
  Prefixes probes;
};

PatriciaTrieWithNodeData::Ptr emptyTrie(Shape const& shape) {
  return Orb::make<PatriciaTrieWithNodeData>(shape.name, shape.family);
}

std::vector<Routing::PrefixData::Ptr> data(std::size_t count) {
  std::vector<Routing::PrefixData::Ptr> made;
  made.reserve(count);
  for (std::size_t i = 0; i < count; ++i) made.emplace_back(Orb::make<Datum>(i));
  return made;
}

/// Processor time of this thread: page faults count, what other processes take does not.
double cpuSeconds() {
  std::timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

void insert(benchmark::State& state, Shape const& shape, bool sorted) {
  Prefixes list = Workload::of(shape).list;
  if (sorted) std::sort(list.begin(), list.end());
  std::size_t bytes = 0;
  for ([[maybe_unused]] auto _ : state) {
    auto const made = data(list.size());
    auto trie = emptyTrie(shape);
    double const start = cpuSeconds();
    for (std::size_t i = 0; i < list.size(); ++i) trie->routeIs(list[i], made[i]);
    state.SetIterationTime(cpuSeconds() - start);
    bytes = trie->memory();
    trie = nullptr;
    Orb::reapAll();
  }
  auto const count = static_cast<double>(list.size());
  state.counters["bytes/prefix"] = static_cast<double>(bytes) / count;
  state.counters["s/prefix"] = benchmark::Counter(
      count, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void longestInsert(benchmark::State& state, Shape const& shape) {
  Prefixes const& list = Workload::of(shape).list;
  double longest = 0;
  for ([[maybe_unused]] auto _ : state) {
    auto const made = data(list.size());
    auto trie = emptyTrie(shape);
    double last = cpuSeconds();
    for (std::size_t i = 0; i < list.size(); ++i) {
      trie->routeIs(list[i], made[i]);
      double const now = cpuSeconds();
      longest = std::max(longest, now - last);
      last = now;
    }
    trie = nullptr;
    Orb::reapAll();
  }
  state.counters["longest_us"] = 1e6 * longest;
}

void look(benchmark::State& state, Shape const& shape, bool dependent) {
  Workload const& workload = Workload::of(shape);
  auto const made = data(workload.list.size());
  auto const trie = emptyTrie(shape);
  for (std::size_t i = 0; i < made.size(); ++i) trie->routeIs(workload.list[i], made[i]);
  Covers covers;
  std::size_t const mask = workload.probes.size() - 1;
  std::size_t i = 0;
  std::size_t found = 0;
  std::size_t sum = 0;
  for ([[maybe_unused]] auto _ : state) {
    std::size_t const count = trie->covering(workload.probes[i & mask], covers);
    for (std::size_t k = 0; k < count; ++k) sum += covers[k].summary;
    found += count;
    // No list is that long, but the processor has to wait to know it.
    i += 1 + (dependent ? (count + sum) >> 62 : 0);
  }
  benchmark::DoNotOptimize(sum);
  state.counters["covers"] =
      benchmark::Counter(static_cast<double>(found), benchmark::Counter::kAvgIterations);
}

template <class Key>
void floorOf(benchmark::State& state, Shape const& shape, bool dependent) {
  Workload const& workload = Workload::of(shape);
  Shapes::Floor<Key> const floor(workload.list);
  std::size_t const mask = workload.probes.size() - 1;
  std::size_t i = 0;
  std::size_t sum = 0;
  for ([[maybe_unused]] auto _ : state) {
    std::size_t const place = floor.find(floor.keyOf(workload.probes[i & mask]));
    sum += place;
    i += 1 + (dependent ? place >> 62 : 0);
  }
  benchmark::DoNotOptimize(sum);
}

void add(Shape const& shape) {
  auto const with = [&](std::string const& what, auto run) {
    return benchmark::RegisterBenchmark((shape.name + '/' + what).c_str(), run);
  };
  bool const large = shape.count >= 1000000;
  for (bool const sorted : {false, true}) {
    with(sorted ? "insertSorted" : "insertRandom",
         [=](auto& state) { insert(state, shape, sorted); })
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
  }
  if (large) {
    with("insertLongest", [=](auto& state) { longestInsert(state, shape); })
        ->Iterations(3)
        ->Unit(benchmark::kMillisecond);
  }
  for (bool const dependent : {false, true}) {
    std::string const suffix = dependent ? "/dependent" : "";
    with("covering" + suffix, [=](auto& state) { look(state, shape, dependent); });
    with("floor" + suffix, [=](auto& state) {
      if (shape.family == Ipa::ipv4) return floorOf<Shapes::Key4>(state, shape, dependent);
      floorOf<Shapes::Key6>(state, shape, dependent);
    });
  }
}

bool addAll() {
  using namespace Shapes;
  for (auto const& [name, count] :
       {std::pair{"16", 16}, {"1k", 1000}, {"10k", 10000}, {"100k", 100000}, {"1M", 1000000}}) {
    add({std::string("distributedIp4/") + name, Ipa::ipv4, static_cast<std::size_t>(count),
         distributedIp4});
  }
  add({"distributedIp6/1k", Ipa::ipv6, 1000, distributedIp6});
  add({"distributedIp6/10k", Ipa::ipv6, 10000, distributedIp6});
  add({"distributedIp6/100k", Ipa::ipv6, 100000, distributedIp6});
  add({"uniformIp4/100k", Ipa::ipv4, 100000, uniformIp4});
  add({"uniformIp4/1M", Ipa::ipv4, 1000000, uniformIp4});
  add({"hostsIp4/100k", Ipa::ipv4, 100000, hostsIp4});
  add({"hostsIp6/100k", Ipa::ipv6, 100000, hostsIp6});
  add({"denseIp4/10k", Ipa::ipv4, 10240, denseIp4});
  add({"denseIp6/10k", Ipa::ipv6, 10000, denseIp6});
  add({"chainsIp4/1k", Ipa::ipv4, 1000, chainsIp4});
  add({"chainsIp4/100k", Ipa::ipv4, 100000, chainsIp4});
  add({"chainsIp6/1k", Ipa::ipv6, 1000, chainsIp6});
  add({"chainsIp6/100k", Ipa::ipv6, 100000, chainsIp6});
  return true;
}

bool const added = addAll();

}  // namespace
