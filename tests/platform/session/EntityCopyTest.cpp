#include "platform/session/EntityCopy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

#include "tests/support/FillTree.h"
#include "tests/support/Observer.h"
#include "tests/support/PolicyRoots.h"

namespace {

using Cli::Session::EntityCopy;
using Routing::RouteMap::Map;
using Routing::RouteMap::MapEntry;
using Routing::RouteMap::MatchRule;
using TestSupport::differenceText;
using TestSupport::Observer;
using TestSupport::PolicyRoots;

bool copy(Orb::Entity& to, Orb::Entity const& from) {
  return Orb::make<EntityCopy>()->copyEntity(to, from, "root");
}

Acl::PrefixEntry entryOf(Orb::U32 seqno, Orb::U32 ge) {
  return Acl::PrefixEntry::of(seqno, Ipa::Prefix(), Acl::permitMatch, ge, 0U, 0U);
}

TEST(EntityCopyTest, CopiesEveryAttributeOfEveryEntity) {
  PolicyRoots const full;
  PolicyRoots const empty;
  PolicyRoots const copies;
  for (std::size_t i = 0; i < full.all().size(); ++i) {
    Orb::Entity& to = *copies.all()[i];
    Orb::Entity const& from = *full.all()[i];
    TestSupport::fillTree(*full.all()[i]);
    EXPECT_NE(differenceText(to, from), "");
    EXPECT_TRUE(copy(to, from));
    EXPECT_EQ(differenceText(to, from), "");
    EXPECT_EQ(differenceText(from, to), "");
    EXPECT_FALSE(copy(to, from)) << "nothing is left to change; counters differ, and stay";
    // And back: everything that was made is removed, and every value is at its default again.
    EXPECT_TRUE(copy(to, *empty.all()[i]));
    EXPECT_EQ(differenceText(to, *empty.all()[i]), "");
  }
}

/// Random contents of an ordered and of a hash collection: notified are exactly the keys under
/// which the two sides differ, each once.
TEST(EntityCopyTest, NotifiesOfWhatDiffersAndOfNothingElse) {
  std::mt19937 random(1);
  for (int round = 0; round < 200; ++round) {
    auto const to = Orb::make<Acl::PrefixList>("to");
    auto const from = Orb::make<Acl::PrefixList>("from");
    auto const toEntry = Orb::make<MapEntry>(1U);
    auto const fromEntry = Orb::make<MapEntry>(1U);
    std::vector<Orb::U32> expected;
    std::vector<Orb::U32> expectedRules;
    Orb::U32 const keys = round % 2 == 0 ? 10 : 1000;
    for (Orb::U32 key = 1; key <= keys; ++key) {
      auto const mine = static_cast<Orb::U32>(random() % 3);  // 0 = not there, else a bound
      auto const theirs = static_cast<Orb::U32>(random() % 3);
      if (mine != 0) to->prefixEntryIs(entryOf(key, mine));
      if (theirs != 0) from->prefixEntryIs(entryOf(key, theirs));
      if (mine != theirs) expected.push_back(key);
      if (key > 15) continue;
      MatchRule rule(Routing::RouteMap::MatchOptionInstance(key));
      rule.intValueIs(mine);
      if (mine != 0) toEntry->matchRuleIs(rule);
      rule.intValueIs(theirs);
      if (theirs != 0) fromEntry->matchRuleIs(rule);
      if (mine != theirs) expectedRules.push_back(key);
    }
    std::vector<Orb::U32> seen;
    std::vector<Orb::U32> seenRules;
    Observer const watcher(*to, [&](Orb::AttrId, void const* key) {
      seen.push_back(*static_cast<Orb::U32 const*>(key));
    });
    Observer const ruleWatcher(*toEntry, [&](Orb::AttrId, void const* key) {
      seenRules.push_back(
          static_cast<Orb::U32>(*static_cast<Routing::RouteMap::MatchOption const*>(key)));
    });
    EXPECT_EQ(copy(*to, *from), !expected.empty());
    EXPECT_EQ(copy(*toEntry, *fromEntry), !expectedRules.empty());
    EXPECT_EQ(seen, expected);
    std::sort(seenRules.begin(), seenRules.end());
    EXPECT_EQ(seenRules, expectedRules);
    EXPECT_TRUE(to->prefixEntry() == from->prefixEntry());
    EXPECT_TRUE(toEntry->matchRule() == fromEntry->matchRule());
  }
}

TEST(EntityCopyTest, GoesOnWhateverObserversDo) {
  struct Case {
    char const* name;
    std::function<void(Acl::PrefixList& to, Acl::PrefixList& from)> meddle;
  };
  for (Case const &c :
       {Case{"empties the destination", [](auto&to, auto&) { to.prefixEntryDelAll(); }},
        {"empties the source", [](auto&, auto&from) { from.prefixEntryDelAll(); }},
        {"adds behind", [&](auto&to, auto&) { to.prefixEntryIs(entryOf(99, 7)); }},
        {"adds before", [&](auto&to, auto&from) {
           to.prefixEntryIs(entryOf(0, 1));
           from.prefixEntryIs(entryOf(0, 2));
         }}}) {
    SCOPED_TRACE(c.name);
    auto const to = Orb::make<Acl::PrefixList>("to");
    auto const from = Orb::make<Acl::PrefixList>("from");
    for (Orb::U32 i = 1; i <= 20; ++i) {
      to->prefixEntryIs(entryOf(i, 1));
      from->prefixEntryIs(entryOf(i, i % 3 + 1));
    }
    bool once = true;
    Observer const watcher(*to, [&](Orb::AttrId, void const*) {
      if (std::exchange(once, false)) c.meddle(*to, *from);
    });
    EXPECT_TRUE(copy(*to, *from));
    copy(*to, *from);
    EXPECT_EQ(differenceText(*to, *from), "") << "a second copy sees to what came after";
  }
}

TEST(EntityCopyTest, HoldsWhatItCopies) {
  auto to = Orb::make<Acl::PrefixList>("to");
  auto from = Orb::make<Acl::PrefixList>("from");
  for (Orb::U32 i = 1; i <= 3; ++i) from->prefixEntryIs(entryOf(i, 1));
  from->sourceIs("x");
  Observer const watcher(*to, [&](Orb::AttrId, void const*) { to = nullptr, from = nullptr; });
  EXPECT_TRUE(Orb::make<EntityCopy>()->doCopyEntityAttrs(to, from, "prefixList", nullptr));
  EXPECT_FALSE(to || from || watcher.isLinked());
}

TEST(EntityCopyTest, EndsThoughWhatItRemovesComesBack) {
  auto const to = Orb::make<MapEntry>(1U);
  to->matchRuleIs(MatchRule(Routing::RouteMap::matchTag));
  Observer const restorer(*to, [&](Orb::AttrId, void const*) {
    if (to->matchRule().empty()) to->matchRuleIs(MatchRule(Routing::RouteMap::matchTag));
  });
  EXPECT_TRUE(copy(*to, *Orb::make<MapEntry>(1U)));
  EXPECT_TRUE(to->matchRuleHas(Routing::RouteMap::matchTag));
}

TEST(EntityCopyDeathTest, TypesMustBeTheSame) {
  auto const list = Orb::make<Acl::PrefixList>("l");
  auto const other = Orb::make<Acl::Ipv6PrefixList>("l");
  EXPECT_DEATH(Orb::make<EntityCopy>()->doCopyEntityAttrs(list, other, "prefixList", nullptr), "");
}

}  // namespace
