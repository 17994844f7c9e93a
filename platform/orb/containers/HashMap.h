#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "platform/orb/base/Error.h"
#include "platform/orb/base/Types.h"
#include "platform/orb/containers/MapItem.h"
#include "platform/orb/containers/detail/Leaf.h"
#include "platform/orb/containers/detail/ManySlots.h"
#include "platform/orb/containers/detail/Release.h"
#include "platform/orb/containers/detail/SlotRun.h"

/// A map whose items carry their keys, hashed, in the order in which the keys came.
///
/// Items are stored in slots, in the order of their arrival; an erased one leaves a dead slot. The
/// slots whose tags, made of the hash, lead to one bucket are linked into a chain; up to kScanned
/// slots need no buckets.
///
/// A small map has its slots and buckets in one block of memory, which is made anew, without the
/// dead slots, when it is full or when more than half of its used slots are dead. In a large one
/// that would take long at once: it has runs of slots and segments of buckets instead, of which it
/// makes, splits and joins one at a time, and each change costs about as much as any other
/// (detail/ManySlots.h). Nothing of it is a large block of memory, which takes long to get, to fill
/// and to give back.
///
///  1. `live` slots hold an item. There is nothing on the heap without a live slot.
///  2. Every live slot is in the chain of its bucket, no dead one is.
///  3. Each slot has the id of its item's arrival, dead ones too: ids ascend from slot to slot, and
///     a map never gives the same id twice. With the body's offset added they compare with what
///     iterators remember, even when the body comes from another map.
///  4. The clock rises with every arrival, which gets it as id, and with every other change of
///     place or number: it is the generation by which iterators know that something changed.
///  5. A lookup changes nothing: what a large map puts off is done by later changes alone.
namespace Orb {

/// KeyOf is a stateless functor that gives an item's key, by value or reference; keys compare with
/// `==`; Hash gives a key's 32-bit hash, which need not be well spread in its low bits. Items need
/// no default constructor and no assignment; moving one must not throw.
///
/// Large contents (16,384 items and more) that are cleared, assigned over or destroyed go to the
/// reaper: the map is empty at once, but the items are destroyed later, by the event loop. Memory
/// is given back as items go, and all of it when the last one does.
///
/// Any number of threads may read a map while no thread changes it.
template <class Item, class KeyOf, class Hash>
class HashMap {
 public:
  using Key = KeyType<Item, KeyOf>;
  using value_type = Item;
  class Iterator;
  using iterator = Iterator;
  using const_iterator = Iterator;

  HashMap() noexcept = default;
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
    detail::release(Contents{std::move(body_)}, count);
  }

  static decltype(auto) keyOf(Item const& item) { return KeyOf()(item); }

  std::size_t size() const noexcept { return body_ ? body_->live : 0; }
  bool empty() const noexcept { return size() == 0; }

  /// The item under `key`, or null. Good until a key comes or goes.
  Item const* find(Param<Key> key) const {
    Slot const* const slot = locate(key, tagOf(key)).slot;
    return slot ? &slot->item : nullptr;
  }
  /// The same, for the owner to change all but its key.
  Item* editable(Param<Key> key) { return const_cast<Item*>(std::as_const(*this).find(key)); }
  bool has(Param<Key> key) const { return find(key) != nullptr; }

  /// In the order in which the keys came; a key that was erased and came again came anew.
  Iterator begin() const { return body_ ? Iterator(*this, 0, run(0)->first) : Iterator(); }
  Iterator end() const { return Iterator(); }

  /// Stores the item under its key, in place of the one that was there. Returns where it is stored,
  /// and whether the key is new. When this throws, the map is as it was.
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
    return a.everyLive([&](Run const&, Slot const& slot) {
      Slot const* const other = b.locate(keyOf(slot.item), slot.tag).slot;
      return other && slot.item == other->item;
    });
  }

 private:
  using Slot = detail::Slot<Item>;
  using SlotLink = detail::SlotLink;
  using Body = detail::SlotBody;
  using Run = detail::SlotRun<Item>;
  using Many = detail::ManySlots<Item>;

  static constexpr U32 kFirstRoom = 4;
  static constexpr U32 kScanned = 8;
  /// The most slots of a small map: what it takes to move so many is no more than a part of a turn.
  static constexpr U32 kMostRoom = static_cast<U32>(std::clamp(
      std::bit_floor((std::size_t{1} << 17) / sizeof(Slot)), std::size_t{64}, std::size_t{4096}));

  struct FreeBody {
    void operator()(Body* body) const noexcept {
      if (body->isMany()) {
        delete static_cast<Many*>(body);
      } else {
        typename Run::Free()(static_cast<Run*>(body));
      }
    }
  };
  using BodyOwner = std::unique_ptr<Body, FreeBody>;

  /// What the reaper is given of a large map.
  struct Contents {
    BodyOwner body;
    bool freeSome(std::size_t count) { return static_cast<Many&>(*body).freeSome(count); }
  };

  /// A slot, and what refers to it in its chain: null where there are no buckets.
  struct Found {
    Slot* slot = nullptr;
    SlotLink* link = nullptr;
  };

  /// The multiplication brings all bits of the hash into the highest ones of the tag.
  static U32 tagOf(Param<Key> key) { return Hash()(key) * U32{0x9E3779B1}; }

  Many& many() const noexcept { return static_cast<Many&>(*body_); }
  Run* run(std::size_t i) const noexcept {
    return body_->isMany() ? many().run(i) : static_cast<Run*>(body_.get());
  }

  std::size_t runCount() const noexcept {
    return !body_ ? 0 : body_->isMany() ? many().runCount() : 1;
  }
  /// Whether `holds` for each live slot, in their order.
  template <class Holds>
  bool everyLive(Holds const& holds) const {
    for (std::size_t i = 0; i < runCount(); ++i) {
      Run& slots = *run(i);
      for (Slot* slot = slots.slots(); slot != slots.end(); ++slot) {
        if (slot->live() && !holds(slots, *slot)) return false;
      }
    }
    return true;
  }

  Found locate(Param<Key> key, U32 tag) const;
  template <class Chains>
  static Found search(Chains& chains, Param<Key> key, U32 tag);
  static typename Run::Owner makeRun(U32 room) {
    return Run::make(room, room <= kScanned ? 0 : static_cast<U32>(std::bit_width(room - 1)));
  }
  void makeRoom();
  template <class Fresh>
  void moveTo(Fresh fresh) noexcept;
  void shrink() noexcept;

  /// Takes the other's contents: to the iterators of this map they all come anew. REQUIRES: this
  /// map is empty.
  void adopt(HashMap& other) noexcept {
    body_ = std::move(other.body_);
    ++other.clock_;
    ++clock_;
    if (!body_) return;
    // The first item gets the next id. The clock goes on from the last, not from the other's: maps
    // that exchange their contents for ever would double their clocks each time.
    U64 const first = run(0)->slots()->id;
    U64 const last = run(runCount() - 1)->end()[-1].id;
    body_->offset = clock_ - first;
    clock_ += last - first + 1;
  }

  BodyOwner body_;
  U64 clock_ = 0;
};

/// A position in a map that outlives every change of the map, though not the map. Whatever came or
/// went meanwhile, ++ leads to the first item that came after the one it was at: a loop may erase,
/// insert and clear as it likes, and visits each item that is there when its turn comes, none
/// twice, and what it inserts as well. Contents that were assigned or swapped in came anew. To
/// dereference it, its item must be there; it may have been replaced. An iterator at the end stays
/// there.
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
    Iterator const found(*map_, id_);
    ORB_ASSERT(found.slot_ && found.id_ == id_);
    return &found.slot_->item;
  }
  reference operator*() const { return *operator->(); }

  Iterator& operator++() {
    if (generation_ != map_->clock_) [[unlikely]] {
      *this = Iterator(*map_, id_ + 1);
    } else if (++slot_ != slotEnd_ && slot_->live()) [[likely]] {
      id_ = slot_->id + map_->body_->offset;
    } else {
      settle();
    }
    return *this;
  }
  Iterator operator++(int) {
    Iterator before = *this;
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

  /// At the first item from that slot of that run on. REQUIRES: there is such a run.
  Iterator(HashMap const& map, std::size_t run, std::size_t slot)
      : map_(&map), run_(run), generation_(map.clock_) {
    Run& slots = *map.run(run);
    slot_ = slots.slots() + slot;
    slotEnd_ = slots.end();
    settle();
  }
  /// At the first item from that id on.
  Iterator(HashMap const& map, U64 id) {
    if (!map.body_) return;
    U64 const offset =
        map.body_->offset;  // modulo 2^64, as ids that came from elsewhere may go down
    U64 const first = map.run(0)->slots()->id;
    U64 const own = id > first + offset ? id - offset : first;
    std::size_t const run = map.body_->isMany() ? map.many().runOf(own) : 0;
    Run& slots = *map.run(run);
    *this = Iterator(map, run, slots.before(own));
  }
  void settle() {
    for (;;) {
      while (slot_ != slotEnd_ && !slot_->live()) ++slot_;
      if (slot_ != slotEnd_) [[likely]]
        break;
      if (++run_ == map_->runCount()) {
        slot_ = nullptr;
        return;
      }
      slot_ = map_->run(run_)->slots();
      slotEnd_ = map_->run(run_)->end();
    }
    id_ = slot_->id + map_->body_->offset;
  }

  HashMap const* map_ = nullptr;
  Slot const* slot_ = nullptr;  // null at the end; else good in its generation
  Slot const* slotEnd_ = nullptr;
  std::size_t run_ = 0;
  U64 id_ = 0;
  U64 generation_ = 0;
};

template <class Item, class KeyOf, class Hash>
HashMap<Item, KeyOf, Hash>::HashMap(HashMap const& other) {
  if (other.empty()) return;
  auto const take = [&](auto fresh) {
    other.everyLive([&](Run const&, Slot const& slot) {
      fresh->add(++clock_, slot.tag, slot.item);
      return true;
    });
    body_.reset(fresh.release());
  };
  if (other.size() <= kMostRoom) {
    take(makeRun(static_cast<U32>(other.size())));
  } else {
    take(std::make_unique<Many>(other.size()));
  }
}

template <class Item, class KeyOf, class Hash>
template <class Chains>
auto HashMap<Item, KeyOf, Hash>::search(Chains& chains, Param<Key> key, U32 tag) -> Found {
  for (SlotLink* link = &chains.head(tag); *link != 0;) {
    Slot& slot = chains.at(*link);
    if (slot.tag == tag && keyOf(slot.item) == key) return {&slot, link};
    link = &slot.next;
  }
  return {};
}

template <class Item, class KeyOf, class Hash>
auto HashMap<Item, KeyOf, Hash>::locate(Param<Key> key, U32 tag) const -> Found {
  if (!body_) return {};
  if (body_->isMany()) return search(many(), key, tag);
  Run& slots = *run(0);
  if (slots.bucketBits != 0) return search(slots, key, tag);
  Slot* const found = std::find_if(slots.slots() + slots.first, slots.end(), [&](Slot const& slot) {
    return slot.live() && slot.tag == tag && keyOf(slot.item) == key;
  });
  return {found != slots.end() ? found : nullptr};
}

/// Moves the items to what is empty yet and has the room for them.
template <class Item, class KeyOf, class Hash>
template <class Fresh>
void HashMap<Item, KeyOf, Hash>::moveTo(Fresh fresh) noexcept {
  if (body_) fresh->offset = body_->offset;
  everyLive([&](Run& slots, Slot& slot) {
    fresh->add(slot.id, slot.tag, slots.take(slot));
    return true;
  });
  body_.reset(fresh.release());
  ++clock_;
}

/// Makes sure that a small map has a slot for one more item, or makes it a large one.
template <class Item, class KeyOf, class Hash>
void HashMap<Item, KeyOf, Hash>::makeRoom() {
  if (!body_) return moveTo(makeRun(kFirstRoom));
  Run const& slots = *run(0);
  if (slots.used < slots.room) return;
  U32 const room = slots.live > slots.room / 2 ? 2 * slots.room : slots.room;
  if (room <= kMostRoom) {
    moveTo(makeRun(room));
  } else {
    moveTo(std::make_unique<Many>(slots.live));
  }
}

/// Gives memory back after an erasure.
template <class Item, class KeyOf, class Hash>
void HashMap<Item, KeyOf, Hash>::shrink() noexcept {
  U32 const live = body_->live;
  if (live == 0) return body_.reset();
  U32 room = 0;
  if (body_->isMany()) {
    if (live < kMostRoom / 4) room = 2 * live;
  } else if (Run const& slots = *run(0); slots.used > kScanned && live < slots.used / 2) {
    room = live < slots.room / 4 ? std::max(kFirstRoom, 2 * live) : slots.room;
  }
  if (room == 0) return;
  try {
    moveTo(makeRun(room));
  } catch (std::bad_alloc const&) {
    // What is dead stays: it costs time, no more. The next erasure tries again.
  }
}

template <class Item, class KeyOf, class Hash>
std::pair<Item*, bool> HashMap<Item, KeyOf, Hash>::insertOrAssign(Item item) {
  U32 const tag = tagOf(keyOf(item));
  if (Slot* const slot = locate(keyOf(item), tag).slot) {
    [[maybe_unused]] Item const old = detail::exchangeItem(slot->item, std::move(item));
    return {&slot->item, false};
  }
  if (!body_ || !body_->isMany()) makeRoom();
  U64 const id = ++clock_ - body_->offset;
  Slot& slot = body_->isMany() ? many().add(id, tag, std::move(item))
                               : run(0)->add(id, tag, std::move(item));
  return {&slot.item, true};
}

template <class Item, class KeyOf, class Hash>
std::optional<Item> HashMap<Item, KeyOf, Hash>::take(Param<Key> key) {
  Found const found = locate(key, tagOf(key));
  if (!found.slot) return std::nullopt;
  std::optional<Item> taken;
  if (body_->isMany()) {
    taken.emplace(many().take(*found.link));
  } else {
    if (found.link) *found.link = found.slot->next;
    taken.emplace(run(0)->take(*found.slot));
  }
  ++clock_;
  shrink();
  return taken;
}

}  // namespace Orb
