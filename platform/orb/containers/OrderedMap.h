#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/orb/base/Error.h"
#include "platform/orb/base/Types.h"
#include "platform/orb/containers/MapItem.h"
#include "platform/orb/containers/detail/Leaf.h"
#include "platform/orb/containers/detail/Release.h"

/// A map whose items carry their keys, in the order of the keys: a sorted array of two levels.
///
/// Items lie in leaves, sorted; above them, one directory holds each leaf's address and the key at
/// which it starts, so that a search goes through the directory's keys and then touches one leaf.
/// A map that fits in one leaf has no directory, and its leaf grows with it.
///
///  1. Keys ascend strictly within a leaf and from leaf to leaf.
///  2. With a directory there are at least two leaves; none is empty, all have room kLeafRoom.
///  3. Every key of leaf i is >= starts[i], and every key of leaf i - 1 is less. starts[0] means
///     nothing; the other starts need not be keys that are there still.
///  4. An erasure that leaves a leaf below a quarter of its room joins it with a neighbour, if the
///     two leave a quarter free: it then takes many changes to split or join it again.
///  5. The generation rises whenever an item changes its place or a key comes or goes.
///  6. A leaf that other maps hold too is not changed, nor joined. Who changes an item in it, or
///  has
///     one come or go, copies the leaf first, in one place (ownLeaf()), and all else after that
///     works on a leaf that is the map's alone.
///
/// A full leaf is split in the middle, but the last one at its end, if that is where the new item
/// belongs: filling a map in the order of its keys leaves full leaves behind.
///
/// Copies of a map share its leaves: a copy costs the directory, a change of the copy a leaf, and a
/// comparison skips what both hold. So a list of a million entries is copied, changed in one place
/// and compared with what it was within a millisecond, and a map of which each change makes a new
/// version, for readers that hold the old ones, costs no more than a leaf and the directory for
/// each. The counts of a leaf's holders are atomic as references are: maps that share leaves may be
/// used by different threads.
namespace Orb {

/// KeyOf is a stateless functor that gives an item's key, by value or reference; keys compare with
/// `<`. Items need no default constructor and no assignment; moving one must not throw.
///
/// Large contents (16,384 items and more that no other map holds) that are cleared, assigned over
/// or destroyed go to the reaper: the map is empty at once, but the items are destroyed later, by
/// the event loop.
///
/// Any number of threads may read or copy a map while no thread changes it.
template <class Item, class KeyOf>
class OrderedMap {
 public:
  using Key = KeyType<Item, KeyOf>;
  using value_type = Item;
  class Iterator;
  using iterator = Iterator;
  using const_iterator = Iterator;

  OrderedMap() noexcept = default;
  OrderedMap(OrderedMap const& other);
  OrderedMap(OrderedMap&& other) noexcept { adopt(other); }
  OrderedMap& operator=(OrderedMap const& other) {
    if (this != &other) *this = OrderedMap(other);
    return *this;
  }
  OrderedMap& operator=(OrderedMap&& other) noexcept {
    if (this == &other) return *this;
    OrderedMap const old(std::move(*this));
    adopt(other);
    return *this;
  }
  ~OrderedMap() { free(); }

  static decltype(auto) keyOf(Item const& item) { return KeyOf()(item); }

  std::size_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }

  /// The item under `key`, or null. Good until the map changes.
  Item const* find(Param<Key> key) const {
    Position const position = lowerPosition(key);
    return isAt(position, key) ? itemAt(position) : nullptr;
  }
  /// The same, for the owner to change all but its key. Allocates nothing, and throws nothing, when
  /// the item was stored or changed after the map was last copied.
  Item* editable(Param<Key> key) {
    Position const position = lowerPosition(key);
    return isAt(position, key) ? ownLeaf(position.leaf).items() + position.index : nullptr;
  }
  bool has(Param<Key> key) const { return find(key) != nullptr; }

  /// The first item whose key is not less than `key`.
  Iterator lowerBound(Param<Key> key) const { return Iterator(*this, lowerPosition(key)); }
  /// The first item whose key is greater than `key`.
  Iterator upperBound(Param<Key> key) const {
    return Iterator(*this, search(key, [&](Item const& item) { return !(key < keyOf(item)); }));
  }
  Iterator begin() const { return Iterator(*this, Position{}); }
  Iterator end() const { return Iterator(); }

  /// Stores the item under its key, in place of the one that was there. Returns where it lies, and
  /// whether the key is new. When this throws, the map is as it was.
  std::pair<Item*, bool> insertOrAssign(Item item);

  /// Removes the item under `key`; whether there was one. Allocates nothing unless another map
  /// holds its leaf; when that throws, the map is as it was. The item is destroyed last: its
  /// destructor may use the map.
  bool erase(Param<Key> key) { return take(key).has_value(); }
  /// Removes the item under `key` and gives it to the caller.
  std::optional<Item> take(Param<Key> key) {
    Position const position = lowerPosition(key);
    if (!isAt(position, key)) return std::nullopt;
    return std::optional<Item>(takeAt(position));
  }
  void clear() noexcept { OrderedMap const old(std::move(*this)); }

  friend void swap(OrderedMap& a, OrderedMap& b) noexcept {
    OrderedMap old(std::move(a));
    a = std::move(b);
    b = std::move(old);
  }

  friend bool operator==(OrderedMap const& a, OrderedMap const& b) {
    if (a.size_ != b.size_) return false;
    Position x;
    Position y;
    while (x.leaf < a.leafCount()) {
      if (a.itemAt(x) == b.itemAt(y)) {
        skipShared(a, x, b, y);
      } else if (*a.itemAt(x) == *b.itemAt(y)) {
        x = a.settled({x.leaf, x.index + 1});
        y = b.settled({y.leaf, y.index + 1});
      } else {
        return false;
      }
    }
    return true;
  }
  /// For two iterators that stand at one and the same item in memory: leads both past all that
  /// their maps share from there on, at the cost of the directory.
  static void skipShared(Iterator& a, Iterator& b) {
    Position x{a.leaf_, 0};
    Position y{b.leaf_, 0};
    skipShared(*a.map_, x, *b.map_, y);
    a = Iterator(*a.map_, x);
    b = Iterator(*b.map_, y);
  }

 private:
  using Leaf = detail::Leaf<Item>;
  using LeafOwner = typename Leaf::Owner;

  static_assert(std::is_nothrow_move_constructible_v<Key> &&
                std::is_nothrow_move_assignable_v<Key> && std::is_default_constructible_v<Key>);

  static constexpr std::size_t kCacheLine = 64;
  static constexpr std::size_t kLeafBytes = 3072;
  static constexpr std::size_t kLeafRoom = std::max<std::size_t>(16, Leaf::roomIn(kLeafBytes));
  static constexpr std::size_t kFar = 256;  // so many leaves outgrow the nearer caches
  static constexpr std::size_t kAhead = 8;  // leaves whose counts are fetched ahead of their use
  // A first leaf of about a cache line: most maps hold an item or a few.
  static constexpr std::size_t kFirstRoom = std::clamp<std::size_t>(Leaf::roomIn(72), 1, 4);

  /// Where an item lies, or where one would: index may be the leaf's count.
  struct Position {
    std::size_t leaf = 0;
    std::size_t index = 0;
  };

  /// The leaves when there are more than one; holds them. A null stands for one that was dropped.
  struct Directory {
    Directory() = default;
    /// Shares the leaves.
    Directory(Directory const& other) : starts(other.starts) {
      leaves.reserve(other.leaves.size());
      for (std::size_t i = 0; i < other.leaves.size(); ++i) {
        if (i + kAhead < other.leaves.size()) __builtin_prefetch(other.leaves[i + kAhead], 1);
        leaves.push_back(other.leaves[i]->share().release());
      }
    }
    Directory& operator=(Directory const&) = delete;
    ~Directory() {
      for (Leaf* const leaf : leaves) LeafOwner{leaf};
    }
    /// Drops leaves that other maps hold too, from the last one on. Stops when the others that it
    /// met hold `enough` items; returns how many they hold.
    std::size_t dropShared(std::size_t enough) noexcept {
      std::size_t items = 0;
      for (std::size_t i = leaves.size(); i > 0 && items < enough; --i) {
        if (i > kAhead) __builtin_prefetch(leaves[i - kAhead - 1], 1);
        if (leaves[i - 1]->isShared()) {
          LeafOwner{std::exchange(leaves[i - 1], nullptr)};
        } else {
          items += leaves[i - 1]->count();
        }
      }
      return items;
    }
    /// Makes sure that add() can be called once.
    void reserveOne() {
      std::size_t const size = leaves.size();
      if (leaves.capacity() == size) leaves.reserve(2 * size + 4);
      if (starts.capacity() == size) starts.reserve(2 * size + 4);
    }
    void add(std::size_t at, LeafOwner leaf, Key start) noexcept {
      auto const offset = static_cast<std::ptrdiff_t>(at);
      leaves.insert(leaves.begin() + offset, leaf.release());
      starts.insert(starts.begin() + offset, std::move(start));
    }
    LeafOwner remove(std::size_t at) noexcept {
      auto const offset = static_cast<std::ptrdiff_t>(at);
      LeafOwner leaf(leaves[at]);
      leaves.erase(leaves.begin() + offset);
      starts.erase(starts.begin() + offset);
      return leaf;
    }

    std::vector<Leaf*> leaves;
    std::vector<Key> starts;
  };

  /// What the reaper is given of a large map.
  struct Contents {
    std::unique_ptr<Directory> directory;

    bool freeSome(std::size_t count) {
      auto& leaves = directory->leaves;
      while (count > 0 && !leaves.empty()) {
        Leaf* const last = leaves.back();
        if (std::is_trivially_destructible_v<Item> || !last || last->isShared()) {
          --count;  // the leaf is all there is to free
        } else {
          std::size_t const dropped = std::min(count, last->count());
          last->dropLast(dropped);
          count -= dropped;
          if (last->count() > 0) break;
        }
        leaves.pop_back();
        LeafOwner{last};
      }
      return !leaves.empty();
    }
  };

  std::size_t leafCount() const noexcept {
    return directory_ ? directory_->leaves.size() : (only_ ? 1 : 0);
  }
  Leaf* leafAt(std::size_t i) const noexcept {
    return directory_ ? directory_->leaves[i] : only_.get();
  }
  Item* itemAt(Position position) const noexcept {
    return leafAt(position.leaf)->items() + position.index;
  }
  /// The same position, as the start of the next leaf when it is the end of one.
  Position settled(Position position) const noexcept {
    return position.index < leafAt(position.leaf)->count() ? position
                                                           : Position{position.leaf + 1, 0};
  }

  /// Fetches a leaf into the cache. In a large map leaves are far away, and their lines come faster
  /// together than one by one, as they are asked for. Inlined always, because compilers take a
  /// function that only fetches for one without effect, and drop the call.
  [[gnu::always_inline]] void prefetch(std::size_t leaf) const noexcept {
    for (std::size_t byte = 0; byte < kLeafBytes; byte += kCacheLine) {
      __builtin_prefetch(reinterpret_cast<char const*>(leafAt(leaf)) + byte);
    }
  }

  /// The number of those of `count` elements in a row for which before(i) holds; it holds for none
  /// behind one for which it does not.
  template <class Before>
  static std::size_t partition(std::size_t count, Before const& before) {
    std::size_t first = 0;
    while (count > 0) {
      std::size_t const half = count / 2;
      if (before(first + half)) {
        first += half + 1;
        count -= half + 1;
      } else {
        count = half;
      }
    }
    return first;
  }

  /// The position behind the items of which before(item) holds, in the leaf where `key` belongs.
  template <class Before>
  Position search(Param<Key> key, Before const& before) const {
    if (size_ == 0) return {};
    std::size_t leaf = 0;
    if (directory_) {
      Key const* const starts = directory_->starts.data() + 1;
      leaf = partition(directory_->starts.size() - 1,
                       [&](std::size_t i) { return !(key < starts[i]); });
    }
    if (leafCount() >= kFar) prefetch(leaf);
    Leaf const& found = *leafAt(leaf);
    return {leaf,
            partition(found.count(), [&](std::size_t i) { return before(found.items()[i]); })};
  }
  Position lowerPosition(Param<Key> key) const {
    return search(key, [&](Item const& item) { return keyOf(item) < key; });
  }
  /// Whether the item at lowerPosition(key) is the one under `key`.
  bool isAt(Position position, Param<Key> key) const {
    return size_ != 0 && position.index < leafAt(position.leaf)->count() &&
           !(key < keyOf(*itemAt(position)));
  }

  Position positionToInsert(Param<Key> key) const {
    if (size_ != 0) {
      std::size_t const last = leafCount() - 1;
      Leaf const& leaf = *leafAt(last);
      if (keyOf(leaf.end()[-1]) < key) return {last, leaf.count()};
    }
    return lowerPosition(key);
  }
  /// Leaf i, which is the map's alone from here on. Items keep their positions.
  Leaf& ownLeaf(std::size_t i) {
    Leaf& leaf = *leafAt(i);
    if (leaf.isShared()) [[unlikely]]
      return copyLeaf(i);
    return leaf;
  }
  Leaf& copyLeaf(std::size_t i);
  /// Leads two positions at one and the same item past the leaves that the maps share from there.
  static void skipShared(OrderedMap const& a, Position& x, OrderedMap const& b, Position& y) {
    std::size_t const most = std::min(a.leafCount() - x.leaf, b.leafCount() - y.leaf);
    std::size_t skipped = 1;
    while (skipped < most && a.leafAt(x.leaf + skipped) == b.leafAt(y.leaf + skipped)) ++skipped;
    x = {x.leaf + skipped, 0};
    y = {y.leaf + skipped, 0};
  }
  Position splitAt(Position position, Param<Key> key);
  Item takeAt(Position position);
  void tidy(std::size_t i) noexcept;
  void removeLeaf(std::size_t i) noexcept;

  /// Takes the other's contents. REQUIRES: this map has just been made or emptied, so that no
  /// iterator of this generation stands in it.
  void adopt(OrderedMap& other) noexcept {
    only_ = std::move(other.only_);
    directory_ = std::move(other.directory_);
    size_ = std::exchange(other.size_, 0);
    ++other.generation_;
  }
  void free() noexcept {
    if (!directory_) return;
    std::size_t const items = directory_->dropShared(detail::kReapedSize);
    detail::release(Contents{std::move(directory_)}, items);
  }

  LeafOwner only_;                        // the leaf when there is one
  std::unique_ptr<Directory> directory_;  // the leaves when there are more
  std::size_t size_ = 0;
  U64 generation_ = 0;
};

/// A position in a map that outlives every change of the map, though not the map. Whatever came or
/// went meanwhile, ++ leads to the first item whose key is greater than the one it stood at: a
/// loop may erase, insert and clear as it likes, and visits each item that is there when its turn
/// comes, none twice. To dereference it, its item must be there; it may have been replaced. An
/// iterator at the end stays there.
///
/// It copies the key at each step, which for a counted name means two atomic operations. A map that
/// knew its iterators could have them copied only when it changes, but then reading would write to
/// the map, and threads could not share it.
template <class Item, class KeyOf>
class OrderedMap<Item, KeyOf>::Iterator {
 public:
  using iterator_category = std::forward_iterator_tag;
  using value_type = Item;
  using difference_type = std::ptrdiff_t;
  using pointer = Item const*;
  using reference = Item const&;

  /// At the end.
  Iterator() = default;

  pointer operator->() const {
    if (generation_ == map_->generation_) return item_;
    Item const* const item = map_->find(key_);
    ORB_ASSERT(item != nullptr);
    return item;
  }
  reference operator*() const { return *operator->(); }
  /// The key it stands at, even when the item is gone. REQUIRES: not at the end.
  Key const& key() const noexcept { return key_; }

  Iterator& operator++() {
    if (generation_ != map_->generation_) [[unlikely]] {
      *this = map_->upperBound(key_);
    } else if (++item_ != leafEnd_) [[likely]] {
      key_ = keyOf(*item_);
    } else {
      *this = Iterator(*map_, Position{leaf_ + 1, 0});
    }
    return *this;
  }
  Iterator operator++(int) {
    Iterator before = *this;
    ++*this;
    return before;
  }

  /// Both at the end, or both at the same key.
  friend bool operator==(Iterator const& a, Iterator const& b) {
    if (!a.item_ || !b.item_) return a.item_ == b.item_;
    return !(a.key_ < b.key_) && !(b.key_ < a.key_);
  }
  friend bool operator==(Iterator const& a, std::default_sentinel_t) { return !a.item_; }

 private:
  friend OrderedMap;

  Iterator(OrderedMap const& map, Position position) {
    if (position.leaf < map.leafCount()) position = map.settled(position);
    if (position.leaf >= map.leafCount()) return;
    map_ = &map;
    generation_ = map.generation_;
    leaf_ = position.leaf;
    if (map.leafCount() >= kFar && leaf_ + 1 < map.leafCount()) map.prefetch(leaf_ + 1);
    item_ = map.itemAt(position);
    leafEnd_ = map.leafAt(leaf_)->end();
    key_ = keyOf(*item_);
  }

  OrderedMap const* map_ = nullptr;
  Item const* item_ = nullptr;  // null at the end; else good in its generation
  Item const* leafEnd_ = nullptr;
  std::size_t leaf_ = 0;
  U64 generation_ = 0;
  Key key_{};
};

template <class Item, class KeyOf>
OrderedMap<Item, KeyOf>::OrderedMap(OrderedMap const& other)
    : only_(other.only_ ? other.only_->share() : nullptr),
      directory_(other.directory_ ? std::make_unique<Directory>(*other.directory_) : nullptr),
      size_(other.size_) {}

template <class Item, class KeyOf>
auto OrderedMap<Item, KeyOf>::copyLeaf(std::size_t i) -> Leaf& {
  LeafOwner own = leafAt(i)->copy(leafAt(i)->room());
  Leaf& copied = *own;
  ++generation_;
  if (directory_) {
    LeafOwner{std::exchange(directory_->leaves[i], own.release())};
  } else {
    only_ = std::move(own);
  }
  return copied;
}

template <class Item, class KeyOf>
std::pair<Item*, bool> OrderedMap<Item, KeyOf>::insertOrAssign(Item item) {
  decltype(auto) key = keyOf(item);
  Position position = positionToInsert(key);
  if (isAt(position, key)) {
    Item* const stored = ownLeaf(position.leaf).items() + position.index;
    [[maybe_unused]] Item const old = detail::exchangeItem(*stored, std::move(item));
    return {stored, false};
  }
  if (!directory_ && (!only_ || (only_->full() && only_->room() < kLeafRoom))) {
    std::size_t const room = only_ ? std::min(2 * only_->room(), kLeafRoom) : kFirstRoom;
    bool const isShared = only_ && only_->isShared();
    LeafOwner larger = isShared ? only_->copy(room) : Leaf::make(room);
    if (only_ && !isShared) only_->moveTail(0, *larger);
    only_ = std::move(larger);
  } else if (ownLeaf(position.leaf).full()) {
    position = splitAt(position, key);
  }
  Item* const stored = leafAt(position.leaf)->insert(position.index, std::move(item));
  ++size_;
  ++generation_;
  return {stored, true};
}

/// Splits the full leaf of `position`, the map's own; returns where an item with that key belongs
/// now.
template <class Item, class KeyOf>
auto OrderedMap<Item, KeyOf>::splitAt(Position position, Param<Key> key) -> Position {
  Leaf& leaf = *leafAt(position.leaf);
  bool const atEnd = position.leaf + 1 == leafCount() && position.index == leaf.count();
  std::size_t const cut = atEnd ? leaf.count() : leaf.count() / 2;
  Key start = atEnd ? Key(key) : Key(keyOf(leaf.items()[cut]));
  LeafOwner upper = Leaf::make(kLeafRoom);
  if (directory_) {
    directory_->reserveOne();
  } else {
    auto directory = std::make_unique<Directory>();
    directory->reserveOne();
    directory->starts.emplace_back();
    directory->leaves.push_back(only_.release());
    directory_ = std::move(directory);
  }
  leaf.moveTail(cut, *upper);
  directory_->add(position.leaf + 1, std::move(upper), std::move(start));
  if (atEnd || position.index > cut) return {position.leaf + 1, position.index - cut};
  return position;
}

template <class Item, class KeyOf>
Item OrderedMap<Item, KeyOf>::takeAt(Position position) {
  Item taken = ownLeaf(position.leaf).take(position.index);
  --size_;
  ++generation_;
  tidy(position.leaf);
  return taken;
}

/// Removes leaf i, the map's own, if it is empty; joins it with a neighbour if there is little in
/// it.
template <class Item, class KeyOf>
void OrderedMap<Item, KeyOf>::tidy(std::size_t i) noexcept {
  std::size_t const count = leafAt(i)->count();
  if (count == 0) return removeLeaf(i);
  if (!directory_ || count >= kLeafRoom / 4) return;
  auto const joins = [&](std::size_t left) {
    Leaf& right = *leafAt(left + 1);
    if (leafAt(left)->isShared() || right.isShared()) return false;
    if (leafAt(left)->count() + right.count() > kLeafRoom - kLeafRoom / 4) return false;
    right.moveTail(0, *leafAt(left));
    removeLeaf(left + 1);
    return true;
  };
  if (i + 1 < leafCount() && joins(i)) return;
  if (i > 0) joins(i - 1);
}

template <class Item, class KeyOf>
void OrderedMap<Item, KeyOf>::removeLeaf(std::size_t i) noexcept {
  if (!directory_) return only_.reset();
  directory_->remove(i);
  if (directory_->leaves.size() > 1) return;
  only_.reset(directory_->leaves[0]);
  directory_->leaves.clear();
  directory_.reset();
}

}  // namespace Orb
