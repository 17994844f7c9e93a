#include "policy_status/CommListIndex.h"

#include <gtest/gtest.h>

#include "policy_status/CommListStatus.h"
#include "tests/support/RationedMemory.h"

// What an index answers is compared with a plain scan in tests/policy_eval.
namespace {

using namespace Routing::RouteMap;
using Acl::CommunityValue;
using Values = std::vector<CommunityValue>;

CommunityValue standard(Orb::U32 value) { return CommunityValue::of(0U, 0U, value); }

Orb::Ptr<Acl::CommunityListEntry> entry(Orb::U32 seqno, Values const& values) {
  auto const list = Orb::make<Acl::CommunityList>(Orb::Name("C"));
  auto made = Orb::make<Acl::CommunityListEntry>(*list, seqno);
  for (auto const& value : values) made->communityIs(value, true);
  return made;
}

TEST(CommListIndex, IsBuiltInSlices) {
  auto const status = commListStatusFactory("C");
  for (Orb::U32 i = 0; i < 1000; ++i) {
    Values values{standard(i), standard(7)};
    for (Orb::U32 more = 0; i == 500 && more < 3000; ++more) values.push_back(standard(more));
    status->communityListEntryIs(entry(i, values));
  }
  CommListIndexBuilder builder(status);
  int slices = 1;
  for (; !builder.work([] { return true; }); ++slices) ASSERT_FALSE(builder.take());
  EXPECT_GT(slices, 50) << "a long entry is cut, too";
  EXPECT_TRUE(builder.work([] { return true; }));
  auto const index = builder.take();
  EXPECT_FALSE(builder.take());
  EXPECT_LE(index->bytes(), sizeof *index + 1001 * 16UL + 5000 * 12UL + 1000 * 64UL);
  status->indexIs(index);
  status->prepare();
  status->indexIs(CommListIndexBuilder(status).take());
  EXPECT_EQ(status->index(), index.get()) << "the first one stays";
  for (Orb::U32 i = 8; i < 1000; ++i) {
    Values const route{standard(7), standard(i)};
    EXPECT_EQ(index->firstExplicit(route, true),
              i == 500 ? nullptr : status->communityListEntry(i).get());
  }
}

TEST(CommListIndex, IsNotThereWithoutMemory) {
  auto const status = commListStatusFactory("C");
  for (Orb::U32 i = 0; i < 3; ++i) status->communityListEntryIs(entry(i, {standard(i)}));
  status->regexAdd(3, "a");
  auto const expanded = entry(3, {});
  expanded->listTypeIs(Acl::communityExpanded);
  status->communityListEntryIs(expanded);
  EXPECT_GT(TestSupport::withEverMoreMemory([&] { status->prepare(); },
                                            [&] { EXPECT_FALSE(status->index()); }),
            5);
  EXPECT_EQ(status->index()->expanded().size(), 1U);
}

}  // namespace
