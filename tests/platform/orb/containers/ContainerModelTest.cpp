#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <thread>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/orb/containers/EachDifference.h"
#include "platform/orb/containers/HashMap.h"
#include "platform/orb/containers/OrderedMap.h"
#include "platform/orb/loop/Reaper.h"
#include "tests/support/ScarceMemory.h"

// Both containers beside a slow, obvious model of what they and their iterators promise.

namespace {

using Orb::U32;
using Orb::U64;
using TestSupport::ScarceMemory;

/// Trivially copyable, of any size.
template <std::size_t words>
struct Plain {
  Plain(U32 k, U32 v) : key(k), value(v) {}
  U32 key;
  U32 value;
  std::array<U32, words> rest{};
};

/// Owns memory and is counted, so that one destroyed twice or never shows; a copy may throw.
struct Counted {
  Counted(U32 k, U32 v) : key(k), value(v), owned(new U32(k)) { ++alive; }
  Counted(Counted const& other) : Counted(other.key, other.value) {
    if (copiesLeft-- == 0) throw std::runtime_error("no more copies");
  }
  Counted(Counted&& other) noexcept
      : key(other.key), value(other.value), owned(std::move(other.owned)) {
    ++alive;
  }
  ~Counted() { --alive; }

  U32 const key;  // const: the containers assign nothing
  U32 value;
  std::unique_ptr<U32> owned;
  std::array<U32, 60> rest{};  // few in a leaf, so that leaves split and join often

  inline static int alive = 0;
  inline static int copiesLeft = -1;
};

template <class Item>
bool operator==(Item const& a, Item const& b) requires requires {
  a.rest;
}
{ return a.key == b.key && a.value == b.value; }

struct Identity {
  U32 operator()(U32 key) const { return key; }
};
/// Four chains of collisions, in the bits that a weak table would not look at.
struct Poor {
  U32 operator()(U32 key) const { return (key % 4) << 30; }
};

template <class Item>
using Ordered = Orb::OrderedMap<Item, Orb::PairKey>;
template <class Item, class Hash = Identity>
using Hashed = Orb::HashMap<Item, Orb::PairKey, Hash>;

static_assert(sizeof(Ordered<Plain<5>>) <= 32 && sizeof(Hashed<Plain<5>>) <= 16);
static_assert(std::forward_iterator<Ordered<Plain<5>>::Iterator>);
static_assert(std::forward_iterator<Hashed<Plain<5>>::Iterator>);

/// A map and its model: items by rank, which is the key itself when the map is ordered, else the
/// number of the arrival.
template <class Map>
struct Twin {
  using Item = typename Map::value_type;
  static constexpr bool kOrdered = requires(Map const& m) { m.lowerBound(0); };

  /// With an odd value, memory runs out at first, and that must change nothing.
  void put(U32 key, U32 value) {
    auto const at = ranks.find(key);
    bool const fresh = at == ranks.end();
    U64 const rank = kOrdered ? key : fresh ? ++arrivals : at->second;
    std::pair<Item*, bool> stored;
    TestSupport::withEverMoreMemory(
        [&] {
          if (value % 2 == 0) TestSupport::grantedAllocations = TestSupport::kPlenty;
          stored = map.insertOrAssign(Item(key, value));
        },
        [&] { ASSERT_TRUE(map.size() == model.size() && map.has(key) == !fresh); });
    ranks[key] = rank;
    model[rank] = {key, value};
    ASSERT_EQ(stored.second, fresh);
    ASSERT_EQ(stored.first, map.find(key));
    ASSERT_EQ(stored.first->value, value);
  }
  void erase(U32 key) {
    auto const at = ranks.find(key);
    bool const there = at != ranks.end();
    if (there) model.erase(at->second), ranks.erase(at);
    bool erased = false;
    std::size_t attempts = 0;
    TestSupport::withEverMoreMemory(
        [&] {
          if (key % 2 == 0) TestSupport::grantedAllocations = TestSupport::kPlenty;
          ++attempts;
          erased = map.erase(key);
        },
        [&] { ASSERT_TRUE(map.size() == model.size() + there && map.has(key) == there); });
    ASSERT_EQ(erased, there);
    ASSERT_TRUE(attempts == 1 || wasCopied) << "needs no memory otherwise";
  }
  void eraseAt(U64 rank) {
    if (model.count(rank)) erase(model[rank].first);
  }
  void clear() {
    map.clear();
    model.clear();
    ranks.clear();
  }
  /// All items of both come anew, in the same order.
  void exchange(Twin& other) {
    swap(map, other.map);
    model.swap(other.model);
    ranks.swap(other.ranks);
    wasCopied = other.wasCopied = wasCopied || other.wasCopied;
    for (Twin* const twin : {this, &other}) {
      if (kOrdered) continue;
      for (auto const& [rank, item] : std::exchange(twin->model, {})) {
        twin->model[twin->ranks[item.first] = ++twin->arrivals] = item;
      }
    }
  }

  void check() const {
    ASSERT_EQ(map.size(), model.size());
    ASSERT_EQ(map.empty(), model.empty());
    auto expected = model.begin();
    [[maybe_unused]] U32 behind = 0;  // the keys in front of the item
    for (Item const& item : map) {
      ASSERT_NE(expected, model.end());
      ASSERT_EQ(std::pair(item.key, item.value), expected->second);
      ASSERT_EQ(map.find(item.key), &item);
      if constexpr (kOrdered) {
        ASSERT_TRUE(&*map.lowerBound(behind) == &item && &*map.lowerBound(item.key) == &item);
        ASSERT_TRUE(behind == 0 || &*map.upperBound(behind - 1) == &item);
        behind = item.key + 1;
      }
      ++expected;
    }
    if constexpr (kOrdered) {
      ASSERT_TRUE(map.lowerBound(behind) == map.end());
    }
    ASSERT_EQ(expected, model.end());
  }

  Map map;
  std::map<U64, std::pair<U32, U32>> model;
  std::unordered_map<U32, U64> ranks;
  U64 arrivals = 0;
  bool wasCopied = false;
};

/// The differences between two maps, and those between their models.
template <class Map>
void compare(Twin<Map> const& a, Twin<Map> const& b) {
  using Change = std::tuple<U32, std::optional<U32>, std::optional<U32>>;
  using Item = typename Map::value_type;
  ASSERT_EQ(a.map == b.map, a.model == b.model);
  if constexpr (Twin<Map>::kOrdered) {
    std::vector<Change> changes;
    Orb::eachDifference(a.map, b.map, std::equal_to<>(),
                        [&](U32 key, Item const* mine, Item const* theirs) {
                          auto const value = [](Item const* item) {
                            return item ? std::optional(item->value) : std::nullopt;
                          };
                          changes.emplace_back(key, value(mine), value(theirs));
                        });
    std::vector<Change> expected;
    auto const value = [](auto const& model, U32 key) {
      auto const at = model.find(key);
      return at == model.end() ? std::nullopt : std::optional(at->second.second);
    };
    auto keys = a.model;
    keys.insert(b.model.begin(), b.model.end());
    for (auto const& [key, item] : keys) {
      Change const change(item.first, value(a.model, item.first), value(b.model, item.first));
      if (std::get<1>(change) != std::get<2>(change)) expected.push_back(change);
    }
    ASSERT_EQ(changes, expected);
  }
}

/// An iterator of the map, and the rank at which it must stand.
template <class Map>
struct Bookmark {
  explicit Bookmark(Twin<Map>& t) : twin(t) { restart(); }

  void restart() {
    it = twin.map.begin();
    stand(twin.model.begin());
  }
  void step() {
    ++it;
    stand(twin.model.upper_bound(rank));
  }
  void check() const {
    ASSERT_EQ(it == twin.map.end(), atEnd);
    ASSERT_EQ(it == std::default_sentinel, atEnd);
    auto const expected = twin.model.find(rank);
    if (atEnd || expected == twin.model.end()) return;
    ASSERT_EQ(std::pair(it->key, it->value), expected->second);
  }

  Twin<Map>& twin;
  typename Map::Iterator it;
  U64 rank = 0;
  bool atEnd = false;

 private:
  void stand(std::map<U64, std::pair<U32, U32>>::const_iterator expected) {
    atEnd = expected == twin.model.end();
    if (!atEnd) rank = expected->first;
    check();
  }
};

/// Random changes, and among them the steps of iterators that stand in the map all the while. The
/// map grows and shrinks in turn, so that its size crosses what its parts can hold. Copies, and
/// copies of copies, are made and changed too.
template <class Map>
void randomChanges(int rounds, U32 keys) {
  using Item = typename Map::value_type;
  std::mt19937 random(keys);
  auto const below = [&](U32 bound) { return static_cast<U32>(random() % bound); };
  Twin<Map> twin;
  std::vector<Twin<Map>> copies(3);
  std::vector<Bookmark<Map>> bookmarks(4, Bookmark(twin));
  U32 const phase = std::max(2 * keys, 2000U);
  for (int round = 0; round < rounds && !::testing::Test::HasFatalFailure(); ++round) {
    bool const growing = (static_cast<U32>(round) / phase) % 2 == 0;
    U32 const key = below(keys);
    U32 const what = below(1000);
    bool const onWhole = below(keys) < 100;
    auto& any = below(4) ? twin : copies[below(3)];
    if (what < (growing ? 600U : 150U)) {
      any.put(key, below(1000));
    } else if (what < 850) {
      any.erase(key);
    } else if (what < 900) {  // what comes next to an iterator
      auto const& near = bookmarks[below(4)];
      twin.eraseAt(near.rank);
      if (below(2) && !near.atEnd) twin.eraseAt(near.rank + 1);
    } else if (what < 930) {  // runs, upwards and downwards, with gaps or without
      U32 const step = 1 + below(2);
      for (U32 i = 0, n = onWhole ? 1000 : below(40); i < n; i += step) {
        U32 const next = (what % 2 ? key + i : key + n - i) % keys;
        growing ? any.put(next, i) : any.erase(next);
      }
    } else if (what < 990 && onWhole) {
      if (below(8) == 0) twin.exchange(copies[below(3)]);
      Map copy(twin.map);
      ASSERT_TRUE(copy == twin.map);
      if (auto item = copy.take(key)) {
        ASSERT_FALSE(copy == twin.map);
        copy.insertOrAssign(Item(keys, item->value));
        ASSERT_FALSE(copy == twin.map) << "another key";
        copy.erase(keys);
        copy.insertOrAssign(Item(key, item->value + 1));
        ASSERT_FALSE(copy == twin.map) << "another value";
        copy.insertOrAssign(*std::move(item));
        ASSERT_TRUE(copy == twin.map) << "in whatever order";
      }
    } else if (what < 992 && onWhole) {
      twin.clear();
    } else if (what >= 992 && below(keys) < 300) {
      auto& copy = copies[below(3)];
      twin.wasCopied = copies[0].wasCopied = true;
      copy = what < 998 ? twin : copies[0];
      compare(twin, copies[below(3)]);
    }
    for (auto& bookmark : bookmarks) {
      bookmark.check();
      if (below(2)) bookmark.atEnd ? bookmark.restart() : bookmark.step();
    }
    if (static_cast<U32>(round) % (phase / 30) != 0) continue;
    twin.check();
    for (auto const& copy : copies) {
      copy.check();
      compare(copy, twin);
    }
  }
  twin.check();
}

TEST(Containers, followTheirModelThroughRandomChanges) {
  randomChanges<Ordered<Plain<5>>>(30000, 2000);
  randomChanges<Ordered<Plain<60>>>(100000, 6000);  // several pages
  randomChanges<Ordered<Counted>>(30000, 300);
  randomChanges<Hashed<Plain<5>>>(30000, 2000);
  randomChanges<Hashed<Plain<5>, Poor>>(15000, 100);
  randomChanges<Hashed<Counted>>(30000, 600);
  randomChanges<Hashed<Plain<250>>>(60000, 3000);  // many runs of slots
  randomChanges<Hashed<Plain<5>>>(160000, 30000);  // and several segments of buckets
}

/// Copies that throw half-way leave nothing behind, made at once or with the first change. What is
/// let go of is destroyed late when there is much of it, unless there is no memory to put it off.
template <class Map>
void lifetimes(int size, bool scarce) {
  Map map;
  for (int i = 0; i < size; ++i) map.insertOrAssign(Counted(static_cast<U32>(i), 0));
  ASSERT_EQ(Counted::alive, size);
  Counted::copiesLeft = std::min(size, 8) - 1;
  EXPECT_THROW(Map(map).editable(0), std::runtime_error);
  Counted::copiesLeft = -1;
  Orb::reapAll();
  EXPECT_EQ(Counted::alive, size);
  bool const isLate = size >= 16384 && !scarce;
  {
    ScarceMemory const none(scarce ? 0 : TestSupport::kPlenty);
    map.clear();
  }
  EXPECT_EQ(Orb::pendingGarbage(), isLate ? 1U : 0U);
  EXPECT_EQ(Counted::alive, isLate ? size : 0);
  Orb::reapAll();
  EXPECT_EQ(Counted::alive, 0);
}

TEST(Containers, destroyEachItemOnce) {
  Orb::reapAll();
  for (int const size : {1, 8, 40, 1000, 16384}) {
    for (bool const scarce : {true, false}) {
      lifetimes<Ordered<Counted>>(size, scarce);
      lifetimes<Hashed<Counted>>(size, scarce);
    }
  }
}

/// An iterator at an item that went may not be read; where one came again under its key, it reads
/// that, or is past it.
template <class Map>
void readsNoErasedItem() {
  Map map;
  for (U32 i = 0; i < 3; ++i) map.insertOrAssign({i, i});
  auto it = map.begin();
  map.erase(1);
  EXPECT_EQ(it->key, 0U);
  map.erase(0);
  EXPECT_DEATH((void)*it, "assertion failed");
  map.insertOrAssign({0, 7});
  if (Twin<Map>::kOrdered) {
    EXPECT_EQ(it->value, 7U);
    return;
  }
  EXPECT_DEATH((void)*it, "assertion failed");
  EXPECT_EQ((++it)->key, 2U);
  EXPECT_EQ((++it)->value, 7U);
}

TEST(ContainersDeathTest, erasedItemIsNotThere) {
  readsNoErasedItem<Ordered<Plain<5>>>();
  readsNoErasedItem<Hashed<Plain<5>>>();
}

/// The keys of the items behind which the next one is not within so many bytes: the last ones of
/// blocks of memory.
template <class Map>
std::vector<U32> runs(Map const& map, std::size_t within) {
  std::vector<U32> ends;
  typename Map::value_type const* last = nullptr;
  for (auto const& item : map) {
    auto const apart =
        reinterpret_cast<std::uintptr_t>(&item) - reinterpret_cast<std::uintptr_t>(last);
    if (last != nullptr && apart > within) ends.push_back(last->key);
    last = &item;
  }
  return ends;
}

TEST(HashMap, closesUpWhenMostIsErased) {
  for (bool const upwards : {true, false}) {
    Hashed<Plain<250>> map;
    for (U32 i = 0; i < 4000; ++i) map.insertOrAssign({i, i});
    for (U32 i = 0; i < 4000; ++i) {
      U32 const key = upwards ? i : 3999 - i;
      if (key % 50 != 0) map.erase(key);
    }
    EXPECT_LT(runs(map, 8 * 1024).size(), 10U);  // of 79, if none were moved together
    for (U32 i = 500; i < 4000; ++i) map.erase(i);
    EXPECT_EQ(map.size(), 10U);
    EXPECT_EQ(runs(map, 10 * 2 * 1024).size(), 0U);  // dead ones are half at most
  }
}

TEST(OrderedMap, fillsItsLeaves) {
  Ordered<Plain<5>> map;
  for (U32 i = 0; i < 20000; ++i) map.insertOrAssign({10000 * i, i});
  auto const ends = runs(map, sizeof(Plain<5>));
  EXPECT_GT(ends.size(), 100U);
  EXPECT_LT(ends.size(), 200U);  // a hundred and more in each
  // Downwards into the gap behind a full leaf: no leaf is made for a single item.
  for (U32 below = 2000; below > 0; --below) map.insertOrAssign({ends[0] + below, 0});
  EXPECT_LT(runs(map, sizeof(Plain<5>)).size(), ends.size() + 50);
  for (U32 below = 2000; below > 0; --below) map.erase(ends[0] + below);
  for (U32 i = 0; i < 20000; ++i) {
    if (i % 50 != 0) map.erase(10000 * i);
  }
  EXPECT_EQ(map.size(), 400U);
  EXPECT_LT(runs(map, sizeof(Plain<5>)).size(),
            20U);  // each second leaf is at least an eighth full
}

TEST(OrderedMap, mayEndWithALeafThatIsShared) {
  Twin<Ordered<Plain<60>>> twin;
  for (U32 key = 0; key < 1025; ++key) twin.put(key, 0);  // one item more than a page has room for
  twin.erase(1024);
  auto copy = twin;
  copy.wasCopied = true;
  for (U32 key = 0; key < 1023; ++key) copy.erase(key);
  copy.check();
  twin.check();
}

TEST(OrderedMap, leavesToTheReaperWhatNoOtherMapHolds) {
  Orb::reapAll();
  {
    Ordered<Counted> map;
    for (U32 i = 0; i < 40000; ++i) map.insertOrAssign(Counted(i, 0));
    Ordered<Counted> copy(map);
    for (U32 i = 0; i < 20000; ++i) copy.insertOrAssign(Counted(i, 1));
    copy.insertOrAssign(Counted(30000, 1));  // a leaf in a page that is shared otherwise
    copy.clear();
    EXPECT_GT(Orb::pendingGarbage(), 0U);
    Orb::reapAll();
    EXPECT_EQ(Counted::alive, 40000);
    for (auto const& item : map) ASSERT_TRUE(item.value == 0 && *item.owned == item.key);
  }
  Orb::reapAll();
  EXPECT_EQ(Counted::alive, 0);
}

/// What a copy costs, and a change of it: the leaves that both maps hold are the same memory.
TEST(OrderedMap, copiesTheLeavesThatChange) {
  Ordered<Plain<5>> map;
  for (U32 i = 0; i < 60000; ++i) map.insertOrAssign({i, i});
  Ordered<Plain<5>> copy(map);
  for (U32 const key : {5000U, 25000U, 45000U}) copy.insertOrAssign({key, 1});
  copy.erase(15000);
  std::size_t apart = 0;
  for (auto const& item : map) apart += copy.find(item.key) != &item;
  EXPECT_GT(apart, 1U);
  EXPECT_LT(apart, 800U) << "four leaves";
  std::size_t compared = 0;
  auto const same = [&](auto const& a, auto const& b) { return ++compared != 0 && a == b; };
  Orb::eachDifference(map, copy, same, [](auto&&...) {});
  EXPECT_LT(compared, 800U);
  // Large contents that another map holds are no work for the reaper.
  std::size_t const pending = Orb::pendingGarbage();
  copy.clear();
  EXPECT_EQ(Orb::pendingGarbage(), pending);
  EXPECT_EQ(map.find(15000)->value, 15000U);
}

TEST(ThreadsOrderedMap, copiesAreReadAndDroppedWhileOthersChange) {
  Ordered<Plain<60>> map;
  for (U32 i = 0; i < 3000; ++i) map.insertOrAssign({i, 0});
  for (U32 round = 1; round <= 20; ++round) {
    std::vector<std::thread> readers;
    for (int i = 0; i < 2; ++i) {
      readers.emplace_back([copy = map, round]() mutable {
        for (auto const& item : copy) EXPECT_EQ(item.value, round - 1);
        auto const other = copy;
        for (U32 key = 0; key < 3000; key += 7) copy.insertOrAssign({key, 9999});
        for (auto const& item : other) EXPECT_EQ(item.value, round - 1);
      });
    }
    for (U32 key = 0; key < 3000; ++key) map.insertOrAssign({key, round});
    for (auto& reader : readers) reader.join();
  }
}

}  // namespace
