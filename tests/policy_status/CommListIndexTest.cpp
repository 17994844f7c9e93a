#include "policy_status/CommListIndex.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <random>
#include <set>

#include "policy_status/CommListStatus.h"
#include "tests/support/RationedMemory.h"

namespace {

using namespace Routing::RouteMap;
using Acl::CommunityValue;
using Values = std::vector<CommunityValue>;
using Status = Orb::Ptr<CommListStatus>;
using Random = std::mt19937_64;

Orb::Ptr<Acl::CommunityListEntry> entry(Orb::U32 seqno, Acl::CommunityListType type,
                                        Values const& values) {
  auto const list = Orb::make<Acl::CommunityList>(Orb::Name("C"));
  auto made = Orb::make<Acl::CommunityListEntry>(*list, seqno);
  made->listTypeIs(type);
  for (auto const& value : values) made->communityIs(value, seqno % 2 == 0);
  return made;
}

/// The values of a family of which lists and routes are made: few, so that they meet.
CommunityValue anyValue(Random& random, Orb::U32 family) {
  auto const part = [&](bool isThere) {
    return isThere ? static_cast<Orb::U32>(random() % 3) : 0U;
  };
  return CommunityValue::of(part(family == 2), part(family > 0), part(true));
}
Values anyValues(Random& random, Orb::U32 family, std::size_t most) {
  Values values;
  for (std::size_t left = random() % (most + 1); left > 0; --left) {
    values.push_back(anyValue(random, family));
  }
  std::sort(values.begin(), values.end());
  return values;
}

/// The lowest entry of explicit values that matches, entry by entry.
Acl::CommunityListEntry const* scanned(CommListStatus const& status, Values const& route,
                                       bool isExact) {
  std::set<CommunityValue> const carried(route.begin(), route.end());
  for (auto const& e : status.communityListEntry()) {
    bool const isExplicit = e->listType() == Acl::communityStandard ||
                            e->listType() == Acl::extCommunityStandard ||
                            e->listType() == Acl::largeCommunityStandard;
    std::size_t met = 0;
    for (auto const& item : e->community()) met += carried.count(item.key);
    bool const isMatch = met == e->community().size() && (!isExact || met == carried.size());
    if (isExplicit && isMatch) return e.get();
  }
  return nullptr;
}

void expectSame(CommListStatus const& status, Random& random, Orb::U32 family) {
  ASSERT_TRUE(status.index());
  auto const& index = *status.index();
  for (int i = 0; i < 60; ++i) {
    auto const route = anyValues(random, family, 6);
    for (bool const isExact : {false, true}) {
      ASSERT_EQ(index.firstExplicit(route, isExact), scanned(status, route, isExact));
    }
  }
  auto expanded = index.expanded().begin();
  for (auto const& e : status.communityListEntry()) {
    auto const regex = status.regex(e->seqno());
    if (static_cast<Orb::U32>(e->listType()) % 2 == 0 || !regex || !regex->compiled()) continue;
    ASSERT_NE(expanded, index.expanded().end());
    EXPECT_EQ(expanded->seqno, e->seqno());
    EXPECT_EQ(expanded->regex, regex.get());
    EXPECT_EQ((expanded++)->entry, e.get());
  }
  EXPECT_EQ(expanded, index.expanded().end());
}

void changeAny(CommListStatus& status, Random& random, Orb::U32 family) {
  auto const seqno = static_cast<Orb::U32>(random() % 60);
  switch (random() % 8) {
    case 0:
      return status.communityListEntryDel(seqno);
    case 1:
      return status.regexAdd(seqno, "a");
    case 2:
      return status.regexDel(seqno);
    case 3:
      return status.regexMapIs(posixRegexFactory(seqno));  // not compiled
    default:
      // An expanded entry may have values, which count for nothing.
      auto const type = Acl::CommunityListType{2 * family + (random() % 6 == 0 ? 1U : 0U)};
      status.communityListEntryIs(entry(seqno, type, anyValues(random, family, 4)));
  }
}

TEST(CommListIndex, ChangesNoAnswerUnderRandomEdits) {
  for (Orb::U64 seed = 1; seed <= 45; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    auto const family = static_cast<Orb::U32>(seed % 3);
    Status status = commListStatusFactory("C");
    for (int edits = 0; edits < 30; ++edits) {
      Status const next = commListStatusFactory("C");
      next->clone(*status);
      EXPECT_FALSE(next->index());
      for (std::size_t changes = random() % 6; changes > 0; --changes) {
        changeAny(*next, random, family);
      }
      next->prepare();
      expectSame(*next, random, family);
      if (HasFatalFailure()) return;
      status = next;
    }
  }
}

/// `count` entries of which the i-th has the values valuesOf(i).
Status listOf(Orb::U32 count, std::function<Values(Orb::U32)> const& valuesOf) {
  auto status = commListStatusFactory("C");
  for (Orb::U32 i = 0; i < count; ++i) {
    status->communityListEntryIs(entry(i, Acl::communityStandard, valuesOf(i)));
  }
  return status;
}
CommunityValue standard(Orb::U32 value) { return CommunityValue::of(0U, 0U, value); }

TEST(CommListIndex, IsBuiltInSlices) {
  auto const status = listOf(1000, [](Orb::U32 i) {
    Values values{standard(i), standard(7)};
    for (Orb::U32 more = 0; i == 500 && more < 3000; ++more) values.push_back(standard(more));
    return values;
  });
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

TEST(CommListIndex, IsDroppedByWhateverChangesWhatItIsMadeOf) {
  using Change = std::function<void(CommListStatus&)>;
  for (auto const& [name, drops, change] :
       {std::tuple{"entry", true,
                   Change([](auto& s) { s.communityListEntryIs(entry(9, {}, {})); })},
        {"entryDel", true, [](auto& s) { s.communityListEntryDel(0); }},
        {"entryDelAll", true, [](auto& s) { s.communityListEntryDelAll(); }},
        {"regexAdd", true, [](auto& s) { s.regexAdd(0, "a"); }},
        {"regexDel", true, [](auto& s) { s.regexDel(0); }},
        {"regexDelAll", true, [](auto& s) { s.regexMapDelAll(); }},
        {"clone", true, [](auto& s) { s.clone(*commListStatusFactory("C")); }},
        {"cloneSelf", false, [](auto& s) { s.clone(s); }},
        {"refused", false, [](auto& s) { s.regexAdd(0, "("); }},
        {"comm", false, [](auto& s) { s.commIs(standard(1)); }},
        {"fromCommSet", false, [](auto& s) { s.fromCommSetIs(true); }}}) {
    SCOPED_TRACE(name);
    auto const status = listOf(2, [](Orb::U32) { return Values{}; });
    status->prepare();
    change(*status);
    EXPECT_EQ(status->index() == nullptr, drops);
  }
}

TEST(CommListIndex, IsNotThereWithoutMemory) {
  auto const status = listOf(3, [](Orb::U32 i) { return Values{standard(i)}; });
  status->communityListEntryIs(entry(3, Acl::communityExpanded, {}));
  EXPECT_GT(TestSupport::withEverMoreMemory([&] { status->prepare(); },
                                            [&] { EXPECT_FALSE(status->index()); }),
            5);
  EXPECT_TRUE(status->index());
}

}  // namespace
