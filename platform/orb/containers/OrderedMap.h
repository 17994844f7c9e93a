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

/// A map whose items carry their keys, in the order of the keys: a sorted array of three levels.
///
/// Items lie in leaves, sorted. Leaves lie in pages, each beside the key at which it starts, and so
/// do the pages in the directory: a search goes through the starts of a page and of the directory,
/// and then touches one leaf. A map that fits in one leaf has neither, and its leaf grows with it.
///
///  1. Keys ascend strictly within a leaf, and from leaf to leaf.
///  2. With a directory there are at least two leaves; no leaf and no page is empty, and all have
///     room for as much as such a one may hold.
///  3. Every key in a leaf (a page) is >= its start, and every key in front of the leaf (the page)
///     is less. The start of the first leaf of a page means nothing, nor does that of the first
///     page; the others need not be keys that are there still.
///  4. An erasure that leaves a leaf or a page below a quarter of its room joins it with a
///     neighbour, a leaf with one of the same page, if the two leave a quarter free: it then takes
///     many changes to split or join it again.
///  5. The generation rises whenever an item changes its place or a key comes or goes.
///  6. A leaf or a page that other maps hold too is not changed, nor joined, and what such a page
///     holds counts as held by them. Who changes an item, or has one come or go, copies its page
///     and its leaf first where they are shared (own()), and works on what is the map's alone after
///     that.
///
/// A full leaf or page is split in the middle, but the last one at its end, if that is where the
/// new item belongs: filling a map in the order of its keys leaves full leaves behind.
///
/// Copies of a map share its pages, and through them its leaves: a copy costs the directory, a
/// change of the copy a page and a leaf, and a comparison skips what both hold. So a list of a
/// million entries is copied, changed in one place and compared with what it was within a small
/// part of a millisecond; and where each change of a map makes a new version of it, for readers
/// that hold the old ones, a change costs hardly more in a large map than in a small one. The
/// counts of holders are atomic as references are: maps that share leaves may be used by different
/// threads.
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
    return isAt(position, key) ? own(position).items() + position.index : nullptr;
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

  /// Removes the item under `key`; whether there was one. Allocates nothing unless its leaf is
  /// held elsewhere, by another map or as garbage; when that throws, the map is as it was. The item
  /// is destroyed last: its destructor may use the map.
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
    while (!a.isEnd(x)) {
      if (a.itemAt(x) == b.itemAt(y)) {
        skipShared(a, x, b, y);
      } else if (*a.itemAt(x) == *b.itemAt(y)) {
        x = a.next(x);
        y = b.next(y);
      } else {
        return false;
      }
    }
    return true;
  }
  /// For two iterators that stand at one and the same item in memory: leads both past all that
  /// their maps share from there on, at the cost of the directory.
  static void skipShared(Iterator& a, Iterator& b) {
    Position x = a.leaf_;
    Position y = b.leaf_;
    skipShared(*a.map_, x, *b.map_, y);
    a = Iterator(*a.map_, x);
    b = Iterator(*b.map_, y);
  }

 private:
  using Leaf = detail::Leaf<Item>;
  using LeafOwner = typename Leaf::Owner;

  static_assert(std::is_nothrow_move_constructible_v<Key> &&
                std::is_nothrow_move_assignable_v<Key> && std::is_default_constructible_v<Key>);

  /// A leaf in its page, or a page in the directory.
  template <class Node>
  struct Slot {
    Key start;
    typename Node::Owner node;
  };
  using Page = detail::Leaf<Slot<Leaf>>;
  using PageOwner = typename Page::Owner;
  using Directory = std::vector<Slot<Page>>;

  static constexpr std::size_t kCacheLine = 64;
  // A leaf whose items are counted or own something is slower to copy, one by one.
  static constexpr std::size_t kLeafBytes = std::is_trivially_copyable_v<Item> ? 3072 : 768;
  static constexpr std::size_t kLeafRoom = std::max<std::size_t>(16, Leaf::roomIn(kLeafBytes));
  static constexpr std::size_t kPageRoom = 64;
  static constexpr std::size_t kFar = 4;  // the leaves of so many pages outgrow the nearer caches
  // A first leaf of about a cache line: most maps hold an item or a few.
  static constexpr std::size_t kFirstRoom = std::clamp<std::size_t>(Leaf::roomIn(72), 1, 4);

  /// Where an item lies, or where one would: index may be the leaf's count. Without a directory all
  /// is in leaf 0 of page 0.
  struct Position {
    std::size_t page = 0;
    std::size_t leaf = 0;
    std::size_t index = 0;
  };

  /// What the reaper is given of a large map.
  struct Contents {
    std::unique_ptr<Directory> directory;

    bool freeSome(std::size_t count) {
      for (; count > 0 && !directory->empty(); --count) {
        Page& page = *directory->back().node;
        if (page.isShared() || page.count() == 0) {
          directory->pop_back();
          continue;
        }
        Leaf& leaf = *page.items()[page.count() - 1].node;
        if (!std::is_trivially_destructible_v<Item> && !leaf.isShared()) {
          std::size_t const dropped = std::min(count, leaf.count());
          leaf.dropLast(dropped);
          count -= dropped - 1;
          if (leaf.count() > 0) continue;
        }
        page.dropLast(1);
      }
      return !directory->empty();
    }
  };
  /// How many items no other map holds; counts no further than to `enough`.
  static std::size_t ownItems(Directory const& directory, std::size_t enough) noexcept {
    std::size_t items = 0;
    for (auto page = directory.rbegin(); page != directory.rend() && items < enough; ++page) {
      if (page->node->isShared()) continue;
      for (Slot<Leaf> const& slot : *page->node) {
        if (!slot.node->isShared()) items += slot.node->count();
      }
    }
    return items;
  }

  std::size_t pageCount() const noexcept { return directory_ ? directory_->size() : only_ ? 1 : 0; }
  bool isEnd(Position position) const noexcept { return position.page >= pageCount(); }
  bool isFar() const noexcept { return directory_ && directory_->size() >= kFar; }
  Page& pageAt(Position position) const noexcept { return *(*directory_)[position.page].node; }
  Leaf* leafAt(Position position) const noexcept {
    return directory_ ? pageAt(position).items()[position.leaf].node.get() : only_.get();
  }
  Item* itemAt(Position position) const noexcept {
    return leafAt(position)->items() + position.index;
  }
  /// The start of the next leaf.
  Position nextLeaf(Position position) const noexcept {
    bool const isLast = !directory_ || position.leaf + 1 == pageAt(position).count();
    return isLast ? Position{position.page + 1, 0, 0}
                  : Position{position.page, position.leaf + 1, 0};
  }
  /// The same position, as the start of the next leaf when it is the end of one.
  Position settled(Position position) const noexcept {
    return position.index < leafAt(position)->count() ? position : nextLeaf(position);
  }
  Position next(Position position) const noexcept {
    ++position.index;
    return settled(position);
  }

  /// Fetches a leaf into the cache. In a large map leaves are far away, and their lines come faster
  /// together than one by one, as they are asked for. Inlined always, because compilers take a
  /// function that only fetches for one without effect, and drop the call.
  [[gnu::always_inline]] static void prefetch(Leaf const* leaf) noexcept {
    for (std::size_t byte = 0; byte < kLeafBytes; byte += kCacheLine) {
      __builtin_prefetch(reinterpret_cast<char const*>(leaf) + byte);
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
  /// The last of the slots, behind the first, whose start is not greater than `key`; else the
  /// first.
  template <class Node>
  static std::size_t slotOf(Param<Key> key, Slot<Node> const* slots, std::size_t count) {
    return partition(count - 1, [&](std::size_t i) { return !(key < slots[i + 1].start); });
  }

  /// The position behind the items of which before(item) holds, in the leaf where `key` belongs.
  template <class Before>
  Position search(Param<Key> key, Before const& before) const {
    if (size_ == 0) return {};
    Position found;
    if (directory_) {
      found.page = slotOf(key, directory_->data(), directory_->size());
      found.leaf = slotOf(key, pageAt(found).items(), pageAt(found).count());
    }
    Leaf const& leaf = *leafAt(found);
    if (isFar()) prefetch(&leaf);
    found.index = partition(leaf.count(), [&](std::size_t i) { return before(leaf.items()[i]); });
    return found;
  }
  Position lowerPosition(Param<Key> key) const {
    return search(key, [&](Item const& item) { return keyOf(item) < key; });
  }
  /// Whether the item at lowerPosition(key) is the one under `key`.
  bool isAt(Position position, Param<Key> key) const {
    return size_ != 0 && position.index < leafAt(position)->count() &&
           !(key < keyOf(*itemAt(position)));
  }

  Position positionToInsert(Param<Key> key) const {
    if (size_ != 0) {
      Position last;
      last.page = pageCount() - 1;
      if (directory_) last.leaf = pageAt(last).count() - 1;
      last.index = leafAt(last)->count();
      if (keyOf(leafAt(last)->end()[-1]) < key) return last;
    }
    return lowerPosition(key);
  }
  /// The leaf of a position, which is the map's alone from here on, as is its page. Items keep
  /// their positions.
  Leaf& own(Position position) {
    if (directory_) (*directory_)[position.page].node.own();
    LeafOwner& leaf = directory_ ? pageAt(position).items()[position.leaf].node : only_;
    if (leaf.own()) ++generation_;
    return *leaf;
  }
  /// Leads two positions at one and the same item past all that the maps share from there on.
  static void skipShared(OrderedMap const& a, Position& x, OrderedMap const& b, Position& y) {
    do {
      x = a.nextLeaf(x);
      y = b.nextLeaf(y);
      if (a.isEnd(x) || b.isEnd(y)) return;
      if (!a.directory_ || !b.directory_) continue;
      while (x.leaf == 0 && y.leaf == 0 && &a.pageAt(x) == &b.pageAt(y)) {
        ++x.page;
        ++y.page;
        if (a.isEnd(x) || b.isEnd(y)) return;
      }
    } while (a.leafAt(x) == b.leafAt(y));
  }
  Position splitAt(Position position, Param<Key> key);
  Position splitPage(Position position);
  Item takeAt(Position position);
  void tidy(Position position) noexcept;
  void tidyPage(std::size_t at) noexcept;

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
    std::size_t const items = ownItems(*directory_, detail::kReapedSize);
    detail::release(Contents{std::move(directory_)}, items);
  }

  LeafOwner only_;                        // the leaf when there is one
  std::unique_ptr<Directory> directory_;  // the pages when there are more leaves
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
      *this = Iterator(*map_, map_->nextLeaf(leaf_));
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
    if (!map.isEnd(position)) position = map.settled(position);
    if (map.isEnd(position)) return;
    map_ = &map;
    generation_ = map.generation_;
    leaf_ = position;
    if (map.isFar()) {
      Position const ahead = map.nextLeaf(position);
      if (!map.isEnd(ahead)) prefetch(map.leafAt(ahead));
    }
    item_ = map.itemAt(position);
    leafEnd_ = map.leafAt(position)->end();
    key_ = keyOf(*item_);
  }

  OrderedMap const* map_ = nullptr;
  Item const* item_ = nullptr;  // null at the end; else good in its generation
  Item const* leafEnd_ = nullptr;
  Position leaf_;  // the leaf's; the index means nothing
  U64 generation_ = 0;
  Key key_{};
};

template <class Item, class KeyOf>
OrderedMap<Item, KeyOf>::OrderedMap(OrderedMap const& other)
    : only_(other.only_),
      directory_(other.directory_ ? std::make_unique<Directory>(*other.directory_) : nullptr),
      size_(other.size_) {}

template <class Item, class KeyOf>
std::pair<Item*, bool> OrderedMap<Item, KeyOf>::insertOrAssign(Item item) {
  decltype(auto) key = keyOf(item);
  Position position = positionToInsert(key);
  if (isAt(position, key)) {
    Item* const stored = own(position).items() + position.index;
    [[maybe_unused]] Item const old = detail::exchangeItem(*stored, std::move(item));
    return {stored, false};
  }
  if (!directory_ && (!only_ || (only_->full() && only_->room() < kLeafRoom))) {
    std::size_t const room = only_ ? std::min(2 * only_->room(), kLeafRoom) : kFirstRoom;
    bool const isShared = only_ && only_->isShared();
    LeafOwner larger = isShared ? only_->copy(room) : Leaf::make(room);
    if (only_ && !isShared) only_->moveTail(0, *larger);
    only_ = std::move(larger);
  } else if (own(position).full()) {
    position = splitAt(position, key);
  }
  Item* const stored = leafAt(position)->insert(position.index, std::move(item));
  ++size_;
  ++generation_;
  return {stored, true};
}

/// Splits the full leaf of `position`, the map's own; returns where an item with that key belongs
/// now. All that needs memory comes first.
template <class Item, class KeyOf>
auto OrderedMap<Item, KeyOf>::splitAt(Position position, Param<Key> key) -> Position {
  Leaf& leaf = *leafAt(position);
  bool const atEnd = position.index == leaf.count() && isEnd(nextLeaf(position));
  std::size_t const cut = atEnd ? leaf.count() : leaf.count() / 2;
  Key start = atEnd ? Key(key) : Key(keyOf(leaf.items()[cut]));
  LeafOwner upper = Leaf::make(kLeafRoom);
  if (!directory_) {
    auto directory = std::make_unique<Directory>();
    directory->push_back({Key(), Page::make(kPageRoom)});
    directory->front().node->insert(0, {Key(), std::move(only_)});
    directory_ = std::move(directory);
  }
  if (pageAt(position).full()) position = splitPage(position);
  leaf.moveTail(cut, *upper);
  pageAt(position).insert(position.leaf + 1, {std::move(start), std::move(upper)});
  if (atEnd || position.index > cut)
    return {position.page, position.leaf + 1, position.index - cut};
  return position;
}

/// Splits the full page of `position`, the map's own; returns where that leaf is now, so that one
/// can be put behind it. The last leaf of the last page goes to the new page alone.
template <class Item, class KeyOf>
auto OrderedMap<Item, KeyOf>::splitPage(Position position) -> Position {
  Page& page = pageAt(position);
  bool const atEnd = position.page + 1 == pageCount() && position.leaf + 1 == page.count();
  std::size_t const cut = atEnd ? position.leaf : page.count() / 2;
  PageOwner upper = Page::make(kPageRoom);
  if (directory_->capacity() == directory_->size()) directory_->reserve(2 * directory_->size());
  Slot<Page> slot{page.items()[cut].start, std::move(upper)};
  page.moveTail(cut, *slot.node);
  directory_->insert(directory_->begin() + static_cast<std::ptrdiff_t>(position.page) + 1,
                     std::move(slot));
  if (position.leaf < cut) return position;
  return {position.page + 1, position.leaf - cut, position.index};
}

template <class Item, class KeyOf>
Item OrderedMap<Item, KeyOf>::takeAt(Position position) {
  Item taken = own(position).take(position.index);
  --size_;
  ++generation_;
  tidy(position);
  return taken;
}

/// Removes the leaf of a position, the map's own, if it is empty; joins it with a neighbour if
/// there is little in it.
template <class Item, class KeyOf>
void OrderedMap<Item, KeyOf>::tidy(Position position) noexcept {
  std::size_t const count = leafAt(position)->count();
  if (!directory_) {
    if (count == 0) only_ = LeafOwner();
    return;
  }
  if (count >= kLeafRoom / 4) return;
  Page& page = pageAt(position);
  auto const joins = [&](std::size_t left) {
    if (left + 1 >= page.count()) return false;
    Leaf& lower = *page.items()[left].node;
    Leaf& upper = *page.items()[left + 1].node;
    if (lower.isShared() || upper.isShared()) return false;
    if (lower.count() + upper.count() > kLeafRoom - kLeafRoom / 4) return false;
    upper.moveTail(0, lower);
    page.take(left + 1);
    return true;
  };
  if (count == 0) {
    page.take(position.leaf);
  } else if (!joins(position.leaf) && (position.leaf == 0 || !joins(position.leaf - 1))) {
    return;
  }
  tidyPage(position.page);
}

/// The same for a page that has lost a leaf. Ends the directory when one leaf is left.
template <class Item, class KeyOf>
void OrderedMap<Item, KeyOf>::tidyPage(std::size_t at) noexcept {
  Directory& pages = *directory_;
  auto const remove = [&](std::size_t page) {
    pages.erase(pages.begin() + static_cast<std::ptrdiff_t>(page));
  };
  auto const joins = [&](std::size_t left) {
    if (left + 1 >= pages.size()) return false;
    Page& lower = *pages[left].node;
    Page& upper = *pages[left + 1].node;
    if (lower.isShared() || upper.isShared()) return false;
    if (lower.count() + upper.count() > kPageRoom - kPageRoom / 4) return false;
    upper.items()[0].start = std::move(pages[left + 1].start);
    upper.moveTail(0, lower);
    remove(left + 1);
    return true;
  };
  std::size_t const count = pages[at].node->count();
  if (count == 0) {
    remove(at);
  } else if (count < kPageRoom / 4 && !joins(at) && at > 0) {
    joins(at - 1);
  }
  Page& first = *pages.front().node;
  if (pages.size() > 1 || first.count() > 1) return;
  only_ = first.isShared() ? first.items()[0].node : std::move(first.items()[0].node);
  directory_.reset();
}

}  // namespace Orb
