#include <gtest/gtest.h>

#include "config_copy/RouteMapCopy.h"
#include "policy_eval/MatchAsPathList.h"
#include "tests/support/AsPathWorld.h"
#include "tests/support/ListWorld.h"
#include "tests/support/ScarceMemory.h"

namespace {

using Routing::PolicyEval::matchAsPathList;
using Routing::PolicyEval::matchPrefixList;
using Routing::RouteMap::PolicySymbolNotifier;

/// A routing protocol that follows a list.
struct Consumer final : PolicySymbolNotifier::Notifiee {
  int notified = 0;
  void onVersion() override { ++notified; }
};

/// The whole path of one change: a session's commit, the list's version, the slices of the build,
/// the swap, the symbol's version, and a consumer who is notified once.
TEST(CommitRoadTest, FromACommitToTheConsumer) {
  TestSupport::ListWorld<Acl::Ipv4Family> world;
  world.start();
  auto const sessions = Orb::make<Cli::Session::Manager>(
      std::vector<Orb::Ptr<Orb::Entity>>{world.config},
      Orb::make<Routing::RouteMap::RouteMapCopyHandlerDir>("handlers"));

  auto const first = sessions->open("first");
  first->attributeTextIs("prefixList['CUSTOMER'].prefixEntry[10].prefix", "10.0.0.0/8");
  ASSERT_TRUE(first->commit().isComplete());
  world.settle();
  auto const symbol = world.symbol("CUSTOMER");
  auto const before = symbol->status();
  Consumer consumer;
  consumer.notifierIs(symbol->symbolNotifier());
  Orb::U32 const symbolVersion = world.version("CUSTOMER");

  auto const session = sessions->open("second");
  auto const list = session->edit<Acl::PrefixList>("prefixList['CUSTOMER']");
  constexpr Orb::U32 kEntries = 5000;
  for (Orb::U32 i = 1; i <= kEntries; ++i) {
    list->prefixEntryIs(Acl::PrefixEntry::of(i, Ipa::Prefix(Ipa::IpAddr(i << 12), 24U),
                                             Acl::permitMatch, 0U, 0U, 0U));
  }
  world.settle();
  EXPECT_EQ(symbol->status(), before) << "nothing moves before the commit";

  world.tick = 0.001;  // a slice is used up after a few readings of the clock
  ASSERT_TRUE(session->commit().isComplete());
  EXPECT_EQ(world.config->prefixList("CUSTOMER")->version(), 2U);
  EXPECT_EQ(symbol->status(), before) << "the old form serves while the new one is built";
  EXPECT_EQ(consumer.notified, 0);
  EXPECT_GT(world.settle(), 1) << "built in slices";

  EXPECT_EQ(consumer.notified, 1);
  EXPECT_EQ(world.version("CUSTOMER"), symbolVersion + 1);
  auto const route = Ipa::Prefix(Ipa::IpAddr(4000U << 12), 24U);
  EXPECT_EQ(matchPrefixList(symbol->status(), route).seqno, 4000U);
  EXPECT_EQ(matchPrefixList(before, route).outcome,
            Routing::PolicyEval::PrefixListMatch::Outcome::noMatch);

  // A commit that changes nothing raises no version.
  auto const idle = sessions->open("third");
  idle->edit<Acl::PrefixList>("prefixList['CUSTOMER']");
  ASSERT_TRUE(idle->commit().isComplete());
  world.settle();
  EXPECT_EQ(consumer.notified, 1);

  // And one that deletes the list leaves a symbol without a status.
  auto const last = sessions->open("fourth");
  EXPECT_TRUE(last->attributeDel("prefixList['CUSTOMER']"));
  ASSERT_TRUE(last->commit().isComplete());
  world.settle();
  EXPECT_EQ(consumer.notified, 2);
  EXPECT_FALSE(symbol->status());
}

/// The same road of an AS-path list; another commit changes the engine of all lists.
TEST(CommitRoadTest, AnAsPathListFromACommitToTheConsumer) {
  TestSupport::AsPathWorld world;
  world.start();
  auto const sessions = Orb::make<Cli::Session::Manager>(
      std::vector<Orb::Ptr<Orb::Entity>>{world.config},
      Orb::make<Routing::RouteMap::RouteMapCopyHandlerDir>("handlers"));
  Consumer consumer;
  auto const commit = [&](std::vector<std::pair<std::string, std::string>> const& edits) {
    auto const session = sessions->open("session");
    for (auto const& [path, text] : edits) session->attributeTextIs(path, text);
    ASSERT_TRUE(session->commit().isComplete());
    world.settle();
  };
  auto const firstMatch = [&](std::vector<Orb::U32> const& path) {
    std::string text;
    auto const status = world.symbol("PEERS")->status();
    return matchAsPathList(status, path, Acl::bgpIGP, text).seqno;
  };
  auto const entryEdits = [](std::string const& seqno, std::string const& regex) {
    std::string const entry = "pathList['PEERS'].pathEntry[" + seqno + "].";
    std::vector<std::pair<std::string, std::string>> edits{{entry + "userRegex", regex}};
    for (auto const* flag : {"validDfaRegex", "validPosixRegex"}) {
      edits.emplace_back(entry + flag, "True");
    }
    return edits;
  };
  commit(entryEdits("10", "'_65001_'"));
  auto const symbol = world.symbol("PEERS");
  consumer.notifierIs(symbol->symbolNotifier());
  auto const before = symbol->status();
  commit(entryEdits("5", "'^7_'"));
  EXPECT_EQ(consumer.notified, 1);
  EXPECT_EQ(world.config->pathList("PEERS")->version(), 2U);
  EXPECT_EQ(symbol->status()->configVersion(), 2U);
  EXPECT_EQ(firstMatch({7, 65001}), 5U);
  EXPECT_EQ(firstMatch({8, 65001}), 10U);
  commit({{"regexMode", "regexModePosix"}});
  EXPECT_EQ(consumer.notified, 2);
  EXPECT_EQ(symbol->status()->posixRegexMapSize(), 2U);
  EXPECT_EQ(firstMatch({7, 65001}), 5U);
  EXPECT_EQ(before->asPathEntry().size(), 1U) << "its holder keeps it as it was";
  auto const last = sessions->open("last");
  EXPECT_TRUE(last->attributeDel("pathList['PEERS']"));
  ASSERT_TRUE(last->commit().isComplete());
  EXPECT_EQ(consumer.notified, 3);
  EXPECT_FALSE(symbol->status() || world.symbol("PEERS"));
}

/// Whatever allocation of a commit fails, the one that is repeated brings the configuration, its
/// compiled form and the report together.
template <class Family>
void commitWithScarceMemory(std::string const& lists) {
  bool isDone = false;
  for (long granted = 0; !isDone; ++granted) {
    TestSupport::ListWorld<Family> world;
    auto const prefix = [](Orb::U32 i) {
      return Family::kFamily == Ipa::ipv4 ? "10." + std::to_string(i) + ".0.0/16"
                                          : "2001:db8:" + std::to_string(i) + "::/48";
    };
    for (auto const* name : {"CHANGED", "DELETED"}) world.add(name, world.entry(1, prefix(1)));
    world.start();
    world.settle();
    auto const sessions = Orb::make<Cli::Session::Manager>(
        std::vector<Orb::Ptr<Orb::Entity>>{world.config},
        Orb::make<Routing::RouteMap::RouteMapCopyHandlerDir>("handlers"));
    auto const session = sessions->open("session");
    for (std::string const name : {"CHANGED", "NEW"}) {
      auto const list = session->edit<typename Family::List>(lists + "['" + name + "']");
      for (Orb::U32 i = 2; i < 6; ++i) Family::entryIs(*list, world.entry(i * 10, prefix(i)));
    }
    session->attributeDel(lists + "['DELETED']");
    auto const old = world.symbol("CHANGED")->status();
    try {
      TestSupport::ScarceMemory const scarce(granted);
      isDone = session->commit().isComplete();
    } catch (std::bad_alloc const&) {
    }
    if (!isDone) {
      world.settle();
      if (world.version("CHANGED") == 1) {
        EXPECT_EQ(world.symbol("CHANGED")->status(), old);
      }
      ASSERT_TRUE(session->commit().isComplete()) << granted;
    }
    world.settle();
    EXPECT_EQ(world.all->symbol().size(), 2U) << granted;
    EXPECT_FALSE(world.symbol("DELETED") || world.sm("DELETED")) << granted;
    for (auto const& list : Family::lists(*world.config)) {
      auto const symbol = world.symbol(list->name());
      ASSERT_TRUE(symbol && symbol->status() && world.sm(list->name())) << granted;
      for (auto const& entry : Family::entries(*list)) {
        auto const match = matchPrefixList(symbol->status(), Ipa::IpGenPrefix(entry.prefix()));
        EXPECT_EQ(match.seqno, entry.seqno()) << granted;
      }
      EXPECT_EQ(symbol->status()->trie()->size(), Family::entries(*list).size()) << granted;
      EXPECT_GE(list->version(), 1U) << granted;
    }
    EXPECT_EQ(Family::entries(*world.list("CHANGED")).size(), 5U) << granted;
    EXPECT_EQ(Family::entries(*world.list("NEW")).size(), 4U) << granted;
  }
}

TEST(CommitRoadTest, ARepeatedCommitCompilesWhatItSaysWhenMemoryRanOut) {
  commitWithScarceMemory<Acl::Ipv4Family>("prefixList");
  commitWithScarceMemory<Acl::Ipv6Family>("ipv6PrefixList");
}

}  // namespace
