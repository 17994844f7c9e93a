// With sanitizers, g++ 12 takes states of std::regex for uninitialized.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <gtest/gtest.h>
#include <regex.h>

#include <array>
#include <ctime>
#include <functional>
#include <memory>
#include <random>
#include <regex>
#include <span>

#include "platform/orb/base/Error.h"
#include "platform/regex/PathDfa.h"
#include "platform/regex/PathSet.h"
#include "platform/regex/PathText.h"
#include "platform/regex/PatternFault.h"
#include "platform/regex/RegexHelper.h"
#include "tests/support/PathModel.h"

namespace {

using namespace Routing::AsPath;
using Path = std::vector<Orb::U32>;

struct FreeDfa {
  void operator()(rd_dfa const* dfa) const noexcept { rd_free_dfa(dfa); }
};
using Dfa = std::unique_ptr<rd_dfa const, FreeDfa>;

Dfa compiled(std::string const& pattern) { return Dfa(rd_parse_dfa(pattern.c_str())); }

/// The path may lie anywhere in memory.
bool matches(Dfa const& dfa, Path const& path) {
  auto const numbers = std::as_bytes(std::span(path));
  std::vector<std::byte> bytes(1 + numbers.size());
  std::copy(numbers.begin(), numbers.end(), bytes.begin() + 1);
  return rd_match(dfa.get(), bytes.data() + 1, path.size()) != 0;
}

std::string textOf(Path const& path, Notation notation = Notation::asplain) {
  std::string text;
  pathText(text, path, notation);
  return text;
}

/// The system's engine, with a pattern that is translated for it.
class Posix {
 public:
  explicit Posix(std::string const& pattern) {
    char* const translated = asmatch_posix_regex_cli_to_gated(pattern.c_str());
    isCompiled_ = translated && regcomp(&compiled_, translated, REG_EXTENDED | REG_NOSUB) == 0;
    asmatch_free_regex(translated);
  }
  Posix(Posix const&) = delete;
  Posix& operator=(Posix const&) = delete;
  ~Posix() {
    if (isCompiled_) regfree(&compiled_);
  }
  bool isCompiled() const { return isCompiled_; }
  bool matches(Path const& path) const {
    return regexec(&compiled_, textOf(path).c_str(), 0, nullptr, 0) == 0;
  }

 private:
  regex_t compiled_{};
  bool isCompiled_ = false;
};

/// All paths of up to `length` of the numbers.
std::vector<Path> allPaths(Path const& numbers, std::size_t length) {
  std::vector<Path> paths{{}};
  for (std::size_t i = 0; i < paths.size(); ++i) {
    if (paths[i].size() == length) continue;
    for (Orb::U32 const number : numbers) {
      Path longer = paths[i];
      longer.push_back(number);
      paths.push_back(std::move(longer));
    }
  }
  return paths;
}

/// What the patterns that PathModel grows have not.
TEST(Patterns, MeanWhatOperatorsMean) {
  struct Case {
    char const* pattern;
    std::vector<Path> matched;
    std::vector<Path> others;
  };
  Case const cases[] = {
      {"65001", {{65001}, {1, 65001, 2}}, {{}, {165001}, {6500}}},
      {"(^|_)65001(_|$)", {{1, 65001, 2}, {65001}}, {{1}}},
      {"6451[2-9]|645[2-9][0-9]", {{64512}, {1, 64599}}, {{64511}, {64600}, {6451}}},
      {"^[0-9]+$", {{0}, {4294967295}}, {{}, {1, 2}}},
      {"^[1-9][0-9]{4}$", {{10000}, {99999}}, {{9999}, {100000}}},
      {"^655(3[0-4]|[0-2][0-9])$", {{65500}, {65534}}, {{65535}, {65499}}},
      {"^(64|65)51[13]$", {{64511}, {65513}}, {{64512}, {64}, {64, 511}}},
      {"^[0-9]{2}$", {{10}, {99}}, {{5}, {0}, {100}}},
      {"^[13]$", {{13}}, {{1}, {3}}},
      {"^[65535.65535]$", {{4294967295}}, {{65535}}},
      {"^65(0|1)[13]$", {{6501}, {6513}}, {{650, 13}, {65013}}},
      {"^[1,3]$", {{1}, {3}}, {{13}, {2}}},
      {"^6[^1-9]$", {{60}}, {{61}, {6}}},
      {"[64512-65534, 4200000000-4294967294]", {{64512}, {1, 4294967294}}, {{65535}, {4294967295}}},
      {"^[^64512-65534]$", {{64511}, {65535}, {4294967295}, {0}}, {{64512}, {65534}}},
      {"^[1.0-1.2]$", {{65536}, {65538}}, {{65539}, {1}}},
      {"_1.10_", {{65546}}, {{1, 10}, {1, 2, 10}, {110}}},
      {R"(_1\.1[0-1]_)", {{65546}, {65547}}, {{65548}, {11}}},
      {"^1[0-9].[0-9]+$", {{655360}, {1310719}}, {{655359}, {1310720}}},
      {"^1(2).3$", {{12, 9, 3}}, {{786435}}},
      {"^1 . 3$", {{1, 2, 3}}, {{1, 3}, {1, 2, 2, 3}}},
      {"^1 2 3$", {{1, 2, 3}}, {{1, 23}, {123}}},
      {"^[0-9]+(_[0-9]+){3,}$", {{1, 2, 3, 4}, {1, 2, 3, 4, 5}}, {{1, 2, 3}, {577, 367, 9696}}},
      {".*", {{}, {1}}, {}},
  };
  for (Case const& c : cases) {
    Dfa const dfa = compiled(c.pattern);
    ASSERT_TRUE(dfa) << c.pattern << ": " << dfaFault(c.pattern)->reason;
    for (Path const& path : c.matched) EXPECT_TRUE(matches(dfa, path)) << c.pattern;
    for (Path const& path : c.others) EXPECT_FALSE(matches(dfa, path)) << c.pattern;
  }
}

/// What neither engine reads, or one alone; where the fault lies, and a word of the reason.
TEST(Patterns, AreRefusedWithPlaceAndReason) {
  struct Case {
    std::string pattern;
    int dfa;  // the place, or kFine
    int posix;
    char const* reason;
  };
  constexpr int kFine = -1;
  Case const cases[] = {
      {"", 0, 0, "empty"},
      {"1|", 2, 2, "empty"},
      {"(1", 0, 0, "without its )"},
      {"1)", 1, 1, "without its ("},
      {"1[2", 1, 1, "without its ]"},
      {"*1", 0, 0, "nothing to repeat"},
      {"1**", 2, 2, "repeated twice"},
      {"1{2", 1, 1, "count"},
      {"(1){0}", 3, 3, "count of 0"},
      {"(1){3,2}", 3, 3, "upside down"},
      {"(1){256}", 3, 3, "above 255"},
      {"^+", 1, 1, "anchor"},
      {"1\\", 1, 1, "behind"},
      {R"((1)\1)", 3, 3, "meaning"},
      {R"(\')", 0, 0, "meaning"},
      {"1\t2", 1, 1, "printable"},
      {std::string("1\0002", 3), 1, 1, "printable"},
      {std::string(4096, '1'), 4095, 4095, "too long"},
      {std::string(60, '(') + "1" + std::string(60, ')'), 50, 50, "deeply"},
      {"[[.a.]]", 1, 1, "collating"},
      {"[[:none:]]", 1, 1, "no such class"},
      {"[b-a]", 1, 1, "upside down"},
      {"[]-A]", 1, 1, "upside down"},
      {"[a-c-e]", 4, 4, "range"},
      {"[[:digit:]-z]", 10, 10, "range"},
      {"65(0|1)[10-20]", 7, 7, "needs a _"},
      {"[^10-20]1", 0, 0, "needs a _"},
      {"(1_2)3", 5, kFine, "two AS numbers"},
      {"1(_)?2", 5, kFine, "two AS numbers"},
      {"[64512-65534](65001)", 0, 0, "needs a _"},
      {"[0-9.]", 0, kFine, "AS number"},
      {"[20-10]", 1, 1, "upside down"},
      {"[0-9-5]", 4, 4, "range"},
      {"[1-4294967296]", 3, 3, "4294967295"},
      {"65[64512-65534]", 2, 2, "needs a _"},
      {"[64512-65534]", kFine, 0, "DFA engine alone"},
      {"65001+", 5, kFine, "what is repeated"},
      {"1.10+", 4, kFine, "what is repeated"},
      {"4294967296", 0, kFine, "no AS number"},
      {"007", 0, kFine, "no AS number"},
      {"65536.1", 0, kFine, "65535"},
      {"[0-9]*", 0, kFine, "nothing at all"},
      {"1_*", 2, kFine, "separator"},
      {"[^0-4294967295]", 0, 0, "without AS numbers"},
      {"[0-9]{11}", 0, kFine, "no AS number"},
      {"65a01", 2, kFine, "AS number"},
      {R"(\.5)", 0, kFine, "between digits"},
      {"1.2.3", 3, kFine, "one dot"},
      {"[.5]", 0, kFine, "AS number"},
      {"[" + std::string(4093, 'a') + "]", 0, kFine, "AS number"},
      {"[[:alnum:][:alpha:][:blank:][:cntrl:][:digit:][:graph:][:lower:][:print:][:punct:][:space:]"
       "[:upper:][:xdigit:]]",
       0, kFine, "AS number"},
      {"[0-9]*1[0-9]*2[0-9]*3[0-9]*4[0-9]*", 0, kFine, "too many ranges"},
  };
  for (Case const& c : cases) {
    auto const dfa = dfaFault(c.pattern);
    auto const posix = posixFault(c.pattern);
    ASSERT_TRUE(dfa || posix) << c.pattern;
    EXPECT_EQ(dfa ? static_cast<int>(dfa->place) : kFine, c.dfa) << c.pattern;
    EXPECT_EQ(posix ? static_cast<int>(posix->place) : kFine, c.posix) << c.pattern;
    std::string const& reason = dfa ? dfa->reason : posix->reason;
    EXPECT_NE(reason.find(c.reason), reason.npos) << c.pattern << ": " << reason;
    Orb::String const text(c.pattern);
    EXPECT_EQ(Routing::RouteMap::helperFactory()->validateDfaRegex(text), !dfa);
    EXPECT_EQ(Routing::RouteMap::helperFactory()->validatePosixRegex(text), !posix);
  }
}

/// Patterns that blow up: refused by count, not by time, so that this holds on any machine. The
/// time is the bound that the headers state; it is measured where no sanitizer slows it down.
TEST(Patterns, HostileOnesAreRefusedOrSmall) {
  auto const times = [](std::size_t count, std::string const& text) {
    std::string all;
    while (count-- > 0) all += text;
    return all;
  };
  std::string const odd = "[1-8][0-9][0-9][13579]";
  std::string const even = "[1-8][0-9][0-9][02468]";
  std::string alternatives = "1";
  for (int i = 2; i < 700; ++i) alternatives += "|" + std::to_string(i * 7);
  struct Case {
    std::string pattern;
    bool dfa;
    bool posix;
  };
  Case const cases[] = {
      {"(_1){255}", true, true},
      {"((_1){255}){255}", false, false},
      {"(((((_1){255}){255}){255}){255}){255}", false, false},
      {"((((_1)*)*)*)*", true, true},
      {"((_[0-9]*)*){200}", false, false},
      {"(((_1)?){200}_2){200}", false, false},
      {"_1(_.){14}$", true, true},
      {"^.*_1(_.){14}$", false, true},
      {"_1(_[0-9]+){14}_2_", false, true},
      {"^(_1|_2)*_1(_1|_2){16}$", false, true},
      {"((_1|_2|_1_2){1,60}_3){1,60}", false, false},
      {"_(" + alternatives + ")_", true, false},
      {times(49, "(") + "1" + times(49, ")*"), true, true},
      {times(49, "(") + "1" + times(49, ")+"), true, false},
      {"(" + times(3, "(") + "_" + times(3, "){255}") + "1)", false, false},
      {"((" + times(1900, "_|") + "_)1){255}", false, false},
      {"(" + times(300, "$|") + "$)*1", true, false},
      {"(" + times(300, "^|") + "^)*1", true, false},
      {"(_(" + odd + "|" + even + "|2" + odd + "|2" + even + ")){250}", true, false},
      {"[5-9]" + times(9, "[13579]"), false, true},
      {times(100, "_[0-9]*1[0-9]{8}"), false, true},
      {"_1|(" + times(300, "_2_2|") + "_3)*(_[0-9]+){9}", true, false},
      {times(12, "_"), true, false},
      {"(" + times(7, "_") + ")+", true, false},
      {"(" + times(6, "^|") + "(1)*)*", true, true},
      {"(" + times(7, "^|") + "(1)*)*", true, false},
      {"(" + times(70, "^|") + "^)(" + times(70, "1|") + "1)", true, false},
      {"_" + times(1400, "1"), false, true},
      {"1" + times(63, "[1]?"), true, true},
      {"1" + times(64, "[1]?"), false, true},
      {times(8, "(" + times(60, "1|") + "1)"), false, false},
      {"(" + times(330, "1|") + "1)", true, false},
      {times(49, "(") + times(16, "1|") + "1" + times(49, ")*"), true, false},
      {"(_(" + times(80, "1|") + "1)){250}", true, false},
      {times(21, "(_(1)*)*"), true, false},
      {std::string(2000, '(') + "1" + std::string(2000, ')'), false, false},
  };
  for (Case const& c : cases) {
    std::clock_t const before = std::clock();
    EXPECT_EQ(!dfaFault(c.pattern), c.dfa) << c.pattern.substr(0, 40);
    EXPECT_EQ(!posixFault(c.pattern), c.posix) << c.pattern.substr(0, 40);
    Posix const posix(c.pattern);
    EXPECT_EQ(posix.isCompiled(), c.posix) << c.pattern.substr(0, 40);
    EXPECT_FALSE(isCommonPattern(c.pattern) && !(c.dfa && c.posix)) << c.pattern.substr(0, 40);
    double const seconds = static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
    EXPECT_LT(seconds, 0.5) << c.pattern.substr(0, 40);
  }
}

/// Grown from a seed: the DFA engine and the slow matcher say the same of every short path, and so
/// does a set of patterns, of which the first that matches counts.
TEST(Patterns, TheDfaEngineAgreesWithTryingEverything) {
  std::mt19937 random(7);
  auto const choices = [&](unsigned below) { return static_cast<unsigned>(random() % below); };
  auto const paths = allPaths({1, 2, 12, 15, 22, 0xffffffff}, 3);
  for (int round = 0; round < 150; ++round) {
    std::vector<TestSupport::PathModel> models;
    std::vector<Origins> origins;
    PathSetBuilder builder;
    while (models.size() < 4) {
      models.emplace_back(choices, round % 3 == 0);
      origins.push_back(choices(2) == 0 ? kAnyOrigin : static_cast<Origins>(1U << choices(4)));
      ASSERT_TRUE(builder.add(models.back().text(), origins.back())) << models.back().text();
    }
    while (!builder.work([] { return true; })) {
    }
    auto const set = builder.take();
    ASSERT_TRUE(set);
    std::vector<Dfa> dfas;
    dfas.reserve(models.size());
    for (auto const& model : models) dfas.push_back(compiled(model.text()));
    for (Path const& path : paths) {
      std::array<Orb::U32, kOriginClasses> first;
      first.fill(PathSet::kNone);
      for (std::size_t i = models.size(); i-- > 0;) {
        bool const wanted = models[i].matches(path);
        ASSERT_EQ(matches(dfas[i], path), wanted) << models[i].text();
        for (std::size_t origin = 0; origin < kOriginClasses; ++origin) {
          if (wanted && (origins[i] >> origin & 1U) != 0) first[origin] = static_cast<Orb::U32>(i);
        }
      }
      for (std::size_t origin = 0; origin < kOriginClasses; ++origin) {
        ASSERT_EQ(set->firstMatch(path, static_cast<OriginClass>(origin)), first[origin])
            << models[0].text();
      }
    }
  }
}

/// The pattern with what "_" stands for wherever it stands. The system's engine does not read that
/// right where an anchor is in a loop; the library's does, slowly.
std::string withSeparatorsSpelledOut(std::string const& pattern) {
  std::string all;
  bool isInClass = false;
  for (char const c : pattern) {
    isInClass = c == '[' || (isInClass && c != ']');
    all += c == '_' && !isInClass ? "(^|[ ,{}()]|$)" : std::string(1, c);
  }
  return all;
}

/// Texts put together at random. What the checks accept, the system's engine compiles, and reads as
/// it is meant; what is of the common part, both engines read alike.
TEST(Patterns, BothEnginesReadTheCommonPartAlike) {
  char const* const words[] = {
      "_",         "_",          "_",         "^",          "$",     "1",    "12",     "[1-2]",
      "(",         ")",          "|",         "*",          "+",     "?",    "1{2}",   "{0,2}",
      ".*",        " ",          "(^|_)",     "_1",         "(_|$)", "1_",   "(_1)",   "[0-9]+",
      ".",         "[2",         "a",         "^_1",        "2$",    "{1,}", "[]-A]",  "[a-",
      "c-e]",      "[[:digit:]", "-z]",       "[.2]",       "(1|_)", "(1)",  "(_1_)*", "(1_)*",
      "(_1_){2,}", "(_1){2}",    "(1_){2,3}", "(_1_){1,2}", "[^2]"};
  auto const paths = allPaths({1, 2, 12, 121}, 3);
  std::mt19937 random(11);
  int common = 0;
  for (int round = 0; round < 20'000; ++round) {
    std::string pattern;
    for (auto wordsLeft = 1 + random() % 7; wordsLeft > 0; --wordsLeft) {
      pattern += words[random() % std::size(words)];
    }
    Posix const posix(pattern);
    ASSERT_EQ(posix.isCompiled(), !posixFault(pattern)) << pattern;
    if (round % 4 == 0 && posix.isCompiled() && pattern.find(':') == pattern.npos) {
      std::regex const spelledOut(withSeparatorsSpelledOut(pattern), std::regex::extended);
      for (Path const& path : paths) {
        ASSERT_EQ(posix.matches(path), std::regex_search(textOf(path), spelledOut))
            << pattern << " of \"" << textOf(path) << '"';
      }
    }
    if (!isCommonPattern(pattern)) continue;
    ++common;
    Dfa const dfa = compiled(pattern);
    ASSERT_TRUE(dfa && posix.isCompiled()) << pattern;
    for (Path const& path : paths) {
      ASSERT_EQ(matches(dfa, path), posix.matches(path)) << pattern << " of " << textOf(path);
    }
  }
  EXPECT_GT(common, 500);
  for (char const* const idiom :
       {"_65001_", "^65001$", "_65001$", "^65001_", "(^|_)65001(_|$)", "^$", ".*", "^(65001_)+$",
        "^65001(_65001)*$", "^[0-9]+(_[0-9]+){7,}$", "_(6451[2-9]|645[2-9][0-9])_",
        "^65001_[0-9]+$", "_65001_65002_", "^65001_.*$", "_65001_.*", "(_65001)+$"}) {
    EXPECT_TRUE(isCommonPattern(idiom)) << idiom;
  }
  for (char const* const apart :
       {"65001", "^.?_1$", "^(1)+$", "_(1_)*_2", "_6[^1]_", "_6[^1]{2}_", "_1.10_"}) {
    EXPECT_FALSE(isCommonPattern(apart)) << apart;
  }
}

TEST(Patterns, EqualLanguagesHaveAutomataOfOneSize) {
  struct Case {
    char const* pattern;
    char const* same;
    std::size_t states;
  };
  Case const cases[] = {
      {"_65001_", "(^|.)*_65001_.*", 2},   {"^(1|2|3)$", "^1$|^[2-3]$", 4},
      {"^1(_1)*$", "^(1_1_)*1(_1)?$", 4},  {"^.{3}$", "^(.|[^10-20])_._.$", 5},
      {"^(1_2|3_2)_4$", "^[1,3]_2_4$", 5},
  };
  for (Case const& c : cases) {
    Dfa const dfa = compiled(c.pattern);
    Dfa const same = compiled(c.same);
    ASSERT_TRUE(dfa && same) << c.pattern;
    EXPECT_EQ(dfa.get(), compiled(c.pattern).get()) << "equal patterns share what is compiled";
    EXPECT_EQ(rd_size(dfa.get()).states, rd_size(same.get()).states) << c.pattern;
    EXPECT_EQ(rd_size(dfa.get()).bytes, rd_size(same.get()).bytes) << c.pattern;
    EXPECT_LE(rd_size(dfa.get()).states, c.states) << c.pattern;
  }
}

TEST(PathSets, AreRefusedBeyondTheirBounds) {
  struct Case {
    char const* bound;
    int patterns;
    bool fits;
    std::function<std::string(int)> pattern;
  };
  auto const number = [](int i) { return std::to_string(i); };
  auto const last = [&](int i) { return "_" + number(i + 1) + "$"; };
  auto const nested = [&](int i) {
    return "_[" + number(10 + i) + "-" + number(1000000 - i) + "]$";
  };
  auto const pair = [&](int i) { return "_" + number(1000 + i) + "_" + number(5000 + i) + "$"; };
  for (Case const& c :
       {Case{"states", 9'998, true, last},
        {"states", 9'999, false, last},
        {"steps of a slice", 1500, false, nested},
        {"bytes", 500, true, pair},
        {"bytes with what is around the table", 511, false, pair},
        {"validity", 2, false, [](int i) { return i == 0 ? "65001+" : "65001"; }}}) {
    PathSetBuilder builder;
    bool areValid = true;
    for (int i = 0; i < c.patterns; ++i) areValid = builder.add(c.pattern(i), kAnyOrigin);
    EXPECT_EQ(areValid, c.bound != std::string("validity"));
    while (!builder.work([] { return true; })) continue;
    EXPECT_EQ(builder.take() != nullptr, c.fits) << c.bound;
  }
}

TEST(PathTexts, ReadBackInBothNotations) {
  Path const path{0, 65535, 65536, 65538, 4294967295};
  Path read;
  for (auto const& [notation, text] :
       {std::pair{Notation::asplain, "0 65535 65536 65538 4294967295"},
        {Notation::asdot, "0 65535 1.0 1.2 65535.65535"}}) {
    EXPECT_EQ(textOf(path, notation), text);
    readPath(" \t" + std::string(text) + "  ", read);
    EXPECT_EQ(read, path);
  }
  readPath("", read);
  EXPECT_EQ(read, Path());
  for (char const* const bad :
       {"x", "1,2", "4294967296", "1.65536", "1.", ".1", "-1", "01", "1.01"}) {
    EXPECT_THROW(readPath(bad, read), Orb::ParseException) << bad;
  }
}

}  // namespace
