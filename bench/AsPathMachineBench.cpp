#include <benchmark/benchmark.h>

#include <ctime>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/orb/loop/Reaper.h"
#include "platform/regex/RegexHelper.h"
#include "policy_sm/AsPathListConfigSm.h"
#include "policy_status/Regex.h"

// The machine of AS-path lists: what the processor spends within one notice.
//
// "publish": a list of 10,000 different patterns is compiled anew and published. "mode": the engine
// changes for 1,000 lists of 20 patterns, which are the same 20 in each list ("equal"), or
// different everywhere ("different"); beside it regcomp() of the different patterns alone
// ("floor"). "notation": the notation changes for them. What the event loop does later, the path
// sets, is not part of it.

namespace {

using namespace Routing::RouteMap;

double cpuSeconds() {
  timespec t{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

std::string patternOf(std::size_t i) {
  std::string const a = std::to_string(64512 + i);
  std::string const b = std::to_string(200000 + 7 * i);
  std::string const forms[]{'_' + a + '_', '_' + a + '$', '^' + b + '_' + a + '_',
                            "^(" + a + '|' + b + ")_[0-9]+$", '^' + a + "(_" + b + ")*$"};
  return forms[i % std::size(forms)];
}

struct World {
  Orb::Ptr<Acl::AclListConfig> config = Orb::make<Acl::AclListConfig>("root");
  Orb::Ptr<Routing::AsnConfig> asn = Orb::make<Routing::AsnConfig>();
  Orb::Ptr<AllAsPathListSymbol> all = allAsPathListSymbolFactory();
  Orb::Ptr<AsPathListSymbolDedupTable> table = asPathListSymbolDedupTableFactory();
  Orb::Ptr<AsPathListConfigSm> machine;

  /// `different` patterns, over and over.
  World(std::size_t lists, std::size_t entries, std::size_t different) {
    std::size_t next = 0;
    for (std::size_t i = 0; i < lists; ++i) {
      auto const list = config->pathListIs(Orb::Name("L" + std::to_string(i)));
      for (Orb::U32 seqno = 1; seqno <= entries; ++seqno) {
        Orb::String const pattern(patternOf(next++ % different));
        list->pathEntryIs(
            Acl::AsPathEntry::of(seqno, pattern, Acl::permitMatch, Acl::bgpAny, true, true));
      }
    }
    machine = asPathListConfigSmFactory(config, asn, all, table);
  }
};

/// Times act() alone, between two calls of prepare(). What these leave to the reaper is freed
/// outside the time, as the event loop would.
template <class Prepare, class Act>
void time(benchmark::State& state, Prepare const& prepare, Act const& act) {
  for (auto _ : state) {
    prepare();
    Orb::reapAll();
    Orb::detail::settleHeap();
    double const start = cpuSeconds();
    act();
    state.SetIterationTime(cpuSeconds() - start);
  }
}

void publish(benchmark::State& state) {
  auto const count = static_cast<std::size_t>(state.range(0));
  std::unique_ptr<World> world;
  Orb::Ptr<Acl::AsPathList> list;
  time(
      state,
      [&] {  // a machine that has not seen the patterns yet
        list = nullptr;
        world = std::make_unique<World>(1, 0, 1);
        list = world->config->pathList("L0");
        for (Orb::U32 i = 0; i < count; ++i) {
          list->pathEntryIs(Acl::AsPathEntry::of(i + 1, Orb::String(patternOf(i)), Acl::permitMatch,
                                                 Acl::bgpAny, true, true));
        }
      },
      [&] { list->versionInc(1); });
  if (world->all->symbol("L0")->status()->dfaRegexMapSize() != count) {
    throw std::runtime_error("a bad pattern");
  }
}

void mode(benchmark::State& state, std::size_t different, Acl::RegexMode to) {
  World const world(1000, 20, different);
  auto const other = to == Acl::regexModeDfa ? Acl::regexModePosix : Acl::regexModeDfa;
  time(
      state, [&] { world.config->regexModeIs(other); }, [&] { world.config->regexModeIs(to); });
}

void modeFloor(benchmark::State& state, std::size_t different) {
  std::vector<std::string> translations;
  for (std::size_t i = 0; i < different; ++i) {
    char* const translated = asmatch_posix_regex_cli_to_gated(patternOf(i).c_str());
    translations.emplace_back(translated);
    asmatch_free_regex(translated);
  }
  std::vector<Regex> compiled;
  time(
      state, [&] { compiled = std::vector<Regex>(different); },
      [&] {
        for (std::size_t i = 0; i < different; ++i) compiled[i].compile(translations[i].c_str());
      });
}

void notation(benchmark::State& state) {
  World const world(1000, 20, 20'000);
  time(
      state, [&] { world.asn->asnNotationIs(Routing::asnNotationAsplain); },
      [&] { world.asn->asnNotationIs(Routing::asnNotationAsdot); });
}

int const kRegistered = [] {
  auto const add = [](std::string const& name, auto run) {
    return benchmark::RegisterBenchmark(name.c_str(), run)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  };
  using State = benchmark::State&;
  add("publish", publish)->Arg(1)->Arg(16)->Arg(100)->Arg(1000)->Arg(10000);
  for (auto const& [label, different] : {std::pair{"equal", 20}, {"different", 20'000}}) {
    auto const count = static_cast<std::size_t>(different);
    std::string const name = "mode/" + std::string(label);
    add(name + "/dfa", [=](State s) { mode(s, count, Acl::regexModeDfa); });
    add(name + "/posix", [=](State s) { mode(s, count, Acl::regexModePosix); });
    add(name + "/floor", [=](State s) { modeFloor(s, count); });
  }
  add("notation", notation);
  return 0;
}();

}  // namespace
