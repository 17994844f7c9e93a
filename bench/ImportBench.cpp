#include <benchmark/benchmark.h>
#include <stdlib.h>  // mkstemp
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/Shapes.h"
#include "list_import/AsPathSource.h"
#include "list_import/CliHelper.h"
#include "list_import/PrefixSource.h"

// What an import costs for each line of the source file: reading lines alone, with parsing and
// staging, and in all, with the entries added to a list. And what it costs to show a list, for
// each entry. The lines are those of the Internet's table in random order, each third with an "le";
// numbered automatically, or by themselves in random order. Those of AS-path lists are origins,
// each with its own, and each tenth with prepends; beside them, what the two validators take of a
// line.

namespace {

using Acl::Ipv4Family;
using Acl::Ipv6Family;

enum class Numbers { automatic, shuffled };

/// A source file, for as long as it lives.
class SourceFile {
 public:
  explicit SourceFile(std::string const& text) {
    int const descriptor = mkstemp(path_);
    std::FILE* const file = descriptor < 0 ? nullptr : fdopen(descriptor, "w");
    if (!file || std::fwrite(text.data(), 1, text.size(), file) != text.size() ||
        std::fclose(file) != 0) {
      throw std::runtime_error("cannot write a source file");
    }
  }
  SourceFile(Shapes::Prefixes const& prefixes, Numbers numbers)
      : SourceFile(textOf(prefixes, numbers)) {}
  ~SourceFile() { unlink(path_); }
  SourceFile(SourceFile const&) = delete;
  SourceFile& operator=(SourceFile const&) = delete;

  char const* path() const { return path_; }

 private:
  static std::string textOf(Shapes::Prefixes const& prefixes, Numbers numbers) {
    std::vector<unsigned> seqnos(prefixes.size());
    std::iota(seqnos.begin(), seqnos.end(), 1U);
    std::shuffle(seqnos.begin(), seqnos.end(), Shapes::Random(3));
    std::string text;
    for (std::size_t i = 0; i < prefixes.size(); ++i) {
      if (numbers == Numbers::shuffled) text += "seq " + std::to_string(seqnos[i]) + ' ';
      text += i % 10 == 0 ? "deny " : "permit ";
      prefixes[i].appendTo(text);
      if (i % 3 == 0) text += " le " + std::to_string(prefixes[i].maxLength());
      text += '\n';
    }
    return text;
  }

  char path_[32] = "/tmp/importBenchXXXXXX";
};

template <class Family>
Shapes::Prefixes prefixes(std::size_t count) {
  if constexpr (Family::kFamily == Ipa::ipv4) {
    return Shapes::distributedIp4(count);
  } else {
    return Shapes::distributedIp6(count);
  }
}

void reportPer(benchmark::State& state, char const* unit, std::size_t count) {
  state.counters[unit] =
      benchmark::Counter(static_cast<double>(count), benchmark::Counter::kIsIterationInvariantRate |
                                                         benchmark::Counter::kInvert);
}

template <class Family>
Orb::Ptr<typename Family::List> imported(SourceFile const& file) {
  auto list = Orb::make<typename Family::List>("BENCH");
  auto const result = Acl::importPrefixList<Family>(*list, file.path(), Acl::duplicateError);
  if (result.isError()) throw std::runtime_error(result.error.str());
  return list;
}

/// The floor: the file's lines, and nothing done with them.
template <class Family, Numbers numbers>
void readLines(benchmark::State& state) {
  auto const count = static_cast<std::size_t>(state.range(0));
  SourceFile const file(prefixes<Family>(count), numbers);
  for (auto _ : state) {
    std::FILE* const source = std::fopen(file.path(), "r");
    char line[512];
    while (std::fgets(line, sizeof line, source)) benchmark::DoNotOptimize(line[0]);
    std::fclose(source);
  }
  reportPer(state, "per_line", count);
}

template <class Family, Numbers numbers>
void parseLines(benchmark::State& state) {
  auto const count = static_cast<std::size_t>(state.range(0));
  SourceFile const file(prefixes<Family>(count), numbers);
  for (auto _ : state) {
    Acl::PfxEntries<Family> entries;
    Acl::PrefixEntryParser<Family> parser(entries, Acl::duplicateError);
    benchmark::DoNotOptimize(Acl::readPrefixSource(Orb::String(file.path()), parser));
    if (entries.size() != count) state.SkipWithError("not all lines were accepted");
  }
  reportPer(state, "per_line", count);
}

template <class Family, Numbers numbers>
void importFile(benchmark::State& state) {
  auto const count = static_cast<std::size_t>(state.range(0));
  SourceFile const file(prefixes<Family>(count), numbers);
  for (auto _ : state) {
    auto list = imported<Family>(file);
    if (Family::entries(*list).size() != count) state.SkipWithError("entries are missing");
    state.PauseTiming();
    list = nullptr;
    state.ResumeTiming();
  }
  reportPer(state, "per_line", count);
}

template <class Family>
void show(benchmark::State& state) {
  auto const count = static_cast<std::size_t>(state.range(0));
  SourceFile const file(prefixes<Family>(count), Numbers::automatic);
  auto const list = imported<Family>(file);
  for (auto _ : state) {
    Orb::String path;
    if constexpr (Family::kFamily == Ipa::ipv4) {
      path = Acl::CliHelper::showPrefixList(*list);
    } else {
      path = Acl::CliHelper::showIpv6PrefixList(*list);
    }
    if (path.empty()) state.SkipWithError("no file was written");
    unlink(path.c_str());
  }
  reportPer(state, "per_entry", count);
}

Orb::String regexOf(std::size_t i) {
  std::string const origin = std::to_string(1 + i);
  return i % 10 == 0 ? "^65001(_65001)*_" + origin + "$" : "_" + origin + "$";
}

/// The floor: the two validators.
void validateRegexes(benchmark::State& state) {
  auto const count = static_cast<std::size_t>(state.range(0));
  auto const helper = Routing::RouteMap::helperFactory();
  for (auto _ : state) {
    for (std::size_t i = 0; i < count; ++i) {
      Orb::String const regex = regexOf(i);
      if (!helper->validateDfaRegex(regex) || !helper->validatePosixRegex(regex)) {
        state.SkipWithError("an expression is not valid");
      }
    }
  }
  reportPer(state, "per_line", count);
}

void importAsPaths(benchmark::State& state) {
  auto const count = static_cast<std::size_t>(state.range(0));
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    text += (i % 10 == 0 ? "deny " : "permit ") + regexOf(i).str() + '\n';
  }
  SourceFile const file(text);
  for (auto _ : state) {
    auto list = Orb::make<Acl::AsPathList>("BENCH");
    auto const status = Orb::make<Acl::AsPathUrlLoadReturnStatus>();
    Acl::AsPathCliHelper::loadAsPathListEntries(*list, file.path(), Acl::duplicateError, false,
                                                *status);
    if (list->pathEntry().size() != count) state.SkipWithError("entries are missing");
    state.PauseTiming();
    list = nullptr;
    state.ResumeTiming();
  }
  reportPer(state, "per_line", count);
}

#define IMPORT_BENCHMARK(function, Family, numbers, count) \
  BENCHMARK_TEMPLATE(function, Family, Numbers::numbers)->Arg(count)->Unit(benchmark::kMillisecond)

IMPORT_BENCHMARK(readLines, Ipv4Family, automatic, 1000000);
IMPORT_BENCHMARK(parseLines, Ipv4Family, automatic, 1000000);
IMPORT_BENCHMARK(parseLines, Ipv4Family, shuffled, 1000000);
IMPORT_BENCHMARK(importFile, Ipv4Family, automatic, 1000);
IMPORT_BENCHMARK(importFile, Ipv4Family, automatic, 1000000);
IMPORT_BENCHMARK(importFile, Ipv4Family, shuffled, 1000000);
IMPORT_BENCHMARK(parseLines, Ipv6Family, automatic, 100000);
IMPORT_BENCHMARK(importFile, Ipv6Family, automatic, 100000);
BENCHMARK(validateRegexes)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(importAsPaths)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(show, Ipv4Family)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(show, Ipv6Family)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace
