#include "policy_eval/MatchCommunityList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

#include "policy_config/CommunityText.h"
#include "tests/support/RegexMemory.h"
#include "tests/support/ScarceMemory.h"

namespace {

using namespace Routing::RouteMap;
using Acl::CommunityListType;
using Routing::PolicyEval::CommunityListMatch;
using Routing::PolicyEval::CommunityMatch;
using Routing::PolicyEval::matchCommunityList;
using Values = std::vector<Acl::CommunityValue>;
using Outcome = CommunityListMatch::Outcome;

constexpr auto kContained = CommunityMatch::contained;
constexpr auto kExact = CommunityMatch::exact;
constexpr Acl::CommunityType kFamilies[] = {Acl::communityTypeStandard, Acl::communityTypeExtended,
                                            Acl::communityTypeLarge};

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
  regex.empty() ? status.regexDel(seqno) : status.regexAdd(seqno, Orb::String(regex));
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

/// The expressions here are a whole text between ^ and $, or a part of it; ".*" is in every text.
bool isFound(std::string const& text, std::string const& regex) {
  bool const isWhole = regex.starts_with('^');
  if (isWhole) return regex == '^' + text + '$';
  return !regex.empty() && (regex == ".*" || text.find(regex) != text.npos);
}

/// The same by the words of the contract.
CommunityListMatch plainMatch(CommListStatus const& status, Values const& route, bool isExact) {
  std::set<Acl::CommunityValue> const those(route.begin(), route.end());
  for (auto const& entry : status.communityListEntry()) {
    bool isMatch = !isExact || those.size() == entry->community().size();
    for (auto const& member : entry->community()) isMatch = isMatch && those.contains(member.key);
    if (isExpanded(entry->listType())) {
      isMatch =
          status.regex(entry->seqno()) &&
          isFound(textOf(those, communityTypeOf(entry->listType())), entry->commRegex().str());
    }
    if (!isMatch) continue;
    return {Outcome::match, entry->permit() == Acl::permitMatch, entry->seqno(), entry.get()};
  }
  return {Outcome::noMatch, false, 0, nullptr};
}

// With an index and without one, and after changes of what an index was made of.
TEST(MatchCommunityList, AgreesWithAScanOverRandomLists) {
  std::mt19937 random(8);
  auto const below = [&](std::size_t n) { return random() % n; };
  Values const all[] = {valuesOf({"0:0", "65000:1", "65000:12", "65001:1", "no-export"}),
                        valuesOf({"rt 65000:1", "rt 65000:12", "soo 192.0.2.1:1", "lbw 65000:1"}),
                        valuesOf({"1:0:0", "65000:1:2", "65000:1:12", "65000:2:1"})};
  // Each value is there once in so many times, and then once or twice.
  auto const someOf = [&](std::size_t family, std::size_t times) {
    Values some;
    for (auto const& value : all[family]) {
      if (below(times) == 0) some.insert(some.end(), 1 + below(2), value);
    }
    return some;
  };
  std::string text;
  std::size_t matches[2]{};
  for (int trial = 0; trial < 2000; ++trial) {
    auto const status = commListStatusFactory("L");
    auto const other = commListStatusFactory("L");
    std::size_t const family = below(3);
    std::size_t const length = trial % 4 ? 9 : 60;
    // Now and then an entry of another family, an expression that was not compiled, or both
    // expression and values, of which the type says what counts.
    auto const addAny = [&](CommListStatus& to) {
      std::size_t const own = below(8) == 0 ? below(3) : family;
      auto const type = CommunityListType{static_cast<Orb::U32>(2 * own + below(2))};
      Values const values = someOf(own, 3);
      std::string const whole = '^' + textOf({values.begin(), values.end()}, kFamilies[own]) + '$';
      std::string const regexes[] = {whole, whole, whole, "65000:1", "2 65", "0x", ".*", ""};
      std::size_t const which = below(length > 9 ? 6 : 8);
      add(to, static_cast<Orb::U32>(10 * below(length)), type, someOf(own, 3), regexes[which]);
    };
    for (std::size_t i = below(length); i > 0; --i) addAny(*status);
    addAny(*other);
    other->prepare();
    for (int step = 0; step < 40; ++step) {
      if (step % 16 == 8) status->prepare();
      if (step == 12 || step == 28) {
        auto const seqno = static_cast<Orb::U32>(10 * below(length));
        std::size_t const what = below(24);
        if (what == 0) status->communityListEntryDelAll();
        if (what == 1) status->regexMapDelAll();
        if (what == 2) status->clone(*other);
        if (what > 2 && what < 12) addAny(*status);
        if (what >= 12 && what < 18) status->communityListEntryDel(seqno);
        if (what >= 18) status->regexDel(seqno);
      }
      Values const route = someOf(family, 2);
      bool const isExact = below(2) == 0;
      auto const expected = plainMatch(*status, route, isExact);
      ASSERT_EQ(matchCommunityList(status, route, isExact ? kExact : kContained, text), expected)
          << status->toStrep() << textOf({route.begin(), route.end()}, kFamilies[family]) << step;
      if (expected.entry) ++matches[isExpanded(expected.entry->listType())];
    }
  }
  EXPECT_GT(matches[0], 8000U);
  EXPECT_GT(matches[1], 8000U);
  EXPECT_EQ(matchCommunityList(nullptr, {}, kExact, text), CommunityListMatch());
}

TEST(MatchCommunityList, PassesOverNoEntryForWantOfMemory) {
  auto const status = commListStatusFactory("L");
  add(*status, 10, Acl::communityExpanded, {}, "65000:1");
  for (Orb::U32 const other : {11U, 12U}) add(*status, other, Acl::extCommunityExpanded, {}, "x:");
  add(*status, 20, Acl::communityExpanded, {}, "");
  status->regexMapIs(posixRegexFactory(20));  // never compiled: matches nothing
  add(*status, 30, Acl::communityStandard, valuesOf({"65001:1"}), "");
  Values const route = valuesOf({"65001:1", "65002:1", "65003:1", "65004:1"});
  for (int step = 0; step < 2; ++step) {
    std::string text;
    auto const match = [&] { return matchCommunityList(status.get(), route, kContained, text); };
    EXPECT_GT(TestSupport::withEverMoreMemory(match, [] {}), 0);
    TestSupport::ScarceMemory const none(0);
    for (int i = 0; i < 9; ++i) EXPECT_EQ(match().seqno, 30U) << "the buffer has grown, once";
    EXPECT_EQ(std::count(text.begin(), text.end(), '\0'), 2) << "one text for each family";
    TestSupport::hasNoRegexMemory = true;
    EXPECT_THROW(match(), std::bad_alloc);
    TestSupport::hasNoRegexMemory = false;
    TestSupport::ScarceMemory const plenty(TestSupport::kPlenty);
    status->prepare();
  }
}

}  // namespace
