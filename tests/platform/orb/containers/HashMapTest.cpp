#include "platform/orb/containers/HashMap.h"

#include <cstdint>

#include "tests/platform/orb/containers/ContainerModel.h"

namespace ContainerTest {
namespace {

struct Identity {
  U32 operator()(U32 key) const { return key; }
};
/// Four chains of collisions, in the bits that a weak table would not look at.
struct Poor {
  U32 operator()(U32 key) const { return (key % 4) << 30; }
};

template <class Item, class Hash = Identity>
using Hashed = Orb::HashMap<Item, Orb::PairKey, Hash>;

static_assert(sizeof(Hashed<Plain<5>>) <= 16);
static_assert(std::forward_iterator<Hashed<Plain<5>>::Iterator>);

TEST(HashMap, followsItsModelThroughRandomChanges) {
  randomChanges<Hashed<Plain<5>>, false>(1, 30000, 2000);
  randomChanges<Hashed<Plain<5>, Poor>, false>(2, 15000, 100);
  randomChanges<Hashed<Counted>, false>(3, 30000, 300);
}

TEST(HashMap, loopMayChangeTheMap) {
  loopBodies<Hashed<Plain<5>>, false>();
  loopBodies<Hashed<Counted>, false>();
}

TEST(HashMap, destroysEachItemOnce) { lifetimes<Hashed<Counted>>(); }

TEST(HashMap, equalsInAnyOrder) {
  Hashed<Plain<5>> a;
  Hashed<Plain<5>> b;
  EXPECT_TRUE(a == b);
  for (U32 i = 0; i < 20; ++i) a.insertOrAssign({i, 0}), b.insertOrAssign({19 - i, 0});
  EXPECT_TRUE(a == b);
  b.find(7)->value = 1;
  EXPECT_FALSE(a == b);
  b.erase(7);
  EXPECT_FALSE(a == b);
  b.insertOrAssign({20, 0});
  EXPECT_FALSE(a == b);
}

TEST(HashMap, closesUpWhenMostIsErased) {
  Hashed<Plain<5>> map;
  for (U32 i = 0; i < 1000; ++i) map.insertOrAssign({i, i});
  for (U32 i = 10; i < 990; ++i) map.erase(i);
  std::size_t const apart = 2 * 20 * 2 * sizeof(Plain<5>);  // dead ones are half at most
  EXPECT_LT(reinterpret_cast<std::uintptr_t>(map.find(999)),
            reinterpret_cast<std::uintptr_t>(map.find(0)) + apart);
}

TEST(HashMapDeathTest, erasedItemIsNotThere) {
  Hashed<Plain<5>> map;
  for (U32 i = 0; i < 3; ++i) map.insertOrAssign({i, i});
  auto it = map.begin();
  map.erase(1);
  EXPECT_EQ(it->key, 0U);
  map.erase(0);
  map.insertOrAssign({0, 7});
  EXPECT_DEATH((void)*it, "assertion failed");  // what came again came anew
  EXPECT_EQ((++it)->key, 2U);
  EXPECT_EQ((++it)->value, 7U);
}

}  // namespace
}  // namespace ContainerTest
