#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "platform/orb/base/Ptr.h"
#include "platform/orb/base/Types.h"

namespace Orb::detail {

/// Moves `count` items to where they may overlap with where they were; what lies in the way is
/// raw memory, and so is what they leave.
template <class Item>
void relocate(Item* from, std::size_t count, Item* to) noexcept {
  static_assert(std::is_nothrow_move_constructible_v<Item>,
                "an item that moves inside a container must not throw");
  if constexpr (std::is_trivially_copyable_v<Item>) {
    std::memmove(static_cast<void*>(to), static_cast<void const*>(from), count * sizeof(Item));
  } else {
    auto const one = [&](std::size_t i) {
      std::construct_at(to + i, std::move(from[i]));
      std::destroy_at(from + i);
    };
    if (to < from) {
      for (std::size_t i = 0; i < count; ++i) one(i);
    } else {
      for (std::size_t i = count; i > 0; --i) one(i - 1);
    }
  }
}

/// Replaces an item by another and returns the old one: the caller destroys it last, since its
/// destructor may use the container. Needs no assignment of Item.
template <class Item>
Item exchangeItem(Item& place, std::type_identity_t<Item>&& item) noexcept {
  Item old(std::move(place));
  std::destroy_at(&place);
  std::construct_at(&place, std::move(item));
  return old;
}

/// A run of items in one allocation with its own header: room() places, the first count() of
/// them alive. Nothing here throws but make() and copy().
///
/// A leaf may have several holders, which are counted as references are. While there is more than
/// one, nobody changes it. The one holder of a leaf that is not shared may: no other thread has it,
/// and what those did that had it happened before (isShared() acquires what their leaving
/// released).
template <class Item>
class Leaf {
 public:
  /// One holder goes; the last one frees the leaf.
  struct Leave {
    void operator()(Leaf* leaf) const noexcept {
      if (!leaf->dropHolder()) return;
      leaf->dropLast(leaf->count_);
      ::operator delete(leaf);
    }
  };
  using Owner = std::unique_ptr<Leaf, Leave>;

  static Owner make(std::size_t room) {
    return Owner(::new (::operator new(kHeader + room * sizeof(Item)))
                     Leaf(static_cast<U16>(room)));
  }
  /// A copy with the given room, at least count().
  Owner copy(std::size_t room) const {
    Owner fresh = make(room);
    for (; fresh->count_ < count_; ++fresh->count_) {
      std::construct_at(fresh->items() + fresh->count_, items()[fresh->count_]);
    }
    return fresh;
  }

  /// Another holder of this leaf.
  Owner share() noexcept {
    if (threadSafePtr()) {
      holders_.fetch_add(1, std::memory_order_relaxed);
    } else {
      holders_.store(holders_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
    return Owner(this);
  }
  bool isShared() const noexcept { return holders_.load(std::memory_order_acquire) != 1; }

  /// How many items of this size lie in a leaf of the given number of bytes.
  static constexpr std::size_t roomIn(std::size_t bytes) noexcept {
    return (bytes - kHeader) / sizeof(Item);
  }

  Item* items() noexcept {
    return reinterpret_cast<Item*>(reinterpret_cast<std::byte*>(this) + kHeader);
  }
  Item const* items() const noexcept {
    return reinterpret_cast<Item const*>(reinterpret_cast<std::byte const*>(this) + kHeader);
  }
  Item const* end() const noexcept { return items() + count_; }
  std::size_t count() const noexcept { return count_; }
  std::size_t room() const noexcept { return room_; }
  bool full() const noexcept { return count_ == room_; }

  /// REQUIRES: not full, at <= count().
  Item* insert(std::size_t at, Item&& item) noexcept {
    Item* const place = items() + at;
    relocate(place, count_ - at, place + 1);
    ++count_;
    return std::construct_at(place, std::move(item));
  }
  Item take(std::size_t at) noexcept {
    Item* const place = items() + at;
    Item taken(std::move(*place));
    std::destroy_at(place);
    --count_;
    relocate(place + 1, count_ - at, place);
    return taken;
  }
  /// Moves the items from `from` on behind those of `to`, which has the room.
  void moveTail(std::size_t from, Leaf& to) noexcept {
    std::size_t const moved = count_ - from;
    relocate(items() + from, moved, to.items() + to.count_);
    to.count_ = static_cast<U16>(to.count_ + moved);
    count_ = static_cast<U16>(from);
  }
  void dropLast(std::size_t dropped) noexcept {
    for (; dropped > 0; --dropped) std::destroy_at(items() + --count_);
  }

 private:
  static_assert(alignof(Item) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__);
  static constexpr std::size_t kHeader =
      std::max(sizeof(std::atomic<U32>) + 2 * sizeof(U16), alignof(Item));

  explicit Leaf(U16 room) noexcept : room_(room) {}

  /// Whether it was the last.
  bool dropHolder() noexcept {
    if (!isShared()) return true;
    if (threadSafePtr()) return holders_.fetch_sub(1, std::memory_order_acq_rel) == 1;
    holders_.store(holders_.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
    return false;
  }

  std::atomic<U32> holders_{1};
  U16 count_ = 0;
  U16 const room_;
};

}  // namespace Orb::detail
