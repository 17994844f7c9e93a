#include "policy_eval/MatchCommunityList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <set>

#include "policy_config/CommunityText.h"
#include "tests/support/RegexMemory.h"
#include "tests/support/ScarceMemory.h"

namespace {

using namespace Routing::RouteMap;
using Acl::CommunityListEntry;
using Acl::CommunityListType;
using Routing::PolicyEval::CommunityListMatch;
using Routing::PolicyEval::CommunityMatch;
using Routing::PolicyEval::matchCommunityList;
using Values = std::vector<Acl::CommunityValue>;
using Status = Orb::Ptr<CommListStatus>;
using Outcome = CommunityListMatch::Outcome;

constexpr auto kContained = CommunityMatch::contained;
constexpr auto kExact = CommunityMatch::exact;

Values valuesOf(std::initializer_list<char const*> texts) {
  Values values;
  for (char const* const text : texts) values.push_back(Acl::readCommunity(text));
  std::sort(values.begin(), values.end());
  return values;
}

void add(CommListStatus& status, Orb::U32 seqno, CommunityListType type, Values const& values,
         std::string const& regex) {
  auto const list = Orb::make<Acl::CommunityList>(Orb::Name("C"));
  auto const entry = list->communityListEntryIs(seqno);
  entry->listTypeIs(type);
  entry->permitIs(seqno % 20 == 0 ? Acl::denyMatch : Acl::permitMatch);
  entry->commRegexIs(Orb::String(regex));
  for (auto const& value : values) entry->communityIs(value, value.part2() % 2 != 0);
  status.communityListEntryIs(entry);
  if (!regex.empty()) status.regexAdd(seqno, Orb::String(regex));
}

bool holdsAll(std::set<Acl::CommunityValue> const& those, CommunityListEntry const& entry) {
  return std::all_of(entry.community().begin(), entry.community().end(),
                     [&](auto const& member) { return those.contains(member.key); });
}

std::string textOf(std::set<Acl::CommunityValue> const& values, Acl::CommunityType family) {
  std::string text;
  for (auto const& value : values) {
    std::string one;
    writeCommunity(one, family, value);
    text += (text.empty() ? "" : " ") + one;
  }
  return text;
}

/// Expressions, and what they mean.
struct Expression {
  char const* pattern;
  std::function<bool(std::string const&)> matches;
};
bool contains(std::string const& text, char const* part) { return text.find(part) != text.npos; }
Expression const kExpressions[] = {
    {".*", [](auto const&) { return true; }},
    {"^$", [](auto const& text) { return text.empty(); }},
    {"65000:1", [](auto const& text) { return contains(text, "65000:1"); }},
    {"^65000:1[: ]",
     [](auto const& text) {
       return contains("\n" + text, "\n65000:1:") || contains("\n" + text, "\n65000:1 ");
     }},
    {" no-export$", [](auto const& text) { return text.ends_with(" no-export"); }},
    {"^(rt 65000:1|65001:1)$",
     [](auto const& text) { return text == "rt 65000:1" || text == "65001:1"; }},
    {"2 65|0x|1e",
     [](auto const& text) {
       return contains(text, "2 65") || contains(text, "0x") || contains(text, "1e");
     }},
};

/// The same by the words of the contract.
CommunityListMatch plainMatch(CommListStatus const& status, Values const& route,
                              CommunityMatch how) {
  std::set<Acl::CommunityValue> const those(route.begin(), route.end());
  for (auto const& held : status.communityListEntry()) {
    CommunityListEntry const& entry = *held;
    bool isMatch = false;
    if (isExpanded(entry.listType())) {
      auto const* const known =
          std::find_if(std::begin(kExpressions), std::end(kExpressions),
                       [&](Expression const& one) { return entry.commRegex() == one.pattern; });
      isMatch = known != std::end(kExpressions) &&
                known->matches(textOf(those, communityTypeOf(entry.listType())));
    } else {
      isMatch =
          holdsAll(those, entry) && (how == kContained || those.size() == entry.community().size());
    }
    if (!isMatch) continue;
    return {Outcome::match, entry.permit() == Acl::permitMatch, entry.seqno(), &entry};
  }
  return {Outcome::noMatch, false, 0, nullptr};
}

TEST(MatchCommunityList, AgreesWithAScanOverRandomLists) {
  std::mt19937 random(8);
  auto const below = [&](std::size_t n) { return random() % n; };
  Values const all[] = {
      valuesOf({"0:0", "65000:1", "65000:12", "65001:1", "no-export"}),
      valuesOf({"rt 65000:1", "rt 65000:12", "soo 192.0.2.1:1", "lbw 65000:1e6",
                "raw 0x0306000000000000"}),
      valuesOf({"1:0:0", "65000:1:2", "65000:1:12", "65000:2:1", "65001:1:2"}),
  };
  std::string text;
  std::size_t matches[2]{};
  for (int trial = 0; trial < 1500; ++trial) {
    auto const status = commListStatusFactory("L");
    std::size_t const family = below(3);
    for (std::size_t i = 1, count = below(9); i <= count; ++i) {
      // Now and then an entry of another family, an expression that was not compiled, or both
      // expression and values, of which the type says what counts.
      std::size_t const own = below(8) == 0 ? below(3) : family;
      auto const type = CommunityListType{static_cast<Orb::U32>(2 * own + below(5) / 3)};
      Values values;
      bool const isExpanded = Acl::isExpanded(type);
      for (auto const& value : all[own]) {
        if (below(isExpanded ? 9 : 3) == 0) values.push_back(value);
      }
      bool const hasEngine = below(isExpanded ? 9 : 2) != 0;
      add(*status, static_cast<Orb::U32>(i * 10), type, values,
          hasEngine ? kExpressions[below(std::size(kExpressions))].pattern : "");
    }
    for (int step = 0; step < 40; ++step) {
      if (step == 20) status->prepare();
      Values route;
      for (auto const& value : all[family]) {
        for (std::size_t copies = below(5) % 3; copies > 0; --copies) route.push_back(value);
      }
      auto const how = below(2) ? kContained : kExact;
      auto const expected = plainMatch(*status, route, how);
      ASSERT_EQ(matchCommunityList(status, route, how, text), expected)
          << status->toStrep() << textOf({route.begin(), route.end()}, Acl::CommunityType(family))
          << step;
      if (expected.entry) ++matches[isExpanded(expected.entry->listType())];
    }
  }
  EXPECT_GT(matches[0], 8000U);
  EXPECT_GT(matches[1], 8000U);
  EXPECT_EQ(matchCommunityList(nullptr, {}, kExact, text), CommunityListMatch());
}

TEST(MatchCommunityList, ExpressionsReadTheTextOfTheirFamily) {
  auto const status = commListStatusFactory("L");
  std::string text = "of the call before";
  auto const matches = [&](CommunityListType type, Values const& route, std::string const& regex) {
    status->communityListEntryDelAll();
    // Entries of other families in front: each reads its own text, in one buffer.
    for (Orb::U32 other = 1; other < 6; other += 2) {
      add(*status, other, CommunityListType{other}, {}, "none");
    }
    add(*status, 10, type, {}, regex);
    bool const byScan = matchCommunityList(status, route, kExact, text).seqno == 10;
    status->prepare();
    EXPECT_EQ(matchCommunityList(status, route, kExact, text).seqno == 10, byScan) << regex;
    return byScan;
  };
  Values const two = valuesOf({"65000:1", "65000:1", "no-export"});
  EXPECT_TRUE(matches(Acl::communityExpanded, two, "^65000:1 no-export$"));
  EXPECT_TRUE(matches(Acl::communityExpanded, {}, "^$"));
  EXPECT_TRUE(matches(Acl::extCommunityExpanded, valuesOf({"rt 65000:1", "soo 65000L:1"}),
                      "^rt 65000:1 soo 65000L:1$"));
  EXPECT_TRUE(matches(Acl::extCommunityExpanded, two, "^raw 0x00000000fde80001 raw 0x0+ffffff01$"));
  EXPECT_TRUE(matches(Acl::largeCommunityExpanded, valuesOf({"65000:1:2"}), "^65000:1:2$"));
  EXPECT_FALSE(matches(Acl::largeCommunityExpanded, two, "no-export"));
}

TEST(MatchCommunityList, PassesOverNoEntryForWantOfMemory) {
  auto const status = commListStatusFactory("L");
  add(*status, 10, Acl::communityExpanded, {}, "65000:1");
  status->regexMapIs(posixRegexFactory(20));  // never compiled: matches nothing
  add(*status, 20, Acl::communityExpanded, {}, "");
  add(*status, 30, Acl::communityStandard, valuesOf({"65001:1"}), "");
  Values const route = valuesOf({"65001:1", "65002:1", "65003:1", "65004:1"});
  for (int step = 0; step < 2; ++step) {
    std::string text;
    auto const match = [&] { return matchCommunityList(status.get(), route, kContained, text); };
    EXPECT_GT(TestSupport::withEverMoreMemory(match, [] {}), 0);
    TestSupport::ScarceMemory const none(0);
    EXPECT_EQ(match().seqno, 30U) << "the buffer has grown";
    TestSupport::hasNoRegexMemory = true;
    EXPECT_THROW(match(), std::bad_alloc);
    TestSupport::hasNoRegexMemory = false;
    TestSupport::ScarceMemory const plenty(TestSupport::kPlenty);
    status->prepare();
  }
}

}  // namespace
