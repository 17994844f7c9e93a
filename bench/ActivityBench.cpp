#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/orb/base/Trace.h"
#include "platform/orb/loop/Activity.h"
#include "platform/orb/loop/ActivityLock.h"
#include "platform/orb/loop/Reaper.h"

// What the event loop costs: beside the price of one request and one callback, the longest turn
// when much is due at once, and the price of a trace line that nobody sees.

namespace {

/// The longest turn, by the clock on the wall, which counts what other processes take, and by the
/// processor time of this thread.
class LongestTurn {
 public:
  std::size_t turn(Orb::ActivityManager& manager) {
    double const wall = manager.clock()->now();
    double const cpu = cpuSeconds();
    std::size_t const served = manager.turn();
    cpu_ = std::max(cpu_, cpuSeconds() - cpu);
    wall_ = std::max(wall_, manager.clock()->now() - wall);
    return served;
  }
  void report(benchmark::State& state) const {
    state.counters["longest_turn_ms"] = wall_ * 1000;
    state.counters["longest_turn_cpu_ms"] = cpu_ * 1000;
  }

 private:
  static double cpuSeconds() {
    std::timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
  }

  double wall_ = 0;
  double cpu_ = 0;
};

class Counter : public Orb::Clock::Notifiee {
 public:
  using Notifiee::Notifiee;
  void onTime() override { ++count_; }

 private:
  std::size_t count_ = 0;
};

std::vector<std::unique_ptr<Counter>> counters(Orb::Clock& clock, std::size_t count) {
  std::vector<std::unique_ptr<Counter>> made;
  for (std::size_t i = 0; i < count; ++i) made.push_back(std::make_unique<Counter>(&clock));
  return made;
}

void armAndServeOne(benchmark::State& state) {
  Orb::ActivityManager manager;
  Counter counter(manager.clock());
  for (auto _ : state) {
    counter.timeMinIs(Orb::Clock::kNextTurn);
    manager.turn();
  }
}
BENCHMARK(armAndServeOne);

/// All due at once: the time of one callback, arming included, and the longest turn.
void manyDueAtOnce(benchmark::State& state) {
  Orb::ActivityManager manager;
  auto const all = counters(*manager.clock(), static_cast<std::size_t>(state.range(0)));
  LongestTurn longest;
  for (auto _ : state) {
    for (auto const& counter : all) counter->timeMinIs(Orb::Clock::kNextTurn);
    for (std::size_t served = 0; served < all.size();) {
      served += longest.turn(manager);
    }
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  longest.report(state);
}
BENCHMARK(manyDueAtOnce)->Arg(10000)->Unit(benchmark::kMicrosecond);

/// One notifiee moved about among others that wait.
void rearm(benchmark::State& state) {
  Orb::ActivityManager manager;
  auto const all = counters(*manager.clock(), static_cast<std::size_t>(state.range(0)));
  double const later = manager.clock()->now() + 3600;
  double spread = 0;
  for (auto const& counter : all) counter->timeMinIs(later + (spread += 0.01));
  std::size_t next = 0;
  for (auto _ : state) {
    all[next]->timeMinIs(later + (spread += 0.01));
    next = (next + 7919) % all.size();
  }
}
BENCHMARK(rearm)->Arg(10000);

void post(benchmark::State& state) {
  Orb::ActivityManager manager;
  std::size_t count = 0;
  for (auto _ : state) {
    manager.post([&count] { ++count; });
    manager.turn();
  }
}
BENCHMARK(post);

void readTime(benchmark::State& state) {
  Orb::ActivityManager manager;
  for (auto _ : state) benchmark::DoNotOptimize(manager.clock()->now());
}
BENCHMARK(readTime);

void activityLock(benchmark::State& state) {
  for (auto _ : state) Orb::ActivityLockAnchor const lock;
}
BENCHMARK(activityLock);

/// A million objects, each allocated by itself.
class Objects : public Orb::Garbage {
 public:
  explicit Objects(std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) left_.push_back(std::make_unique<Object>());
  }
  bool freeSome(std::size_t count) override {
    left_.resize(left_.size() - std::min(count, left_.size()));
    return !left_.empty();
  }

 private:
  struct Object {
    char bytes[72];
  };
  std::vector<std::unique_ptr<Object>> left_;
};

void reapMillionObjects(benchmark::State& state) {
  Orb::ActivityManager manager;
  Orb::ActivityManager::Scope const scope(manager);
  LongestTurn longest;
  for (auto _ : state) {
    state.PauseTiming();
    Orb::reap(std::make_unique<Objects>(1000000));
    state.ResumeTiming();
    while (Orb::pendingGarbage() != 0) longest.turn(manager);
  }
  longest.report(state);
}
BENCHMARK(reapMillionObjects)->Unit(benchmark::kMillisecond);

void traceOff(benchmark::State& state) {
  Orb::TraceFacility& facility = Orb::traceFacility("ActivityBench");
  int value = 0;
  for (auto _ : state) {
    ORB_TRACE(facility, 8, __func__ << " value: " << value);
    benchmark::DoNotOptimize(++value);
  }
}
BENCHMARK(traceOff);

void traceOn(benchmark::State& state) {
  Orb::TraceFacility& facility = Orb::traceFacility("ActivityBench");
  facility.levelIs(8);
  std::size_t bytes = 0;
  Orb::traceSinkIs(
      [&bytes](std::string_view, int, std::string_view line) { bytes += line.size(); });
  int value = 0;
  for (auto _ : state) {
    ORB_TRACE(facility, 8, __func__ << " value: " << ++value);
  }
  Orb::traceReset();
}
BENCHMARK(traceOn);

}  // namespace
