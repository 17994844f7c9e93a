#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "platform/orb/base/Types.h"

/// What the items of a HashMap are stored in.
namespace Orb::detail {

/// Refers to a slot: its number plus one, or 0 for none.
using SlotLink = U32;

/// The place of one item. When the item goes the slot is dead, and keeps its id.
template <class Item>
struct Slot {
  static constexpr SlotLink kDead = ~SlotLink{0};

  Slot(U64 newId, U32 newTag) noexcept : id(newId), tag(newTag) {}
  // NOLINTNEXTLINE(modernize-use-equals-default): that would delete it where Item has one
  ~Slot() {}
  bool live() const noexcept { return next != kDead; }

  U64 id;
  U32 tag;  // of the item's key
  SlotLink next = kDead;
  union {
    Item item;  // when live
  };
};

/// What a map points to: one SlotRun, or the ManySlots of a large map.
struct SlotBody {
  static constexpr U32 kMany = ~U32{0};

  U64 offset = 0;  // added to an id, it gives what iterators remember
  U32 live = 0;
  U32 bucketBits = 0;  // of a run: it has 2^bucketBits buckets, but none where this is 0

  bool isMany() const noexcept { return bucketBits == kMany; }
};

/// Slots in a row, in one block of memory, with buckets behind them or without. Of the `room` slots
/// the first `used` have been used, and `live` of these hold an item: the slot `first` is the first
/// that does. Ids ascend.
template <class Item>
struct alignas(Slot<Item>) SlotRun : SlotBody {
  struct Free {
    void operator()(SlotRun* run) const noexcept {
      run->dropSome(run->live);
      ::operator delete(run);
    }
  };
  using Owner = std::unique_ptr<SlotRun, Free>;

  static_assert(alignof(Slot<Item>) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__);
  static_assert(std::is_nothrow_move_constructible_v<Item>);

  static Owner make(U32 room, U32 bucketBits = 0) {
    std::size_t const buckets = bucketBits == 0 ? 0 : std::size_t{1} << bucketBits;
    std::size_t const bytes =
        sizeof(SlotRun) + room * sizeof(Slot<Item>) + buckets * sizeof(SlotLink);
    Owner run(::new (::operator new(bytes)) SlotRun);
    run->room = room;
    run->bucketBits = bucketBits;
    std::fill_n(run->buckets(), buckets, SlotLink{0});
    return run;
  }

  Slot<Item>* slots() noexcept { return reinterpret_cast<Slot<Item>*>(this + 1); }
  Slot<Item>* end() noexcept { return slots() + used; }
  SlotLink& head(U32 tag) noexcept { return buckets()[tag >> (32 - bucketBits)]; }
  Slot<Item>& at(SlotLink link) noexcept { return slots()[link - 1]; }

  /// Uses the next slot. What the constructor of Item throws changes nothing. REQUIRES: there is
  /// one.
  template <class Arg>
  Slot<Item>& add(U64 id, U32 tag, Arg&& item) {
    Slot<Item>& slot = *::new (end()) Slot<Item>(id, tag);
    std::construct_at(&slot.item, std::forward<Arg>(item));
    slot.next = 0;
    ++live;
    ++used;
    if (bucketBits != 0) slot.next = std::exchange(head(tag), used);
    return slot;
  }
  Item take(Slot<Item>& slot) noexcept {
    Item taken(std::move(slot.item));
    drop(slot);
    return taken;
  }
  /// Destroys the first `count` items. REQUIRES: there are so many.
  void dropSome(std::size_t count) noexcept {
    if (std::is_trivially_destructible_v<Item>) return;
    for (; count > 0; --count) drop(slots()[first]);
  }
  /// How many used slots have a lower id.
  std::size_t before(U64 id) noexcept {
    return static_cast<std::size_t>(
        std::partition_point(slots(), end(), [&](auto const& slot) { return slot.id < id; }) -
        slots());
  }

  U32 room;
  U32 used = 0;
  U32 first = 0;
  U32 number = 0;  // among those of a ManySlots

 private:
  SlotLink* buckets() noexcept { return reinterpret_cast<SlotLink*>(slots() + room); }
  void drop(Slot<Item>& slot) noexcept {
    std::destroy_at(&slot.item);
    slot.next = Slot<Item>::kDead;
    --live;
    while (first < used && !slots()[first].live()) ++first;
  }
};

}  // namespace Orb::detail
