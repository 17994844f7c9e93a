#include <gtest/gtest.h>

#include "config_copy/RouteMapCopy.h"
#include "tests/support/ListWorld.h"

namespace {

using Routing::PolicyEval::matchPrefixList;
using Routing::RouteMap::PolicySymbolNotifier;

/// A routing protocol that follows a list.
struct Consumer final : PolicySymbolNotifier::Notifiee {
  int told = 0;
  void onVersion() override { ++told; }
};

/// The whole road of one change: a session's commit, the list's version, the slices of the build,
/// the swap, the symbol's version, and a consumer who is told once.
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
  EXPECT_EQ(consumer.told, 0);
  EXPECT_GT(world.settle(), 1) << "built in slices";

  EXPECT_EQ(consumer.told, 1);
  EXPECT_EQ(world.version("CUSTOMER"), symbolVersion + 1);
  auto const route = Ipa::Prefix(Ipa::IpAddr(4000U << 12), 24U);
  EXPECT_EQ(matchPrefixList(symbol->status(), route).seqno, 4000U);
  EXPECT_EQ(matchPrefixList(before, route).outcome,
            Routing::PolicyEval::PrefixListMatch::Outcome::noMatch);

  // A commit that changes nothing is no change to anybody.
  auto const idle = sessions->open("third");
  idle->edit<Acl::PrefixList>("prefixList['CUSTOMER']");
  ASSERT_TRUE(idle->commit().isComplete());
  world.settle();
  EXPECT_EQ(consumer.told, 1);

  // And one that deletes the list leaves a symbol without a status.
  auto const last = sessions->open("fourth");
  EXPECT_TRUE(last->attributeDel("prefixList['CUSTOMER']"));
  ASSERT_TRUE(last->commit().isComplete());
  world.settle();
  EXPECT_EQ(consumer.told, 2);
  EXPECT_FALSE(symbol->status());
}

}  // namespace
