#include "platform/keel/Dedup.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

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

// A table that releases what is not held, and one that keeps it; a handle without and with a
// lifetime notifier, whose reference does not count.
TEST(Dedup, theFirstOfEqualHandlesIsCanonicalAsLongAsItIsHeld) {
  for (bool const releases : {true, false}) {
    for (bool const isWatched : {true, false}) {
      auto table = makeTable(releases);
      auto first = Orb::make<Handle>("a");
      first->haveLifeTimeNotifierIs(isWatched);
      Orb::Ptr<Keel::DedupHandle> const notifiers = isWatched ? first : nullptr;
      EXPECT_EQ(table->dedup(first), first);
      EXPECT_EQ(table->dedup(first), first) << "registering again finds itself";
      EXPECT_EQ(table->dedup(Orb::make<Handle>("a")), first);
      EXPECT_NE(table->dedup(Orb::make<Handle>("b")), first);
      EXPECT_EQ(table->size(), releases ? 1U : 2U) << "b is not held";
      EXPECT_TRUE(first->isDeduped());
      first = nullptr;
      EXPECT_EQ(table->size(), releases ? 0U : 2U);
      EXPECT_EQ(alive, (releases ? 0 : 2) + (releases && isWatched));
      EXPECT_TRUE(!isWatched || notifiers->isDeduped() == !releases);
    }
    EXPECT_EQ(alive, 0) << "what a table has kept goes with it";
  }
}

TEST(Dedup, aTableThatGoesFirstUnlinksItsHandles) {
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

TEST(DedupDeathTest, misuseIsFatal) {
  auto const one = makeTable();
  auto const handle = Orb::make<Handle>("a");
  EXPECT_DEATH(handle->assertIsDeduped(), "isDeduped");
  one->dedup(handle);
  EXPECT_DEATH(makeTable()->dedup(handle), "hook.is_linked");
}

// The last outside reference may go on any thread while another looks the handle up.
TEST(ThreadsDedup, lastReferencesGoWhileOthersAreFound) {
  auto const table = makeTable();
  auto const work = [&] {
    for (int i = 0; i < 20000; ++i) {
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

TEST(MaybeU63, distinguishesUnsetFromZero) {
  Keel::MaybeU63 const unset;
  EXPECT_LT(unset, Keel::MaybeU63(0));
  EXPECT_EQ(Orb::toText(unset), "None");
  EXPECT_EQ(Keel::MaybeU63(0).value(), 0U);
  EXPECT_EQ(unset.valueOr(5), 5U);
  EXPECT_THROW(Keel::MaybeU63(Orb::U64{1} << 63), Orb::RangeException);
  EXPECT_DEATH(static_cast<void>(unset.value()), "isSet");
}

}  // namespace
