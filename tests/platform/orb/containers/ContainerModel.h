#pragma once

#include <gtest/gtest.h>

#include <array>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/orb/containers/MapItem.h"
#include "platform/orb/loop/Reaper.h"

/// The containers beside a slow, obvious model of what they and their iterators promise.
namespace ContainerTest {

using Orb::U32;
using Orb::U64;

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

/// A map and its model: items by rank, which is the key itself when the map is ordered, else the
/// number of the arrival.
template <class Map, bool ordered>
struct Twin {
  using Item = typename Map::value_type;

  void put(U32 key, U32 value) {
    auto const [place, fresh] = ranks.try_emplace(key, 0);
    if (fresh) place->second = ordered ? key : ++arrivals;
    model[place->second] = {key, value};
    auto const [stored, inserted] = map.insertOrAssign(Item(key, value));
    ASSERT_EQ(inserted, fresh);
    ASSERT_EQ(stored, map.find(key));
    ASSERT_EQ(stored->value, value);
  }
  void erase(U32 key) {
    auto const place = ranks.find(key);
    bool const there = place != ranks.end();
    if (there) model.erase(place->second);
    ranks.erase(key);
    ASSERT_EQ(map.erase(key), there);
  }
  void eraseAt(U64 rank) {
    if (model.count(rank)) erase(model[rank].first);
  }
  void clear() {
    map.clear();
    model.clear();
    ranks.clear();
  }
  /// All items come anew, in the same order.
  void replace(Map other) {
    swap(map, other);
    if (ordered) return;
    std::map<U64, std::pair<U32, U32>> const old = std::exchange(model, {});
    for (auto const& [rank, item] : old) model[ranks[item.first] = ++arrivals] = item;
  }

  void check() const {
    ASSERT_EQ(map.size(), model.size());
    ASSERT_EQ(map.empty(), model.empty());
    auto expected = model.begin();
    for (Item const& item : map) {
      ASSERT_NE(expected, model.end());
      ASSERT_EQ(std::pair(item.key, item.value), expected->second);
      ASSERT_EQ(map.find(item.key), &item);
      ++expected;
    }
    ASSERT_EQ(expected, model.end());
  }

  Map map;
  std::map<U64, std::pair<U32, U32>> model;
  std::unordered_map<U32, U64> ranks;
  U64 arrivals = 0;
};

/// An iterator of the map, and the rank at which it must stand.
template <class Map, bool ordered>
struct Bookmark {
  explicit Bookmark(Twin<Map, ordered>& t) : twin(t) { restart(); }

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

  Twin<Map, ordered>& twin;
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
/// map grows and shrinks in turn, so that its size crosses what its parts can hold.
template <class Map, bool ordered>
void randomChanges(unsigned seed, int rounds, U32 keys) {
  std::mt19937 random(seed);
  auto const below = [&](U32 bound) { return static_cast<U32>(random() % bound); };
  Twin<Map, ordered> twin;
  std::vector<Bookmark<Map, ordered>> bookmarks(4, Bookmark(twin));
  for (int round = 0; round < rounds && !::testing::Test::HasFatalFailure(); ++round) {
    bool const growing = (round / 2000) % 2 == 0;
    U32 const key = below(keys);
    U32 const what = below(1000);
    if (what < (growing ? 600U : 250U)) {
      twin.put(key, below(1000));
    } else if (what < 850) {
      twin.erase(key);
    } else if (what < 900) {  // what comes next to an iterator
      auto const& near = bookmarks[below(4)];
      twin.eraseAt(near.rank);
      if (below(2) && !near.atEnd) twin.eraseAt(near.rank + 1);
    } else if (what < 930) {  // runs, upwards and downwards
      for (U32 i = 0, n = below(40); i < n; ++i) {
        U32 const next = (what % 2 ? key + i : key + n - i) % keys;
        growing ? twin.put(next, i) : twin.erase(next);
      }
    } else if (what < 990) {
      Map const copy(twin.map);
      ASSERT_TRUE(copy == twin.map);
      if (below(8) == 0) twin.replace(copy);
    } else if (what < 992) {
      twin.clear();
    }
    for (auto& bookmark : bookmarks) {
      bookmark.check();
      if (below(2)) bookmark.atEnd ? bookmark.restart() : bookmark.step();
    }
    if (round % 64 == 0) twin.check();
  }
  twin.check();
}

/// Loops whose bodies change the map under themselves, over maps of sizes around what its parts
/// can hold. The model says which item each step must reach.
template <class Map, bool ordered>
void loopBodies() {
  using T = Twin<Map, ordered>;
  using Body = void (*)(T&, U32 key);
  Body const bodies[] = {
      [](T& t, U32 key) { t.erase(key); },
      [](T& t, U32 key) { t.erase(key + 10); },
      [](T& t, U32 key) { t.erase(key), t.erase(key + 10), t.erase(key - 10); },
      [](T& t, U32 key) { t.put(key - 5, 1); },
      [](T& t, U32 key) { t.erase(key), t.put(key - 1, 1); },
      [](T& t, U32 key) {
        if (key % 10 == 0) t.put(key + 5, 1);
      },
      [](T& t, U32 key) {
        if (key % 100 == 0) t.clear();
      },
      [](T& t, U32 key) {
        if (key % 100 != 0) return;
        U32 const last = static_cast<U32>(10 * t.map.size());
        t.clear();
        for (U32 k = key + 10; k <= last; k += 10) t.put(k + 1, 2);
      },
  };
  for (U32 const size : {0U, 1U, 2U, 4U, 5U, 8U, 9U, 17U, 33U, 110U, 300U}) {
    for (Body const body : bodies) {
      T twin;
      for (U32 i = 1; i <= size; ++i) twin.put(10 * i, i);
      // What comes is visited in its turn, so a body that always adds would go on for ever.
      std::size_t stepsLeft = 4 * size;
      for (Bookmark bookmark(twin); !bookmark.atEnd && stepsLeft > 0; --stepsLeft) {
        body(twin, bookmark.it->key);
        bookmark.step();
        if (::testing::Test::HasFatalFailure()) return;
      }
      twin.check();
    }
  }
}

/// Copies that throw half-way leave nothing behind; what is moved, taken and let go of is destroyed
/// once, and late when there is much of it.
template <class Map>
void lifetimes() {
  Orb::reapAll();
  ASSERT_EQ(Counted::alive, 0);
  for (int const size : {1, 8, 40, 1000}) {
    Map map;
    for (int i = 0; i < size; ++i) map.insertOrAssign(Counted(static_cast<U32>(i), 0));
    ASSERT_EQ(Counted::alive, size);
    Counted::copiesLeft = size - 1;
    EXPECT_THROW(Map{map}, std::runtime_error);
    Counted::copiesLeft = -1;
    EXPECT_EQ(Counted::alive, size);
    EXPECT_EQ(map.size(), static_cast<std::size_t>(size));
    EXPECT_EQ(map.take(0)->key, 0U);
    EXPECT_FALSE(map.take(0));
    Map moved(std::move(map));
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(map.begin(), map.end());
    map = std::move(moved);
    EXPECT_EQ(Counted::alive, size - 1);
  }
  EXPECT_EQ(Counted::alive, 0);

  int const large = 16384;
  {
    Map map;
    for (int i = 0; i < large; ++i) map.insertOrAssign(Counted(static_cast<U32>(i), 0));
    std::size_t const pending = Orb::pendingGarbage();
    map.clear();
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(Orb::pendingGarbage(), pending + 1);
    EXPECT_EQ(Counted::alive, large);
    map.insertOrAssign(Counted(1, 0));
  }
  EXPECT_EQ(Counted::alive, large);
  Orb::reapAll();
  EXPECT_EQ(Counted::alive, 0);
}

}  // namespace ContainerTest
