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

/// From a session's commit, by the list's version, its build and the symbol's version, to a
/// consumer that is notified once; another commit changes the engine of all lists.
TEST(CommitRoadTest, AnAsPathListFromACommitToTheConsumer) {
  TestSupport::AsPathWorld world;
  world.start();
  auto const sessions = Orb::make<Cli::Session::Manager>(
      std::vector<Orb::Ptr<Orb::Entity>>{world.config},
      Orb::make<Routing::RouteMap::RouteMapCopyHandlerDir>("handlers"));
  Consumer consumer;
  auto const commit = [&](auto const& edit) {
    auto const session = sessions->open("session");
    edit(*session);
    ASSERT_TRUE(session->commit().isComplete());
    world.settle();
  };
  auto const commitEntry = [&](Orb::U32 seqno, char const* regex) {
    commit([&](Cli::Session::Session& session) {
      session.edit<Acl::AsPathList>("pathList['PEERS']")
          ->pathEntryIs(Acl::AsPathEntry::of(seqno, Orb::String(regex), Acl::permitMatch,
                                             Acl::bgpAny, true, true));
    });
  };
  auto const firstMatch = [&](std::vector<Orb::U32> const& path) {
    std::string text;
    auto const status = world.symbol("PEERS")->status();
    return matchAsPathList(status, path, Acl::bgpIGP, text).seqno;
  };
  commitEntry(10, "_65001_");
  auto const symbol = world.symbol("PEERS");
  consumer.notifierIs(symbol->symbolNotifier());
  auto const before = symbol->status();
  commitEntry(5, "^7_");
  EXPECT_EQ(consumer.notified, 1);
  EXPECT_EQ(world.config->pathList("PEERS")->version(), 2U);
  EXPECT_EQ(symbol->status()->configVersion(), 2U);
  EXPECT_EQ(firstMatch({7, 65001}), 5U);
  EXPECT_EQ(firstMatch({8, 65001}), 10U);
  commit([](auto& session) { session.attributeTextIs("regexMode", "regexModePosix"); });
  EXPECT_EQ(consumer.notified, 2);
  EXPECT_EQ(symbol->status()->posixRegexMapSize(), 2U);
  EXPECT_EQ(firstMatch({7, 65001}), 5U);
  EXPECT_EQ(before->asPathEntry().size(), 1U) << "its holder keeps it as it was";
  commit([](auto& session) { session.attributeDel("pathList['PEERS']"); });
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
    Consumer consumer;
    consumer.notifierIs(world.symbol("CHANGED")->symbolNotifier());
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
    if (isDone) {
      EXPECT_EQ(consumer.notified, 1);
    }
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
