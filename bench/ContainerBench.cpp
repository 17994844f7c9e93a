#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/orb/base/Ptr.h"
#include "platform/orb/base/String.h"
#include "platform/orb/containers/HashMap.h"
#include "platform/orb/containers/OrderedMap.h"
#include "platform/orb/loop/Reaper.h"

/// The containers behind collection attributes beside the standard's, and beside a sorted vector
/// as the floor of what lookup and iteration can cost. `per_item` is the time for one item. The
/// allocator keeps what is freed, so that page faults do not drown the rest; the first filling of
/// a process pays for them on top.
namespace {

using Orb::U32;

/// As large as an entry of a prefix list.
struct Entry {
  U32 key;
  U32 rest[6];
};

[[maybe_unused]] bool const memoryStays =
    mallopt(M_TRIM_THRESHOLD, 1 << 30) != 0 && mallopt(M_MMAP_THRESHOLD, 32 << 20) != 0;

struct Spread {
  U32 operator()(U32 key) const { return key; }
};
struct Child : Orb::RefCounted {
  explicit Child(Orb::Name n) : name(std::move(n)) {}
  Orb::Name const name;
};
struct NameOf {
  Orb::Name const& operator()(Orb::Ptr<Child> const& child) const { return child->name; }
};

using Ordered = Orb::OrderedMap<Entry, Orb::PairKey>;
using Hashed = Orb::HashMap<Entry, Orb::PairKey, Spread>;
using Tree = std::map<U32, Entry>;
using Nodes = std::unordered_map<U32, Entry>;
using Floor = std::vector<Entry>;

std::vector<U32> keys(std::size_t count, bool shuffled) {
  std::vector<U32> made(count);
  for (std::size_t i = 0; i < count; ++i) made[i] = static_cast<U32>(10 * (i + 1));
  if (shuffled) std::shuffle(made.begin(), made.end(), std::mt19937(1));
  return made;
}

template <class Map>
void put(Map& map, U32 key) {
  if constexpr (requires { map.insertOrAssign(Entry{key, {}}); }) {
    map.insertOrAssign(Entry{key, {}});
  } else {
    map.insert_or_assign(key, Entry{key, {}});
  }
}
void put(Floor& map, U32 key) { map.push_back(Entry{key, {}}); }

template <class Map>
Entry const* get(Map const& map, U32 key) {
  if constexpr (requires { map.find(key)->second; }) {
    return &map.find(key)->second;
  } else {
    return map.find(key);
  }
}
Entry const* get(Floor const& map, U32 key) {
  return &*std::lower_bound(map.begin(), map.end(), key,
                            [](Entry const& entry, U32 k) { return entry.key < k; });
}

U32 keyIn(Entry const& entry) { return entry.key; }
template <class K>
U32 keyIn(std::pair<K const, Entry> const& item) {
  return item.second.key;
}

template <class Map>
Map filled(std::vector<U32> const& order) {
  Map map;
  for (U32 const key : order) put(map, key);
  return map;
}

void perItem(benchmark::State& state, std::size_t count) {
  state.counters["per_item"] =
      benchmark::Counter(static_cast<double>(count), benchmark::Counter::kIsIterationInvariantRate |
                                                         benchmark::Counter::kInvert);
}

template <class Map, bool shuffled>
void insert(benchmark::State& state) {
  auto const order = keys(static_cast<std::size_t>(state.range(0)), shuffled);
  for (auto _ : state) {
    Map map;
    for (U32 const key : order) put(map, key);
    state.PauseTiming();
    map.clear();
    Orb::reapAll();
    state.ResumeTiming();
  }
  perItem(state, order.size());
}

template <class Map>
void lookUp(benchmark::State& state) {
  auto const count = static_cast<std::size_t>(state.range(0));
  Map const map = filled<Map>(keys(count, false));
  auto const order = keys(count, true);
  for (auto _ : state) {
    for (U32 const key : order) benchmark::DoNotOptimize(get(map, key));
  }
  perItem(state, count);
}

template <class Map, bool shuffled>
void iterate(benchmark::State& state) {
  auto const order = keys(static_cast<std::size_t>(state.range(0)), shuffled);
  Map const map = filled<Map>(order);
  for (auto _ : state) {
    U32 sum = 0;
    for (auto const& item : map) sum += keyIn(item);
    benchmark::DoNotOptimize(sum);
  }
  perItem(state, order.size());
}

template <class Map, bool shuffled>
void eraseEach(benchmark::State& state) {
  auto const count = static_cast<std::size_t>(state.range(0));
  auto const order = keys(count, shuffled);
  for (auto _ : state) {
    state.PauseTiming();
    Map map = filled<Map>(keys(count, false));
    state.ResumeTiming();
    for (U32 const key : order) map.erase(key);
  }
  perItem(state, count);
}

/// What the event loop feels of a clear(); the rest is freed outside the time.
template <class Map>
void clearTurn(benchmark::State& state) {
  auto const count = static_cast<std::size_t>(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    Map map = filled<Map>(keys(count, false));
    state.ResumeTiming();
    map.clear();
    state.PauseTiming();
    Orb::reapAll();
    state.ResumeTiming();
  }
}

template <class Map, bool shuffled>
void memory(benchmark::State& state) {
  auto const order = keys(static_cast<std::size_t>(state.range(0)), shuffled);
  double bytes = 0;
  for (auto _ : state) {
    std::size_t const before = mallinfo2().uordblks + mallinfo2().hblkhd;
    Map const map = filled<Map>(order);
    bytes = static_cast<double>(mallinfo2().uordblks + mallinfo2().hblkhd - before);
  }
  state.counters["bytes_per_item"] = bytes / static_cast<double>(order.size());
}

void iterateChildren(benchmark::State& state) {
  Orb::OrderedMap<Orb::Ptr<Child>, NameOf> map;
  auto const count = static_cast<std::size_t>(state.range(0));
  for (std::size_t i = 0; i < count; ++i) {
    map.insertOrAssign(Orb::make<Child>(Orb::Name("list-" + std::to_string(i))));
  }
  for (auto _ : state) {
    std::size_t sum = 0;
    for (auto const& child : map) sum += child->name.size();
    benchmark::DoNotOptimize(sum);
  }
  perItem(state, count);
}

#define SIZES Arg(10)->Arg(1000)->Arg(1000000)
BENCHMARK(insert<Ordered, false>)->SIZES->Arg(10000000);
BENCHMARK(insert<Tree, false>)->SIZES;
BENCHMARK(insert<Floor, false>)->SIZES;
BENCHMARK(insert<Hashed, false>)->SIZES;
BENCHMARK(insert<Nodes, false>)->SIZES;
BENCHMARK(insert<Ordered, true>)->SIZES;
BENCHMARK(insert<Tree, true>)->SIZES;
BENCHMARK(lookUp<Ordered>)->SIZES;
BENCHMARK(lookUp<Tree>)->SIZES;
BENCHMARK(lookUp<Floor>)->SIZES;
BENCHMARK(lookUp<Hashed>)->SIZES;
BENCHMARK(lookUp<Nodes>)->SIZES;
BENCHMARK(iterate<Ordered, false>)->SIZES;
BENCHMARK(iterate<Ordered, true>)->SIZES;
BENCHMARK(iterate<Tree, false>)->SIZES;
BENCHMARK(iterate<Floor, false>)->SIZES;
BENCHMARK(iterate<Hashed, false>)->SIZES;
BENCHMARK(iterate<Nodes, false>)->SIZES;
BENCHMARK(iterateChildren)->SIZES;
BENCHMARK(eraseEach<Ordered, false>)->SIZES->Arg(10000000);
BENCHMARK(eraseEach<Tree, false>)->SIZES;
BENCHMARK(eraseEach<Hashed, false>)->SIZES;
BENCHMARK(eraseEach<Nodes, false>)->SIZES;
BENCHMARK(eraseEach<Ordered, true>)->SIZES;
BENCHMARK(eraseEach<Tree, true>)->SIZES;
BENCHMARK(clearTurn<Ordered>)->Arg(10000)->Arg(1000000)->Iterations(30);
BENCHMARK(clearTurn<Tree>)->Arg(10000)->Arg(1000000)->Iterations(30);
BENCHMARK(clearTurn<Hashed>)->Arg(10000)->Arg(1000000)->Iterations(30);
BENCHMARK(memory<Ordered, false>)->SIZES->Iterations(1);
BENCHMARK(memory<Ordered, true>)->SIZES->Iterations(1);
BENCHMARK(memory<Tree, false>)->SIZES->Iterations(1);
BENCHMARK(memory<Hashed, false>)->SIZES->Iterations(1);
BENCHMARK(memory<Nodes, false>)->SIZES->Iterations(1);

}  // namespace
