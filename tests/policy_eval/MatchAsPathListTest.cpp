#include "policy_eval/MatchAsPathList.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <regex.h>

#include <algorithm>
#include <functional>
#include <random>
#include <vector>

#include "tests/support/AsPathLists.h"
#include "tests/support/RegexMemory.h"

// In front of the system's regexec(): the library finds this one.
extern "C" [[gnu::visibility("default")]] int executed(regex_t const* regex, char const* text,
                                                       std::size_t count, regmatch_t* matches,
                                                       int flags) asm("regexec");
int executed(regex_t const* regex, char const* text, std::size_t count, regmatch_t* matches,
             int flags) {
  static auto const real = reinterpret_cast<decltype(&executed)>(dlsym(RTLD_NEXT, "regexec"));
  return TestSupport::hasNoRegexMemory ? REG_ESPACE : real(regex, text, count, matches, flags);
}

namespace {

using namespace Routing::RouteMap;
using Routing::PolicyEval::AsPathListMatch;
using Routing::PolicyEval::matchAsPathList;
using Path = std::vector<Orb::U32>;
using Status = Orb::Ptr<AsPathListStatus>;
using Outcome = AsPathListMatch::Outcome;

/// Expressions, and what they mean.
std::vector<std::pair<char const*, std::function<bool(Path const&)>>> const kExpressions{
    {".*", [](Path const&) { return true; }},
    {"^$", [](Path const& p) { return p.empty(); }},
    {"_1_", [](Path const& p) { return std::find(p.begin(), p.end(), 1U) != p.end(); }},
    {"^1_", [](Path const& p) { return !p.empty() && p.front() == 1; }},
    {"_2$", [](Path const& p) { return !p.empty() && p.back() == 2; }},
    {"^12$", [](Path const& p) { return p == Path{12}; }},
    {"^[0-9]+_[0-9]+$", [](Path const& p) { return p.size() == 2; }},
};

/// An entry of a list, and what a model needs of it.
struct Entry {
  Acl::AsPathEntry value;
  std::function<bool(Path const&)> matches;
  bool isCompiled;
};

/// The same by the words of the contract.
AsPathListMatch plainMatch(std::vector<Entry> const& entries, Path const& path,
                           Acl::BGPOrigin origin, AsPathListStatus const& status) {
  for (auto const& [value, matches, isCompiled] : entries) {
    bool const isForAll = value.origin() == Acl::notSet || value.origin() == Acl::bgpAny;
    if (!isCompiled || !(isForAll || value.origin() == origin) || !matches(path)) continue;
    return {Outcome::match, value.permit() == Acl::permitMatch, value.seqno(),
            status.asPathEntry().find(value.seqno())};
  }
  return {Outcome::noMatch, false, 0, nullptr};
}

Status compiled(std::vector<Entry> const& entries, Acl::RegexMode mode) {
  auto status = asPathListStatusFactory("L");
  status->regexModeIs(mode);
  for (auto const& [value, matches, isCompiled] : entries) {
    status->asPathEntryIs(value);
    // What is compiled for the other mode does not count.
    bool const isDfa = (mode == Acl::regexModeDfa) == isCompiled;
    isDfa ? status->dfaRegexAdd(value.seqno(), value.userRegex())
          : status->posixRegexAdd(value.seqno(), value.userRegex());
  }
  return status;
}

// In both modes, before and after a list is prepared, and with its path set.
TEST(MatchAsPathList, AgreesWithAScanOverRandomLists) {
  std::mt19937 random(5);
  auto const below = [&](std::size_t n) { return random() % n; };
  constexpr Acl::BGPOrigin kOrigins[]{Acl::notSet, Acl::bgpAny, Acl::bgpIGP, Acl::bgpEGP,
                                      Acl::bgpIncomplete};
  std::string text;
  std::size_t found = 0;
  for (int trial = 0; trial < 600; ++trial) {
    std::vector<Entry> entries;
    for (std::size_t i = 0, count = below(7); i < count; ++i) {
      auto const& [expression, matches] = kExpressions[below(kExpressions.size())];
      auto const permit = below(2) ? Acl::permitMatch : Acl::denyMatch;
      auto const value =
          Acl::AsPathEntry::of(static_cast<Orb::U32>(i * 10), Orb::String(expression), permit,
                               kOrigins[below(5)], true, true);
      entries.push_back({value, matches, below(6) != 0});
    }
    for (auto const mode : {Acl::regexModeDfa, Acl::regexModePosix}) {
      auto const status = compiled(entries, mode);
      for (int step = 0; step < 90; ++step) {
        if (step == 30) status->prepare();
        if (step == 60 && mode == Acl::regexModeDfa) {
          status->pathSetIs(TestSupport::pathSetOf(*status));
          ASSERT_TRUE(status->pathSet());
        }
        Path path(below(4));
        for (Orb::U32& number : path) number = std::array{1U, 2U, 12U}[below(3)];
        auto const origin = kOrigins[below(5)];
        auto const expected = plainMatch(entries, path, origin, *status);
        ASSERT_EQ(matchAsPathList(status, path, origin, text), expected)
            << status->toStrep() << ::testing::PrintToString(path) << origin << step;
        found += expected.entry != nullptr;
      }
    }
  }
  EXPECT_GT(found, 20000U);
  EXPECT_EQ(matchAsPathList(nullptr, {}, Acl::bgpIGP, text), AsPathListMatch());
}

TEST(MatchAsPathList, ReadsTextInTheNotationOfTheList) {
  std::string text;
  for (auto const& [expression, notation] : {std::pair{"_65538_", Routing::asnNotationAsplain},
                                             {"_1\\.2_", Routing::asnNotationAsdot}}) {
    auto const value = Acl::AsPathEntry::of(1U, Orb::String(expression), Acl::permitMatch,
                                            Acl::bgpAny, true, true);
    auto const status = compiled({{value, {}, true}}, Acl::regexModePosix);
    for (auto const current : {Routing::asnNotationAsplain, Routing::asnNotationAsdot}) {
      status->asnNotationIs(current);
      auto const match = matchAsPathList(status, Path{7, 65538}, Acl::bgpIGP, text);
      EXPECT_EQ(match.isPermit, current == notation) << expression << current;
    }
  }
}

TEST(MatchAsPathList, PassesOverNoEntryForWantOfMemory) {
  auto const any = Acl::AsPathEntry::of(1U, ".*", Acl::denyMatch, Acl::bgpAny, true, true);
  auto const status = compiled({{any, {}, true}}, Acl::regexModePosix);
  std::string text;
  auto const match = [&] { return matchAsPathList(status.get(), Path{1}, Acl::bgpIGP, text); };
  TestSupport::hasNoRegexMemory = true;
  EXPECT_THROW(match(), std::bad_alloc);
  TestSupport::hasNoRegexMemory = false;
  EXPECT_EQ(match().seqno, 1U);
}

}  // namespace
