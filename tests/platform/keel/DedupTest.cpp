#include "platform/keel/Dedup.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "platform/keel/MaybeU63.h"
#include "platform/orb/base/Error.h"

namespace {

std::atomic<int> alive = 0;

struct Handle final : Keel::DedupHandle {
  explicit Handle(std::string text) : key(std::move(text)) { ++alive; }
  ~Handle() override { --alive; }
  Orb::U32 hash() const override { return static_cast<Orb::U32>(key.size()); }
  bool compare(Keel::DedupHandle const* other) const override {
    return static_cast<Handle const*>(other)->key == key;
  }
  std::string key;
};

Orb::Ptr<Keel::DedupHashTable> makeTable(bool releaseUnheld = true) {
  return Keel::DedupHashTableUnorderedSet::DedupHashTableUnorderedSetIs(releaseUnheld);
}

TEST(Dedup, TheFirstOfEqualHandlesIsCanonicalWhileHeld) {
  auto const table = makeTable();
  auto first = Orb::make<Handle>("a");
  EXPECT_EQ(table->dedup(first), first);
  EXPECT_EQ(table->dedup(first), first) << "registering again finds itself";
  EXPECT_EQ(table->dedup(Orb::make<Handle>("a")), first);
  EXPECT_NE(table->dedup(Orb::make<Handle>("b")), first);
  EXPECT_EQ(table->size(), 1U) << "nobody holds b";
  EXPECT_TRUE(first->isDeduped());

  first = nullptr;
  EXPECT_EQ(table->size(), 0U);
  EXPECT_EQ(alive, 0);
}

TEST(Dedup, ALifeTimeNotifiersReferenceDoesNotCount) {
  auto const table = makeTable();
  auto held = Orb::make<Handle>("a");
  held->haveLifeTimeNotifierIs(true);
  Orb::Ptr<Keel::DedupHandle> const notifiers = table->dedup(held);
  held = nullptr;
  EXPECT_EQ(table->size(), 0U);
  EXPECT_FALSE(notifiers->isDeduped());
  EXPECT_EQ(alive, 1);
}

TEST(Dedup, ATableThatGoesFirstUnlinksItsHandles) {
  auto table = makeTable();
  auto const handle = Orb::make<Handle>("a");
  table->dedup(handle);
  table = nullptr;
  EXPECT_FALSE(handle->isDeduped());
  EXPECT_TRUE(handle->beingDetached());
  EXPECT_EQ(handle->refCount(), 1U);
  table = makeTable();
  EXPECT_EQ(table->dedup(handle), handle);
  EXPECT_FALSE(handle->beingDetached());
}

TEST(Dedup, ATableMayKeepWhatNobodyHolds) {
  auto table = makeTable(false);
  table->dedup(Orb::make<Handle>("a"));
  EXPECT_EQ(table->size(), 1U);
  table = nullptr;
  EXPECT_EQ(alive, 0);
}

TEST(DedupDeathTest, MisuseIsFatal) {
  auto const one = makeTable();
  auto const two = makeTable();
  auto const handle = Orb::make<Handle>("a");
  EXPECT_DEATH(handle->assertIsDeduped(), "isDeduped");
  one->dedup(handle);
  EXPECT_DEATH(two->dedup(handle), "hook.is_linked");
}

// The last outside reference may go on any thread while another looks the handle up.
TEST(ThreadsDedup, LastReferencesGoWhileOthersAreFound) {
  auto const table = makeTable();
  constexpr int kRounds = 20000;
  auto const work = [&] {
    for (int i = 0; i < kRounds; ++i) {
      auto const canonical = table->dedup(Orb::make<Handle>(std::to_string(i % 3)));
      auto const copy = canonical;
      ASSERT_TRUE(static_cast<Handle const&>(*copy).key.size() == 1);
    }
  };
  std::thread other(work);
  work();
  other.join();
  EXPECT_EQ(table->size(), 0U);
  EXPECT_EQ(alive, 0);
}

TEST(MaybeU63, TellsUnsetFromZero) {
  Keel::MaybeU63 const unset;
  Keel::MaybeU63 const zero(0);
  EXPECT_LT(unset, zero);
  EXPECT_EQ(Orb::toText(unset), "None");
  EXPECT_EQ(zero.value(), 0U);
  EXPECT_EQ(unset.valueOr(5), 5U);
  constexpr Orb::U64 kMost = 9223372036854775807U;
  EXPECT_THROW(Keel::MaybeU63(kMost + 1), Orb::RangeException);
  for (auto const& v : {unset, zero, Keel::MaybeU63(kMost)}) {
    Keel::MaybeU63 read(1);
    Orb::fromText(read, Orb::toText(v));
    EXPECT_EQ(read, v);
  }
  EXPECT_DEATH(static_cast<void>(unset.value()), "isSet");
}

}  // namespace
