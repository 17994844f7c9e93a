#include "policy_status/CommListStatus.h"

#include <gtest/gtest.h>

#include "policy_status/AsPathListSymbol.h"
#include "policy_status/CommListSymbol.h"
#include "policy_status/DynPrefixListSymbol.h"
#include "tests/support/Observer.h"
#include "tests/support/RationedMemory.h"
#include "tests/support/Thrown.h"
#include "tests/support/Traced.h"

namespace {

using namespace Routing::RouteMap;
using Acl::CommunityValue;
using TestSupport::Traced;
using Values = std::vector<CommunityValue>;

CommunityValue const kOne = CommunityValue::of(0U, 0U, 1U);
CommunityValue const kTwo = CommunityValue::of(0U, 1U, 0U);

Orb::Ptr<Acl::CommunityListEntry> entry(Orb::U32 seqno, char const* regex = "") {
  auto const list = Orb::make<Acl::CommunityList>(Orb::Name("C"));
  auto made = Orb::make<Acl::CommunityListEntry>(*list, seqno);
  made->commRegexIs(regex);
  made->listTypeIs(*regex ? Acl::communityExpanded : Acl::communityStandard);
  return made;
}

TEST(CommListSnapshot, KeepsAFlagForEachValue) {
  auto const status = commListStatusFactory("L");
  for (auto const& value : {kTwo, kOne, kTwo}) status->commIs(value);
  EXPECT_EQ(*status->commVectorRawPtr(), (Values{kTwo, kOne, kTwo}));
  auto const snapshot = status->commSnapshot();
  snapshot->commIs(kOne, false);
  auto const copy = snapshot->clone();
  snapshot->commDel(kTwo);
  EXPECT_TRUE(snapshot->commHas(kOne) && !snapshot->commHas(kTwo) && !snapshot->comm(kTwo));
  snapshot->commDelAll();
  EXPECT_TRUE(snapshot->comm().empty());
  std::vector<std::pair<CommunityValue, bool>> sorted;
  for (auto const& item : copy->comm()) sorted.emplace_back(item.key, item.value);
  EXPECT_EQ(sorted, (std::vector{std::pair(kOne, false), std::pair(kTwo, true)}));
}

TEST(CommListStatus, KeepsWhatIsCompiledWhenAnExpressionIsRefused) {
  auto const status = commListStatusFactory("L");
  status->regexAdd(10, "^65000:");
  auto const engine = status->regex(10);
  std::string const method = "void Routing::RouteMap::CommListStatus::regexAdd(U32, Orb::String)";
  std::string const refusal = "6 " + method + "Failed to compile '";
  auto const times = [](int count, std::string const& text) {
    std::string all;
    while (count-- > 0) all += text;
    return all;
  };
  // Beyond the bounds the system's engine would end the process, or take hours or gigabytes.
  for (std::string const& refused :
       {std::string("["), std::string("6\0]", 3), times(20000, "(") + "a" + times(20000, ")"),
        "a" + times(30, "+"), "a" + times(3000, "*"), "[]*+?]" + times(30, "{2}"),
        std::string("(((a{9}){1,999}){,999}){9,}"), times(300, "\\b") + "a",
        "^" + times(20, "(a*)*"), std::string("(\\B(^|a)*[ab]*\\b\\b\\B)*"),
        std::string("\\B\\1[^a]{,9}\\1+{300}"), "(" + times(20, "(^|a)*") + ")*",
        "(" + times(400, "(a*)*|") + ")*"}) {
    Traced traced(7);
    status->regexAdd(10, refused);
    EXPECT_EQ(traced.lines, refusal + refused + "'\n");
    EXPECT_EQ(status->regex(10), engine);
  }
  {
    Traced traced(8);
    status->regexAdd(4294967295, "a|b");
    EXPECT_EQ(traced.lines.substr(0, traced.lines.find('\n')),
              "8 " + method + " seqno 4294967295, regex 'a|b'");
  }
  EXPECT_EQ(status->regex(4294967295)->execute("b"), 0);
  status->regexAdd(10, "_");
  EXPECT_NE(status->regex(10), engine);
  EXPECT_EQ(status->regex(10)->execute("65000:1"), REG_NOMATCH) << "no translation";
  for (std::string const& taken :
       {times(1000, "65000:1|") + "1", times(200, "[]+*{9}(]?\\(?\\+?"),
        times(400, "(") + "a" + times(400, ")") + "?",
        times(600, "(^| )65000:[0-9]{1,5}( |$)|") + "1", std::string("a{,9}{,}\\b")}) {
    status->regexAdd(10, taken);
    EXPECT_EQ(status->regex(10)->execute("1"), 0) << taken;
  }
  status->regexDel(10);
  status->regexDel(10);
  EXPECT_EQ(status->regex(10), nullptr);
}

TEST(CommListStatus, RefusesNulls) {
  auto const status = commListStatusFactory("L");
  auto const refused = [](std::string const& type, char const* attribute, auto const& act) {
    EXPECT_EQ(TestSupport::thrown<Orb::RangeException>(act),
              std::string("null _") + attribute + " parameter to mutator for Routing::RouteMap::" +
                  type + "::" + attribute + " not allowed\"");
  };
  refused("CommListStatus", "communityListEntry", [&] { status->communityListEntryIs(nullptr); });
  refused("CommListStatus", "regexMap", [&] { status->regexMapIs(nullptr); });
  refused("AllCommListSymbol", "symbol", [] { allCommListSymbolFactory()->symbolIs(nullptr); });
  refused("AllAsPathListSymbol", "symbol", [] { allAsPathListSymbolFactory()->symbolIs(nullptr); });
  refused("AllDynPrefixListSymbol", "symbol",
          [] { allDynPrefixListSymbolFactory()->symbolIs(nullptr); });
}

/// Writes down what it is notified of.
struct Listener final : CommListStatus::Notifiee {
  ~Listener() = default;
  void onCommunityListEntry(Orb::U32 k) override { heard += "entry " + std::to_string(k) + '\n'; }
  void onCommunityListEntry() override { heard += "entries\n"; }
  void onFromCommSet() override { heard += "set\n"; }
  void onRegexMap(Orb::U32 k) override { heard += "regex " + std::to_string(k) + '\n'; }
  void onRegexMap() override { heard += "regexes\n"; }
  std::string heard;
};

TEST(CommListStatus, NotifiesOfRealChangesAndOfAClone) {
  auto const status = commListStatusFactory("M");
  Listener listener;
  listener.notifierIs(status);
  auto const stored = entry(7);
  for (int i = 0; i < 2; ++i) {
    status->communityListEntryIs(stored);
    status->fromCommSetIs(true);
    status->communityListEntryDel(99);
  }
  status->communityListEntryIs(entry(7));
  status->communityListEntryIs(entry(5));
  status->regexAdd(5, "a");
  status->commIs(kTwo);
  status->communityListEntryDelAll();
  status->regexDel(5);
  EXPECT_EQ(std::exchange(listener.heard, ""),
            "entry 7\nset\nentry 7\nentry 5\nregex 5\nentry 5\nentry 7\nregex 5\n");

  auto const from = commListStatusFactory("L");
  for (Orb::U32 const seqno : {20U, 10U}) {
    from->communityListEntryIs(entry(seqno, "a|b"));
    from->regexAdd(seqno, "a|b");
    from->commIs(kOne);
  }
  status->clone(*from);
  status->clone(*from);
  status->clone(*status);
  EXPECT_EQ(std::exchange(listener.heard, ""), "entries\nset\nregexes\n");
  EXPECT_EQ(status->regex(20), from->regex(20));
  EXPECT_EQ(status->communityListEntry(10), from->communityListEntry(10));
  EXPECT_EQ(status->commVectorRawPtr(), from->commVectorRawPtr());

  status->commIs(kTwo);
  status->communityListEntryDel(20);
  EXPECT_EQ(from->commVectorRawPtr()->size(), 2U) << "either changes without the other";
  EXPECT_EQ(from->communityListEntry().size(), 2U);
  std::string const text = "communityExpanded C seq 10 permit: permitMatch regex: a|b";
  EXPECT_EQ(status->name(), "M");
  std::string const one = Orb::toText(kOne) + ' ';
  EXPECT_EQ(status->toStrep(), one + one + Orb::toText(kTwo) + " seq=10 " + text + " seq=20 ");
  status->commDelAll();
  EXPECT_TRUE(status->commVectorRawPtr()->empty());
}

TEST(CommListStatus, LivesAsLongAsAClonesNotifications) {
  auto const from = commListStatusFactory("L");
  from->communityListEntryIs(entry(1));
  from->fromCommSetIs(true);
  auto status = commListStatusFactory("M");
  Listener listener;
  listener.notifierIs(status);
  TestSupport::Observer const observer(*status, [&](Orb::AttrId, auto) { status = nullptr; });
  auto& cloned = *status;
  cloned.clone(*from);
  EXPECT_EQ(listener.heard, "entries\nset\n");
}

TEST(CommListStatus, WhatFindsNoMemoryChangesNothing) {
  auto const from = commListStatusFactory("L");
  from->communityListEntryIs(entry(1));
  from->regexAdd(1, "a");
  from->commIs(kOne);
  auto const other = commListStatusFactory("L");
  TestSupport::Observer const observer(*other);
  auto const fails = [&](auto const& act) {
    std::string const before = other->toStrep().str();
    auto const count = other->regexMap().size();
    auto const isSame = [&] {
      EXPECT_TRUE(other->toStrep() == before && other->regexMap().size() == count);
    };
    EXPECT_GT(TestSupport::withEverMoreMemory(act, isSame), 1);
  };
  fails([&] { other->clone(*from); });
  fails([&] { other->commIs(kTwo); });
  fails([&] { other->regexAdd(2, "b"); });
  EXPECT_EQ(other->commVectorRawPtr()->size(), 2U);
  EXPECT_TRUE(from->commVectorRawPtr()->size() == 1 && from->regexMap().size() == 1);
}

}  // namespace
