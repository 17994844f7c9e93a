#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <random>
#include <string>
#include <vector>

#include "policy_eval/MatchCommunityList.h"

// Community lists of 1 to 100,000 entries, matched against routes of 1 to 24 communities. Four
// fifths of the routes meet no entry, and the rest one anywhere in the list.
//
// "explicit": entries {65000:i}. "pairs": entries {65000:1, 65000:i}, of which every route carries
// the first value. With the index, and without it, which is a plain scan of the entries.
// "expanded": an expression for each community, with the index; beside it regexec() alone on the
// same patterns up to the first that matches ("floor"), on texts that are there already. All say
// what one route takes.
//
// "prepare": making the index; its longest step, of the making that was disturbed least, and the
// bytes for each entry.

namespace {

using namespace Routing::RouteMap;
using Acl::CommunityValue;
using Routing::PolicyEval::CommunityMatch;
using Routing::PolicyEval::matchCommunityList;
using Values = std::vector<CommunityValue>;
using Status = Orb::Ptr<CommListStatus>;

constexpr Orb::U32 kCommon = 65000U << 16 | 1;
constexpr std::array<Orb::U32, 7> kSizes{1, 10, 16, 100, 1000, 10000, 100000};

CommunityValue community(Orb::U32 value) { return CommunityValue::of(0U, 0U, value); }
/// The value of entry i.
Orb::U32 valueOf(Orb::U32 i) { return (65000U << 16) + 2 + i; }
std::string textOf(Orb::U32 value) {
  return std::to_string(value >> 16) + ':' + std::to_string(value & 0xffff);
}

enum class Shape { single, pair, expression };

Status listOf(Orb::U32 count, Shape shape) {
  auto status = commListStatusFactory("BENCH");
  auto const list = Orb::make<Acl::CommunityList>(Orb::Name("BENCH"));
  for (Orb::U32 i = 0; i < count; ++i) {
    auto const entry = Orb::make<Acl::CommunityListEntry>(*list, 10 * (i + 1));
    if (shape == Shape::expression) {
      entry->listTypeIs(Acl::communityExpanded);
      entry->commRegexIs("(^| )" + textOf(valueOf(i)) + "( |$)");
      status->regexAdd(entry->seqno(), entry->commRegex());
    } else {
      entry->communityIs(community(valueOf(i)), true);
      if (shape == Shape::pair) entry->communityIs(community(kCommon), true);
    }
    status->communityListEntryIs(entry);
  }
  return status;
}

/// What routes carry, and its texts; the same on every machine.
struct Routes {
  Routes(std::size_t count, Orb::U32 entries) {
    std::mt19937_64 random(7);
    for (std::size_t i = 0; i < count; ++i) {
      std::vector<Orb::U32> numbers{kCommon};
      for (auto more = static_cast<Orb::U32>(random() % 23); more > 0; --more) {
        numbers.push_back(static_cast<Orb::U32>(random() % 50000) << 16 | more);
      }
      if (random() % 5 == 0) numbers.push_back(valueOf(static_cast<Orb::U32>(random() % entries)));
      std::sort(numbers.begin(), numbers.end());
      Values& route = values.emplace_back();
      std::string& text = texts.emplace_back();
      for (Orb::U32 const number : numbers) {
        route.push_back(community(number));
        (text += text.empty() ? "" : " ") += textOf(number);
      }
    }
  }
  std::vector<Values> values;
  std::vector<std::string> texts;
};

/// Calls one(i) for each route; reports what a call takes.
template <class One>
void eachRoute(benchmark::State& state, Routes const& routes, One const& one) {
  std::size_t matches = 0;
  for (auto _ : state) {
    for (std::size_t i = 0; i < routes.values.size(); ++i) matches += one(i) ? 1 : 0;
  }
  auto const calls = static_cast<double>(routes.values.size());
  state.counters["matches%"] =
      100 * static_cast<double>(matches) / calls / static_cast<double>(state.iterations());
  state.counters["time/route"] = benchmark::Counter(
      calls, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/// So many that a round takes a moment, if each entry takes `cost` of 50 ns or so.
std::size_t routesFor(Orb::U32 entries, Orb::U32 cost) {
  return std::clamp<std::size_t>(2'000'000 / entries / cost, 100, 10000);
}

void match(benchmark::State& state, Orb::U32 count, Shape shape, bool hasIndex) {
  auto const status = listOf(count, shape);
  if (hasIndex) status->prepare();
  Orb::U32 const cost = shape == Shape::expression ? 50 : 1;
  Routes const routes(hasIndex && shape != Shape::expression ? 10000 : routesFor(count, cost),
                      count);
  std::string text;
  eachRoute(state, routes, [&](std::size_t i) {
    return matchCommunityList(status.get(), routes.values[i], CommunityMatch::contained, text)
        .isPermit;
  });
}

void matchFloor(benchmark::State& state, Orb::U32 count) {
  auto const status = listOf(count, Shape::expression);
  std::vector<regex_t const*> compiled;
  for (auto const& engine : status->regexMap()) compiled.push_back(engine->compiledRegex());
  Routes const routes(routesFor(count, 50), count);
  eachRoute(state, routes, [&](std::size_t i) {
    return std::any_of(compiled.begin(), compiled.end(), [&](regex_t const* regex) {
      return regexec(regex, routes.texts[i].c_str(), 0, nullptr, 0) == 0;
    });
  });
}

void prepare(benchmark::State& state, Orb::U32 count, Shape shape) {
  using Clock = std::chrono::steady_clock;
  auto const status = listOf(count, shape);
  auto least = Clock::duration::max();
  std::size_t bytes = 0;
  for (auto _ : state) {
    CommListIndexBuilder builder(status);
    Clock::duration longest{};
    Clock::time_point last = Clock::now();
    builder.work([&] {
      Clock::time_point const now = Clock::now();
      longest = std::max(longest, now - std::exchange(last, now));
      return false;
    });
    least = std::min(least, longest);
    bytes = builder.take()->bytes();
  }
  state.counters["longest"] = std::chrono::duration<double>(least).count();
  state.counters["bytes/entry"] = static_cast<double>(bytes) / count;
  state.counters["time/entry"] = benchmark::Counter(
      count, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

int const kRegistered = [] {
  auto const add = [](std::string const& name, auto run) {
    benchmark::RegisterBenchmark(name.c_str(), run)->Unit(benchmark::kMillisecond);
  };
  using State = benchmark::State&;
  for (Orb::U32 const count : kSizes) {
    std::string const size = '/' + std::to_string(count);
    for (auto const& [name, shape] :
         {std::pair{"explicit", Shape::single}, {"pairs", Shape::pair}}) {
      add(name + size + "/index", [=, s = shape](State b) { match(b, count, s, true); });
      add(name + size + "/scan", [=, s = shape](State b) { match(b, count, s, false); });
      add(std::string("prepare/") + name + size, [=, s = shape](State b) { prepare(b, count, s); });
    }
    if (count > 10000) continue;
    add("expanded" + size + "/index", [=](State b) { match(b, count, Shape::expression, true); });
    add("expanded" + size + "/floor", [=](State b) { matchFloor(b, count); });
  }
  return 0;
}();

}  // namespace
