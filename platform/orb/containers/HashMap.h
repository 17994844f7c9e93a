#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>

#include "platform/orb/base/Error.h"
#include "platform/orb/base/Types.h"
#include "platform/orb/containers/MapItem.h"
#include "platform/orb/containers/detail/Leaf.h"
#include "platform/orb/containers/detail/Release.h"

/// A map whose items carry their keys, hashed, in the order in which the keys came.
///
/// Items lie in slots, one behind the other; an erased one leaves a dead slot. A table of slot
/// numbers, with open addressing, finds them by hash; up to kScanned slots need none. Slots and
/// table share one block of memory, which is made anew, without the dead slots, when it is full
/// or when more than half of its used slots are dead.
///
///  1. Of the block's slots the first `used` have been used; `live` of them hold an item. The slot
///     `first` holds one, and none before it does. There is no block without a live slot, but for
///     one that reserve() made.
///  2. Every used slot, live or dead, has one entry in the table; an entry is a slot number plus
///     one, 0 means none. Entries leave the table with the block only, so that probing may stop at
///     the first 0; at least a quarter of the entries are 0.
///  3. Each slot has the id of its item's arrival, dead ones too: ids ascend from slot to slot, and
///     a map never gives the same id twice. With the block's offset added they compare with what
///     iterators remember, even when a block comes from another map.
///  4. The clock rises with every arrival, which gets it as id, and with every other change of
///     place or number: it is the generation by which iterators know that something changed.
namespace Orb {

/// KeyOf is a stateless functor that gives an item's key, by value or reference; keys compare with
/// `==`; Hash gives a key's 32-bit hash, which need not be well spread in its low bits. Items need
/// no default constructor and no assignment; moving one must not throw.
///
/// Large contents (16,384 items and more) that are cleared, assigned over or destroyed go to the
/// reaper: the map is empty at once, but the items are destroyed later, by the event loop. Memory
/// is given back when the last item goes.
///
/// Any number of threads may read a map that nobody changes.
template <class Item, class KeyOf, class Hash>
class HashMap {
 public:
  using Key = KeyType<Item, KeyOf>;
  using value_type = Item;
  class Iterator;
  using iterator = Iterator;
  using const_iterator = Iterator;

  HashMap() noexcept = default;
  /// With room for so many items.
  explicit HashMap(std::size_t room) { reserve(room); }
  HashMap(HashMap const& other);
  HashMap(HashMap&& other) noexcept { adopt(other); }
  HashMap& operator=(HashMap const& other) {
    if (this != &other) *this = HashMap(other);
    return *this;
  }
  HashMap& operator=(HashMap&& other) noexcept {
    if (this == &other) return *this;
    HashMap const old(std::move(*this));
    adopt(other);
    return *this;
  }
  ~HashMap() {
    std::size_t const count = size();
    detail::release(Contents{std::move(block_)}, count);
  }

  static decltype(auto) keyOf(Item const& item) { return KeyOf()(item); }

  std::size_t size() const noexcept { return block_ ? block_->live : 0; }
  bool empty() const noexcept { return size() == 0; }
  /// Makes room for `count` items in all, until the map is empty again or mostly erased.
  void reserve(std::size_t count) {
    if (count == 0 || (block_ && block_->room - block_->used + block_->live >= count)) return;
    rebuild(count);
  }

  /// The item under `key`, or null. Good until a key comes or goes.
  Item const* find(Param<Key> key) const {
    Slot const* const slot = locate(key, Hash()(key));
    return slot ? &slot->item : nullptr;
  }
  /// For the owner, who must not change the item's key.
  Item* find(Param<Key> key) { return const_cast<Item*>(std::as_const(*this).find(key)); }
  bool has(Param<Key> key) const { return find(key) != nullptr; }

  /// In the order in which the keys came; a key that was erased and came again came anew.
  Iterator begin() const { return block_ ? Iterator(*this, block_->first) : Iterator(); }
  Iterator end() const { return Iterator(); }

  /// Stores the item under its key, in place of the one that was there. Returns where it lies, and
  /// whether the key is new. When this throws, the map is as it was.
  std::pair<Item*, bool> insertOrAssign(Item item);

  /// Removes the item under `key`; whether there was one. The item is destroyed last: its
  /// destructor may use the map.
  bool erase(Param<Key> key) { return take(key).has_value(); }
  /// Removes the item under `key` and gives it to the caller.
  std::optional<Item> take(Param<Key> key);
  void clear() noexcept { HashMap const old(std::move(*this)); }

  friend void swap(HashMap& a, HashMap& b) noexcept {
    HashMap old(std::move(a));
    a = std::move(b);
    b = std::move(old);
  }

  /// The same items, in whatever order.
  friend bool operator==(HashMap const& a, HashMap const& b) {
    if (a.size() != b.size()) return false;
    if (a.empty()) return true;
    Slot const* const slots = a.block_->slots();
    return std::all_of(slots, slots + a.block_->used, [&](Slot const& slot) {
      if (!slot.live) return true;
      Slot const* const other = b.locate(keyOf(slot.item), slot.hash);
      return other && slot.item == other->item;
    });
  }

 private:
  static constexpr std::size_t kFirstRoom = 4;
  static constexpr std::size_t kScanned = 8;
  static constexpr std::size_t kMostRoom = std::size_t{1} << 31;

  struct Slot {
    Slot(U64 newId, U32 newHash) noexcept : id(newId), hash(newHash) {}
    // NOLINTNEXTLINE(modernize-use-equals-default): that would delete it where Item has one
    ~Slot() {}

    U64 id;
    U32 hash;
    bool live = false;
    union {
      Item item;  // when live
    };
  };
  static_assert(alignof(Slot) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__);
  static_assert(std::is_nothrow_move_constructible_v<Item>);

  /// The header of the block; behind it lie the slots, and behind those the table.
  struct alignas(Slot) Block {
    struct Free {
      void operator()(Block* block) const noexcept {
        block->dropSome(block->live);
        ::operator delete(block);
      }
    };
    using Owner = std::unique_ptr<Block, Free>;

    static Owner make(std::size_t room);

    Slot* slots() noexcept { return reinterpret_cast<Slot*>(this + 1); }
    U32* table() noexcept { return reinterpret_cast<U32*>(slots() + room); }
    bool hasTable() const noexcept { return tableBits != 0; }
    /// Where in the table the search for a hash begins. The multiplication brings all bits of the
    /// hash into the highest ones.
    std::size_t entryOf(U32 hash) const noexcept {
      return (hash * U32{0x9E3779B1}) >> (32 - tableBits);
    }
    std::size_t entryAfter(std::size_t entry) const noexcept {
      return (entry + 1) & ((std::size_t{1} << tableBits) - 1);
    }
    /// The number of used slots whose ids are less than an iterator's `id`.
    std::size_t before(U64 id) noexcept {
      Slot* const all = slots();
      return static_cast<std::size_t>(
          std::partition_point(all, all + used,
                               [&](Slot const& slot) { return slot.id + offset < id; }) -
          all);
    }
    /// Uses the next slot. REQUIRES: there is one.
    template <class Arg>
    Slot& add(U64 id, U32 hash, Arg&& item) {
      Slot& slot = *::new (slots() + used) Slot(id, hash);
      std::construct_at(&slot.item, std::forward<Arg>(item));
      slot.live = true;
      ++live;
      ++used;
      if (hasTable()) {
        std::size_t entry = entryOf(hash);
        while (table()[entry] != 0) entry = entryAfter(entry);
        table()[entry] = used;
      }
      return slot;
    }
    Item take(Slot& slot) noexcept {
      Item taken(std::move(slot.item));
      std::destroy_at(&slot.item);
      slot.live = false;
      --live;
      skipDead();
      return taken;
    }
    void skipDead() noexcept {
      while (first < used && !slots()[first].live) ++first;
    }
    /// Destroys the first `count` items; their slots are dead from then on.
    void dropSome(std::size_t count) noexcept {
      if (std::is_trivially_destructible_v<Item>) return;
      for (; count > 0; --count) {
        Slot& slot = slots()[first];
        std::destroy_at(&slot.item);
        slot.live = false;
        --live;
        skipDead();
      }
    }

    U64 offset;
    U32 room;
    U32 used = 0;
    U32 live = 0;
    U32 first = 0;
    U32 tableBits;  // the table has 2^tableBits entries; 0 without one
  };
  using BlockOwner = typename Block::Owner;

  /// What the reaper is given of a large map.
  struct Contents {
    BlockOwner block;

    bool freeSome(std::size_t count) {
      block->dropSome(std::min<std::size_t>(count, block->live));
      if (std::is_trivially_destructible_v<Item> || block->live == 0) block.reset();
      return block != nullptr;
    }
  };

  Slot* locate(Param<Key> key, U32 hash) const;
  void rebuild(std::size_t room);

  /// Takes the other's contents: to the iterators of this map they all come anew. REQUIRES: this
  /// map is empty.
  void adopt(HashMap& other) noexcept {
    block_ = std::move(other.block_);
    if (block_) block_->offset += clock_;
    clock_ += other.clock_ + 1;
    ++other.clock_;
  }

  BlockOwner block_;
  U64 clock_ = 0;
};

/// A place in a map that outlives every change of the map, though not the map. Whatever came or
/// went meanwhile, ++ leads to the first item that came after the one it stood at: a loop may
/// erase, insert and clear as it likes, and visits each item that is there when its turn comes,
/// none twice, and what it inserts as well. Contents that were assigned or swapped in came anew.
/// To dereference it, its item must be there; it may have been replaced. An iterator at the end
/// stays there.
template <class Item, class KeyOf, class Hash>
class HashMap<Item, KeyOf, Hash>::Iterator {
 public:
  using iterator_category = std::forward_iterator_tag;
  using value_type = Item;
  using difference_type = std::ptrdiff_t;
  using pointer = Item const*;
  using reference = Item const&;

  /// At the end.
  Iterator() = default;

  pointer operator->() const {
    if (generation_ == map_->clock_) return &slot_->item;
    Iterator const found(*map_, map_->block_ ? map_->block_->before(id_) : 0);
    ORB_ASSERT(found.slot_ && found.id_ == id_);
    return &found.slot_->item;
  }
  reference operator*() const { return *operator->(); }

  Iterator& operator++() {
    if (generation_ != map_->clock_) [[unlikely]] {
      *this = Iterator(*map_, map_->block_ ? map_->block_->before(id_ + 1) : 0);
    } else {
      ++slot_;
      stand();
    }
    return *this;
  }
  Iterator operator++(int) {
    Iterator const before = *this;
    ++*this;
    return before;
  }

  /// Both at the end, or both at the same item.
  friend bool operator==(Iterator const& a, Iterator const& b) {
    return a.slot_ && b.slot_ ? a.id_ == b.id_ : a.slot_ == b.slot_;
  }
  friend bool operator==(Iterator const& a, std::default_sentinel_t) { return !a.slot_; }

 private:
  friend HashMap;

  /// At the first item from that slot on.
  Iterator(HashMap const& map, std::size_t slot) {
    if (!map.block_) return;
    map_ = &map;
    generation_ = map.clock_;
    slot_ = map.block_->slots() + slot;
    slotEnd_ = map.block_->slots() + map.block_->used;
    stand();
  }
  void stand() {
    while (slot_ != slotEnd_ && !slot_->live) ++slot_;
    if (slot_ != slotEnd_) {
      id_ = slot_->id + map_->block_->offset;
    } else {
      slot_ = nullptr;
    }
  }

  HashMap const* map_ = nullptr;
  Slot const* slot_ = nullptr;  // null at the end; else good in its generation
  Slot const* slotEnd_ = nullptr;
  U64 id_ = 0;
  U64 generation_ = 0;
};

template <class Item, class KeyOf, class Hash>
auto HashMap<Item, KeyOf, Hash>::Block::make(std::size_t room) -> Owner {
  ORB_ASSERT(room <= kMostRoom);
  std::size_t const entries = room <= kScanned ? 0 : std::bit_ceil(room + room / 3 + 1);
  std::size_t const bytes = sizeof(Block) + room * sizeof(Slot) + entries * sizeof(U32);
  Owner block(::new (::operator new(bytes)) Block{});
  block->offset = 0;
  block->room = static_cast<U32>(room);
  block->tableBits = entries == 0 ? 0 : static_cast<U32>(std::countr_zero(entries));
  std::fill_n(block->table(), entries, U32{0});
  return block;
}

template <class Item, class KeyOf, class Hash>
HashMap<Item, KeyOf, Hash>::HashMap(HashMap const& other) {
  if (other.empty()) return;
  block_ = Block::make(other.size());
  for (std::size_t i = other.block_->first; i < other.block_->used; ++i) {
    Slot const& slot = other.block_->slots()[i];
    if (slot.live) block_->add(++clock_, slot.hash, slot.item);
  }
}

template <class Item, class KeyOf, class Hash>
auto HashMap<Item, KeyOf, Hash>::locate(Param<Key> key, U32 hash) const -> Slot* {
  if (!block_) return nullptr;
  auto const holds = [&](Slot const& slot) {
    return slot.live && slot.hash == hash && keyOf(slot.item) == key;
  };
  Slot* const slots = block_->slots();
  if (block_->hasTable()) {
    U32 const* const table = block_->table();
    std::size_t entry = block_->entryOf(hash);
    for (; table[entry] != 0; entry = block_->entryAfter(entry)) {
      Slot* const slot = slots + (table[entry] - 1);
      if (holds(*slot)) return slot;
    }
    return nullptr;
  }
  Slot* const end = slots + block_->used;
  Slot* const found = std::find_if(slots + block_->first, end, holds);
  return found != end ? found : nullptr;
}

/// Moves the items to a new block, leaving the dead slots behind. REQUIRES: room >= size().
template <class Item, class KeyOf, class Hash>
void HashMap<Item, KeyOf, Hash>::rebuild(std::size_t room) {
  BlockOwner fresh = Block::make(room);
  if (block_) {
    fresh->offset = block_->offset;
    while (block_->live > 0) {
      Slot& slot = block_->slots()[block_->first];
      U64 const id = slot.id;
      fresh->add(id, slot.hash, block_->take(slot));
    }
  }
  block_ = std::move(fresh);
  ++clock_;
}

template <class Item, class KeyOf, class Hash>
std::pair<Item*, bool> HashMap<Item, KeyOf, Hash>::insertOrAssign(Item item) {
  U32 const hash = Hash()(keyOf(item));
  if (Slot* const slot = locate(keyOf(item), hash)) {
    [[maybe_unused]] Item const old = detail::exchangeItem(slot->item, std::move(item));
    return {&slot->item, false};
  }
  if (!block_) {
    rebuild(kFirstRoom);
  } else if (block_->used == block_->room) {
    std::size_t const room = block_->room;
    rebuild(block_->live > room / 2 ? 2 * room : room);
  }
  ++clock_;
  return {&block_->add(clock_ - block_->offset, hash, std::move(item)).item, true};
}

template <class Item, class KeyOf, class Hash>
std::optional<Item> HashMap<Item, KeyOf, Hash>::take(Param<Key> key) {
  Slot* const slot = locate(key, Hash()(key));
  if (!slot) return std::nullopt;
  std::optional<Item> taken(block_->take(*slot));
  ++clock_;
  std::size_t const live = block_->live;
  if (live == 0) {
    block_.reset();
  } else if (block_->used > kScanned && live < block_->used / 2) {
    try {
      rebuild(live < block_->room / 4 ? std::max(kFirstRoom, 2 * live) : block_->room);
    } catch (std::bad_alloc const&) {
      // The dead slots stay: they cost time, no more. The next erasure tries again.
    }
  }
  return taken;
}

}  // namespace Orb
