#include "platform/orb/containers/OrderedMap.h"

#include <vector>

#include "tests/platform/orb/containers/ContainerModel.h"

namespace ContainerTest {
namespace {

template <class Item>
using Ordered = Orb::OrderedMap<Item, Orb::PairKey>;

static_assert(sizeof(Ordered<Plain<5>>) <= 32);
static_assert(std::forward_iterator<Ordered<Plain<5>>::Iterator>);

TEST(OrderedMap, followsItsModelThroughRandomChanges) {
  randomChanges<Ordered<Plain<5>>, true>(1, 30000, 2000);
  randomChanges<Ordered<Plain<60>>, true>(2, 30000, 1000);
  randomChanges<Ordered<Counted>, true>(3, 30000, 300);
}

TEST(OrderedMap, loopMayChangeTheMap) {
  loopBodies<Ordered<Plain<5>>, true>();
  loopBodies<Ordered<Counted>, true>();
}

TEST(OrderedMap, destroysEachItemOnce) { lifetimes<Ordered<Counted>>(); }

TEST(OrderedMap, findsBounds) {
  for (U32 const size : {0U, 1U, 15U, 16U, 17U, 400U}) {
    Ordered<Counted> map;
    for (U32 i = 1; i <= size; ++i) map.insertOrAssign(Counted(10 * i, 0));
    for (U32 key = 0; key <= 10 * size + 1; ++key) {
      auto const isKey = [&](auto const& it, U32 expected) {
        return expected > 10 * size ? it == map.end() : it->key == expected && it.key() == expected;
      };
      ASSERT_TRUE(isKey(map.lowerBound(key), std::max(10U, (key + 9) / 10 * 10))) << key;
      ASSERT_TRUE(isKey(map.upperBound(key), key / 10 * 10 + 10)) << key;
    }
  }
}

/// Erasing from the front, from the back and out of the middle until nothing is left.
TEST(OrderedMap, drainsFromAnySide) {
  for (int const side : {0, 1, 2}) {
    Twin<Ordered<Plain<5>>, true> twin;
    for (U32 i = 0; i < 3000; ++i) twin.put(i, i);
    while (!twin.model.empty()) {
      auto place = twin.model.begin();
      if (side == 1) place = std::prev(twin.model.end());
      if (side == 2) place = std::next(place, static_cast<long>(twin.model.size() / 2));
      twin.erase(place->second.first);
      if (twin.model.size() % 16 == 0) twin.check();
    }
  }
}

/// The last item of each run in memory, which is to say of each leaf or of a few.
std::vector<U32> runs(Ordered<Plain<5>> const& map) {
  std::vector<U32> ends;
  Plain<5> const* last = nullptr;
  for (auto const& item : map) {
    if (last != nullptr && &item != last + 1) ends.push_back(last->key);
    last = &item;
  }
  return ends;
}

TEST(OrderedMap, fillsItsLeaves) {
  Ordered<Plain<5>> map;
  for (U32 i = 0; i < 20000; ++i) map.insertOrAssign({10000 * i, i});
  auto const ends = runs(map);
  EXPECT_GT(ends.size(), 100U);
  EXPECT_LT(ends.size(), 200U);  // a hundred and more in each
  // Downwards into the gap behind a full leaf: no leaf is made for a single item.
  for (U32 below = 2000; below > 0; --below) map.insertOrAssign({ends[0] + below, 0});
  EXPECT_LT(runs(map).size(), ends.size() + 50);
  for (U32 below = 2000; below > 0; --below) map.erase(ends[0] + below);
  for (U32 i = 0; i < 20000; ++i) {
    if (i % 50 != 0) map.erase(10000 * i);
  }
  EXPECT_EQ(map.size(), 400U);
  EXPECT_LT(runs(map).size(), 20U);  // each second leaf is at least an eighth full
}

/// A key whose copy may throw: the map copies keys when a leaf is split.
struct FragileKey {
  FragileKey() = default;
  explicit FragileKey(U32 v) : value(v) {}
  FragileKey(FragileKey const& other) : value(other.value) {
    if (copiesLeft-- == 0) throw std::runtime_error("no more copies");
  }
  FragileKey(FragileKey&&) noexcept = default;
  FragileKey& operator=(FragileKey&&) noexcept = default;
  friend bool operator<(FragileKey const& a, FragileKey const& b) { return a.value < b.value; }

  U32 value = 0;
  inline static int copiesLeft = -1;
};

TEST(OrderedMap, insertionThatThrowsChangesNothing) {
  using Item = Orb::MapItem<FragileKey, U32>;
  Orb::OrderedMap<Item, Orb::PairKey> map;
  std::size_t expected = 0;
  int thrown = 0;
  for (U32 i = 0; i < 4000; ++i) {
    FragileKey::copiesLeft = 0;
    U32 const key = i % 2 ? i : 10000 - i;
    try {
      expected += map.insertOrAssign(Item{FragileKey(key), i}).second;
    } catch (std::runtime_error const&) {
      ++thrown;
      EXPECT_FALSE(map.has(FragileKey(key)));
      FragileKey::copiesLeft = -1;
      expected += map.insertOrAssign(Item{FragileKey(key), i}).second;
    }
    ASSERT_EQ(map.size(), expected);
    FragileKey::copiesLeft = -1;
    ASSERT_EQ(map.find(FragileKey(key))->value, i);
  }
  EXPECT_EQ(expected, 4000U);
  EXPECT_GT(thrown, 5);
}

TEST(OrderedMapDeathTest, erasedItemIsNotThere) {
  Ordered<Plain<5>> map;
  for (U32 i = 0; i < 3; ++i) map.insertOrAssign({i, i});
  auto it = map.begin();
  map.erase(1);
  EXPECT_EQ(it->key, 0U);
  map.erase(0);
  EXPECT_DEATH((void)*it, "assertion failed");
  map.insertOrAssign({0, 7});
  EXPECT_EQ(it->value, 7U);  // it stands at a key, whoever holds it
}

}  // namespace
}  // namespace ContainerTest
