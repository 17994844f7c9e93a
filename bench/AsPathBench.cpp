#include <benchmark/benchmark.h>
#include <regex.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <functional>
#include <random>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/orb/loop/Reaper.h"
#include "platform/regex/PathText.h"
#include "platform/regex/RegexHelper.h"
#include "policy_eval/MatchAsPathList.h"
#include "policy_status/Regex.h"

// AS-path lists, on 100,000 paths of 1 to 10 numbers, some of them prepended.
//
// "patterns": lists of one entry, in DFA and in POSIX mode, for each of 20 patterns as operators
// write them, and for one of them alone. Beside them stand rd_match() alone, the system's regexec()
// on the same patterns over paths whose text is there already ("floor"), and the making of that
// text ("text"). "list": lists of more entries, one by one and by their path set; the origin
// patterns are met by a tenth of the paths. Both say what one path and one list take.
//
// "load": what the processor spends on making a list of 10,000 different patterns, from the
// entries to prepare(), for each of them; beside it regcomp() alone on the same patterns
// ("floor"), the same list made again while the first is held ("again"), its clone, and, of 500
// origin patterns, the path set.

namespace {

using namespace Routing::RouteMap;
using Routing::PolicyEval::matchAsPathList;
using Patterns = std::vector<std::string>;
using Path = std::span<Orb::U32 const>;
using Status = Orb::Ptr<AsPathListStatus>;

Patterns const kOperatorPatterns{
    "^$",
    "_65001_",
    "^65001_",
    "_65001$",
    "^65001$",
    "^65001_65002_",
    "^65001(_65001)*$",
    "^65001_[0-9]+$",
    "^[0-9]+$",
    "^[0-9]+_[0-9]+$",
    "_(64512|64513|64514)_",
    "_6451[2-9]_",
    "_645[2-9][0-9]_",
    "_65[0-4][0-9][0-9]_",
    "^(174|3356|1299|2914)_",
    "_(174|3356|1299|2914)_(64496|64497)$",
    "_23456_",
    "^65001_(65002_)?65003_",
    "_4200000001_",
    ".*",
};

/// The paths, one behind the other, as numbers and as texts. The neighbours are few and the origins
/// many, as in the Internet's table; the same on every machine.
class Paths {
 public:
  static constexpr std::size_t kCount = 100000;

  Paths() {
    std::mt19937_64 random(7);
    constexpr std::array<Orb::U32, 12> kTransit{174,  3356,  1299,  2914,  65001, 65002,
                                                6939, 65003, 64512, 64530, 23456, 4200000001};
    std::string text;
    while (numbersFrom_.size() <= kCount) {
      std::size_t const start = numbersFrom_.back();
      std::size_t const length = 1 + random() % 10;
      while (numbers_.size() < start + length) {
        bool const isTransit = numbers_.size() < start + 2 || random() % 3 == 0;
        std::size_t const copies = random() % 5 == 0 ? 1 + random() % 4 : 1;
        auto const number = isTransit ? kTransit[random() % kTransit.size()]
                                      : static_cast<Orb::U32>(1 + random() % 400000);
        numbers_.insert(numbers_.end(), copies, number);
      }
      numbers_.resize(start + length);
      numbersFrom_.push_back(numbers_.size());
      Routing::AsPath::pathText(text, Path(numbers_).subspan(start),
                                Routing::AsPath::Notation::asplain);
      texts_.append(text).push_back('\0');
      textsFrom_.push_back(texts_.size());
    }
  }

  Path path(std::size_t i) const {
    return Path(numbers_).subspan(numbersFrom_[i], numbersFrom_[i + 1] - numbersFrom_[i]);
  }
  char const* text(std::size_t i) const { return texts_.c_str() + textsFrom_[i]; }

 private:
  std::vector<Orb::U32> numbers_;
  std::vector<std::size_t> numbersFrom_{0};
  std::string texts_;
  std::vector<std::size_t> textsFrom_{0};
};

Paths const& paths() {
  static Paths const all;
  return all;
}

/// "_500001$" and so on; every tenth is the origin of a path.
Patterns originPatterns(std::size_t count) {
  Patterns patterns;
  for (std::size_t i = 0; i < count; ++i) {
    auto const other = static_cast<Orb::U32>(500000 + i);
    Orb::U32 const origin = i % 10 == 0 ? paths().path(i).back() : other;
    patterns.push_back('_' + std::to_string(origin) + '$');
  }
  return patterns;
}

/// Patterns that have nothing in common but their form, of several forms.
Patterns differentPatterns(std::size_t count) {
  Patterns patterns;
  for (std::size_t i = 0; i < count; ++i) {
    std::string const a = std::to_string(64512 + i);
    std::string const b = std::to_string(100000 + 7 * i);
    std::string const forms[]{'_' + a + '_', '_' + a + '$', '^' + b + '_' + a + '_',
                              "^(" + a + '|' + b + ")_[0-9]+$", '^' + a + "(_" + b + ")*$"};
    patterns.push_back(forms[i % std::size(forms)]);
  }
  return patterns;
}

Status listOf(Patterns const& patterns, Acl::RegexMode mode) {
  auto const status = asPathListStatusFactory("BENCH");
  status->regexModeIs(mode);
  Orb::U32 seqno = 0;
  for (Orb::String const pattern : patterns) {
    status->asPathEntryIs(
        Acl::AsPathEntry::of(++seqno, pattern, Acl::permitMatch, Acl::bgpAny, true, true));
    if (mode == Acl::regexModeDfa) {
      status->dfaRegexAdd(seqno, pattern);
    } else {
      status->posixRegexAdd(seqno, pattern);
    }
  }
  status->prepare();
  if (status->matchEntries().size() != patterns.size()) throw std::runtime_error("a bad pattern");
  return status;
}

Orb::Ptr<Routing::AsPath::PathSet const> pathSetOf(AsPathListStatus const& status) {
  Routing::AsPath::PathSetBuilder builder;
  for (auto const& match : status.matchEntries()) {
    builder.add(match.entry->userRegex(), match.origins);
  }
  builder.work([] { return false; });
  auto set = builder.take();
  if (!set) throw std::runtime_error("too much for a path set");
  return set;
}

/// Calls one(i) for each path, and for each of `lists` things; reports what a call takes.
template <class One>
void eachPath(benchmark::State& state, std::size_t lists, One const& one) {
  std::size_t matches = 0;
  for (auto _ : state) {
    for (std::size_t list = 0; list < lists; ++list) {
      for (std::size_t i = 0; i < Paths::kCount; ++i) matches += one(list, i) ? 1 : 0;
    }
  }
  auto const calls = static_cast<double>(lists * Paths::kCount);
  state.counters["matches%"] =
      100 * static_cast<double>(matches) / calls / static_cast<double>(state.iterations());
  state.counters["time/match"] = benchmark::Counter(
      calls, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void match(benchmark::State& state, std::vector<Status> const& lists) {
  std::string text;
  eachPath(state, lists.size(), [&, &all = paths()](std::size_t list, std::size_t i) {
    return matchAsPathList(lists[list].get(), all.path(i), Acl::bgpIGP, text).isPermit;
  });
}

void matchPatterns(benchmark::State& state, Patterns const& patterns, Acl::RegexMode mode) {
  std::vector<Status> lists;
  for (auto const& pattern : patterns) lists.push_back(listOf({pattern}, mode));
  match(state, lists);
}

void engineAlone(benchmark::State& state, Patterns const& patterns) {
  std::vector<rd_dfa const*> compiled;
  for (auto const& pattern : patterns) compiled.push_back(rd_parse_dfa(pattern.c_str()));
  eachPath(state, compiled.size(), [&, &all = paths()](std::size_t pattern, std::size_t i) {
    Path const path = all.path(i);
    return rd_match(compiled[pattern], path.data(), path.size()) != 0;
  });
  std::for_each(compiled.begin(), compiled.end(), rd_free_dfa);
}

void matchFloor(benchmark::State& state, Patterns const& patterns) {
  std::vector<Regex> compiled(patterns.size());
  for (std::size_t i = 0; i < patterns.size(); ++i) {
    char* const translated = asmatch_posix_regex_cli_to_gated(patterns[i].c_str());
    if (compiled[i].compile(translated) != 0) throw std::runtime_error("a bad pattern");
    asmatch_free_regex(translated);
  }
  eachPath(state, compiled.size(), [&, &all = paths()](std::size_t pattern, std::size_t i) {
    return compiled[pattern].execute(all.text(i)) == 0;
  });
}

void pathTexts(benchmark::State& state) {
  std::string text;
  eachPath(state, 1, [&](std::size_t, std::size_t i) {
    Routing::AsPath::pathText(text, paths().path(i), Routing::AsPath::Notation::asplain);
    return !text.empty();
  });
}

void matchList(benchmark::State& state, Patterns const& patterns, Acl::RegexMode mode,
               bool hasSet) {
  std::vector<Status> const list{listOf(patterns, mode)};
  if (hasSet) list[0]->pathSetIs(pathSetOf(*list[0]));
  match(state, list);
}

double cpuSeconds() {
  timespec t{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

/// Times make(), and not the destruction of what it makes.
template <class Make>
void load(benchmark::State& state, std::size_t count, Make const& make) {
  for (auto _ : state) {
    Orb::reapAll();
    double const start = cpuSeconds();
    auto const made = make();
    state.SetIterationTime(cpuSeconds() - start);
  }
  state.counters["time/pattern"] =
      benchmark::Counter(static_cast<double>(count), benchmark::Counter::kIsIterationInvariantRate |
                                                         benchmark::Counter::kInvert);
}

void compileFloor(benchmark::State& state, Patterns const& patterns) {
  std::vector<std::string> translations;
  for (auto const& pattern : patterns) {
    char* const translated = asmatch_posix_regex_cli_to_gated(pattern.c_str());
    translations.emplace_back(translated);
    asmatch_free_regex(translated);
  }
  load(state, patterns.size(), [&] {
    std::vector<Regex> compiled(translations.size());
    for (std::size_t i = 0; i < compiled.size(); ++i) compiled[i].compile(translations[i].c_str());
    return compiled;
  });
}

void cloned(benchmark::State& state, Patterns const& patterns) {
  Status const from = listOf(patterns, Acl::regexModeDfa);
  load(state, patterns.size(), [&] {
    auto to = asPathListStatusFactory("BENCH");
    to->clone(*from);
    to->prepare();
    return to;
  });
}

int const kRegistered = [] {
  static Patterns const all = kOperatorPatterns;
  static Patterns const one{"_65001$"};
  static Patterns const many = originPatterns(500);
  static Patterns const different = differentPatterns(10000);
  auto const add = [](std::string const& name, auto run) {
    return benchmark::RegisterBenchmark(name.c_str(), run)->Unit(benchmark::kMillisecond);
  };
  using State = benchmark::State&;
  for (auto const& [label, patterns] : {std::pair{"/20", &all}, {"/1", &one}}) {
    std::string const name = "patterns" + std::string(label);
    add(name + "/dfa", [=](State s) { matchPatterns(s, *patterns, Acl::regexModeDfa); });
    add(name + "/dfaAlone", [=](State s) { engineAlone(s, *patterns); });
    add(name + "/posix", [=](State s) { matchPatterns(s, *patterns, Acl::regexModePosix); });
    add(name + "/floor", [=](State s) { matchFloor(s, *patterns); });
  }
  add("text", pathTexts);
  for (auto const& [label, patterns] : {std::pair{"/origins500", &many}, {"/operators20", &all}}) {
    std::string const name = "list" + std::string(label);
    add(name + "/one-by-one", [=](State s) { matchList(s, *patterns, Acl::regexModeDfa, false); });
    add(name + "/set", [=](State s) { matchList(s, *patterns, Acl::regexModeDfa, true); });
    add(name + "/posix", [=](State s) { matchList(s, *patterns, Acl::regexModePosix, false); });
  }
  auto const addLoad = [&](char const* name, auto run) { add(name, run)->UseManualTime(); };
  for (auto const& [label, mode] :
       {std::pair{"dfa", Acl::regexModeDfa}, {"posix", Acl::regexModePosix}}) {
    std::string const name = "load/10k/" + std::string(label);
    addLoad(name.c_str(),
            [=](State s) { load(s, different.size(), [=] { return listOf(different, mode); }); });
    addLoad((name + "/again").c_str(), [=](State s) {
      Status const held = listOf(different, mode);
      load(s, different.size(), [=] { return listOf(different, mode); });
    });
  }
  addLoad("load/10k/floor", [](State s) { compileFloor(s, different); });
  addLoad("load/10k/clone", [](State s) { cloned(s, different); });
  addLoad("load/500/set", [](State s) {
    Status const list = listOf(many, Acl::regexModeDfa);
    load(s, many.size(), [&] { return pathSetOf(*list); });
  });
  return 0;
}();

}  // namespace
