#include "policy_eval/MatchAsPathList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <random>
#include <thread>
#include <vector>

#include "tests/support/AsPathLists.h"

namespace {

using namespace Routing::RouteMap;
using Routing::PolicyEval::AsPathListMatch;
using Routing::PolicyEval::matchAsPathList;
using Path = std::vector<Orb::U32>;
using Outcome = AsPathListMatch::Outcome;

constexpr Orb::U32 kLarge = 65538;  // 1.2

/// An expression, and what it means.
struct Expression {
  char const* text;
  std::function<bool(Path const&)> matches;
  /// The notations in which the POSIX engine reads the number that it names.
  bool inAsplain = true;
  bool inAsdot = true;
};

bool has(Path const& path, Orb::U32 number) {
  return std::find(path.begin(), path.end(), number) != path.end();
}

std::vector<Expression> const kExpressions{
    {".*", [](Path const&) { return true; }},
    {"^$", [](Path const& p) { return p.empty(); }},
    {"_1_", [](Path const& p) { return has(p, 1); }},
    {"^1_", [](Path const& p) { return !p.empty() && p.front() == 1; }},
    {"_2$", [](Path const& p) { return !p.empty() && p.back() == 2; }},
    {"^12$", [](Path const& p) { return p == Path{12}; }},
    {"_1_2_",
     [](Path const& p) {
       Path const both{1, 2};
       return std::search(p.begin(), p.end(), both.begin(), both.end()) != p.end();
     }},
    {"^[0-9]+$", [](Path const& p) { return p.size() == 1; }, true, false},
    {"_65538_", [](Path const& p) { return has(p, kLarge); }, true, false},
    {"_1\\.2_", [](Path const& p) { return has(p, kLarge); }, false, true},
};

/// An entry of a list, and what the model needs of it.
struct Entry {
  Acl::AsPathEntry value;
  Expression const* expression;
  bool isCompiled;
};

/// The same by the words of the contract.
AsPathListMatch plainMatch(std::vector<Entry> const& entries, Path const& path,
                           Acl::BGPOrigin origin, AsPathListStatus const& status) {
  bool const readsText = status.regexMode() == Acl::regexModePosix;
  bool const isAsdot = status.asnNotation() == Routing::asnNotationAsdot;
  for (auto const& [value, expression, isCompiled] : entries) {
    bool const readable =
        !readsText || !has(path, kLarge) || (isAsdot ? expression->inAsdot : expression->inAsplain);
    bool const isFor =
        value.origin() == Acl::notSet || value.origin() == Acl::bgpAny || value.origin() == origin;
    if (!isCompiled || !isFor || !readable || !expression->matches(path)) continue;
    return {Outcome::match, value.permit() == Acl::permitMatch, value.seqno(),
            status.asPathEntry().find(value.seqno())};
  }
  AsPathListMatch none;
  none.outcome = Outcome::noMatch;
  return none;
}

Orb::Ptr<AsPathListStatus> compiled(std::vector<Entry> const& entries, Acl::RegexMode mode) {
  auto const status = asPathListStatusFactory("L");
  status->regexModeIs(mode);
  for (auto const& [value, expression, isCompiled] : entries) {
    status->asPathEntryIs(value);
    // What is compiled for the other mode does not count.
    bool const isDfa = (mode == Acl::regexModeDfa) == isCompiled;
    isDfa ? status->dfaRegexAdd(value.seqno(), value.userRegex())
          : status->posixRegexAdd(value.seqno(), value.userRegex());
  }
  return status;
}

// Random lists and paths; in both modes and notations, before and after a list is prepared, and
// with its path set.
TEST(MatchAsPathList, AgreesWithAScanOverRandomLists) {
  std::mt19937 random(5);
  auto const below = [&](std::size_t n) { return random() % n; };
  constexpr Acl::BGPOrigin kOrigins[] = {Acl::notSet, Acl::bgpAny, Acl::bgpIGP, Acl::bgpEGP,
                                         Acl::bgpIncomplete};
  constexpr Orb::U32 kNumbers[] = {1, 2, 12, kLarge};
  std::string text;
  std::size_t found = 0;
  for (int trial = 0; trial < 600; ++trial) {
    std::vector<Entry> entries;
    for (std::size_t i = 0, count = below(7); i < count; ++i) {
      auto const& expression = kExpressions[below(kExpressions.size())];
      auto const permit = below(2) ? Acl::permitMatch : Acl::denyMatch;
      entries.push_back(
          {Acl::AsPathEntry::of(static_cast<Orb::U32>(i * 10), Orb::String(expression.text), permit,
                                kOrigins[below(5)], true, true),
           &expression, below(6) != 0});
    }
    for (auto const mode : {Acl::regexModeDfa, Acl::regexModePosix}) {
      auto const status = compiled(entries, mode);
      if (below(2)) status->asnNotationIs(Routing::asnNotationAsdot);
      for (int step = 0; step < 90; ++step) {
        if (step == 30) status->prepare();
        if (step == 60 && mode == Acl::regexModeDfa) {
          status->pathSetIs(TestSupport::pathSetOf(*status));
          ASSERT_TRUE(status->pathSet());
        }
        Path path(below(5));
        for (Orb::U32& number : path) number = kNumbers[below(4)];
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

TEST(ThreadsMatchAsPathList, APathSetIsAttachedWhileOthersMatch) {
  std::vector<Entry> entries;
  for (Orb::U32 i = 0; i < 50; ++i) {
    entries.push_back({Acl::AsPathEntry::of(i, Orb::String("_" + std::to_string(100 + i) + "$"),
                                            Acl::permitMatch, Acl::bgpAny, true, true),
                       nullptr, true});
  }
  for (int trial = 0; trial < 20; ++trial) {
    auto const status = compiled(entries, Acl::regexModeDfa);
    status->prepare();
    auto const set = TestSupport::pathSetOf(*status);
    std::atomic<int> ready = 0;
    std::atomic<bool> wrong = false;
    auto const match = [&](Orb::U32 from) {
      std::string text;
      bool seen = false;
      for (Orb::U32 i = from; !seen || i % 50 != from; ++i) {
        if (i == from + 10) ++ready;
        seen = seen || status->pathSet();
        Path const path{7, 100 + i % 50};
        if (matchAsPathList(status.get(), path, Acl::bgpIGP, text).seqno != i % 50) wrong = true;
      }
    };
    std::thread first(match, 0U);
    std::thread second(match, 25U);
    while (ready < 2) std::this_thread::yield();
    status->pathSetIs(set);
    first.join();
    second.join();
    EXPECT_FALSE(wrong);
  }
}

}  // namespace
