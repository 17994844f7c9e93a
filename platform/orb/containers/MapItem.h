#pragma once

#include <type_traits>

/// What the containers say of their items: an item carries its key, and a functor gives it.
namespace Orb {

/// An item that is made of a key and a value beside it.
template <class K, class V>
struct MapItem {
  K key;
  V value;

  friend bool operator==(MapItem const&, MapItem const&) = default;
};

/// The key of a MapItem, or of whatever has a member `key`.
struct PairKey {
  template <class Item>
  auto const& operator()(Item const& item) const noexcept {
    return item.key;
  }
};

/// The type of the keys that KeyOf gives for items.
template <class Item, class KeyOf>
using KeyType = std::remove_cvref_t<std::invoke_result_t<KeyOf const&, Item const&>>;

}  // namespace Orb
