#pragma once

#include <functional>
#include <utility>

#include "platform/orb/base/Value.h"
#include "platform/orb/containers/HashMap.h"
#include "platform/orb/containers/OrderedMap.h"
#include "platform/orb/model/TypeInfo.h"

/// Attribute objects of collections of values and of shared objects. What holds for all attribute
/// objects stands in Attribute.h.
namespace Orb {

/// The key that a value carries, by its accessor.
template <auto keyOf>
struct MemberKey {
  template <class V>
  decltype(auto) operator()(V const& value) const {
    return std::invoke(keyOf, value);
  }
};
/// The key that a counted object carries, by its accessor.
template <auto keyOf>
struct TargetKey {
  template <class E>
  decltype(auto) operator()(Ptr<E> const& object) const {
    return std::invoke(keyOf, *object);
  }
};
/// The hash of any key.
struct KeyHash {
  template <class K>
  U32 operator()(K const& key) const {
    return hashOf(key);
  }
};
template <class Item, class KeyOf>
using KeyedHashMap = HashMap<Item, KeyOf, KeyHash>;

/// What every collection attribute shares; ItemsType is an OrderedMap or a HashMap.
template <class ItemsType>
class Collection {
 public:
  using Items = ItemsType;
  using Key = typename Items::Key;
  using Iterator = typename Items::Iterator;

  Items const& all() const { return items_; }
  bool has(Param<Key> key) const { return items_.has(key); }

  /// Nobody is notified.
  void assign(Collection const& other) {
    if (!items_.empty() || !other.items_.empty()) items_ = other.items_;
  }
  friend void swap(Collection& a, Collection& b) noexcept { swap(a.items_, b.items_); }

 protected:
  static void notify(Entity const& owner, AttrId id, Key key) { owner.notify(id, &key); }

  /// Whether there was an item.
  bool eraseItem(Entity const& owner, AttrId id, Key key) {
    if (!items_.erase(key)) return false;
    notify(owner, id, std::move(key));
    return true;
  }
  /// Removes everything first and notifies of each key after: observers see an empty collection,
  /// and what they add stays. The first exception goes to the caller after the last key.
  void clearItems(Entity const& owner, AttrId id) {
    Ptr<Entity const> const alive(&owner);
    Items const items = std::exchange(items_, Items());
    FirstError error;
    for (auto const& item : items) error.guard([&] { notify(owner, id, Items::keyOf(item)); });
    error.rethrow();
  }

  Items items_;
};

/// Values that carry their own key; `keyOf` is the accessor of the key.
template <class V, template <class, class> class MapOf, auto keyOf>
class ValueCollection : public Collection<MapOf<V, MemberKey<keyOf>>> {
 public:
  static constexpr AttributeKind kKind = AttributeKind::collection;
  static constexpr bool kKeyIsApart = false;
  using Base = Collection<MapOf<V, MemberKey<keyOf>>>;
  using typename Base::Key;
  using Member = V;
  using Argument = V const&;
  using Result = void;

  /// The value under `key`, or the default value. Good until the collection changes.
  V const& get(Param<Key> key) const {
    static V const absent{};
    V const* const found = this->items_.find(key);
    return found ? *found : absent;
  }
  void insert(Entity const& owner, AttrId id, V const& value) {
    Key const key = std::invoke(keyOf, value);
    V const* const found = this->items_.find(key);
    if (found && *found == value) return;
    this->items_.insertOrAssign(V(value));
    this->notify(owner, id, key);
  }
  bool erase(Entity const& owner, AttrId id, Key key) {
    return this->eraseItem(owner, id, std::move(key));
  }
  void clear(Entity const& owner, AttrId id) { this->clearItems(owner, id); }

  // By name.
  static V const& memberOf(V const& value) { return value; }
  static V newMember(Key const& key) {
    V value{};
    std::get<0>(V::fields()).set(value, key);
    return value;
  }
  void setMember(Entity const& owner, AttrId id, Key const& key, V const& value) {
    if (Key const own = std::invoke(keyOf, value); own != key) {
      throw RangeException("a member of key " + toText(own) + " is not allowed under " +
                           toText(key));
    }
    insert(owner, id, value);
  }
};

/// Values that stand beside their key, in the order of the keys.
template <class K, class V>
class Map : public Collection<OrderedMap<MapItem<K, V>, PairKey>> {
 public:
  static constexpr AttributeKind kKind = AttributeKind::collection;
  static constexpr bool kKeyIsApart = true;
  using Base = Collection<OrderedMap<MapItem<K, V>, PairKey>>;
  using typename Base::Key;
  using Member = V;

  V const& get(Param<K> key) const {
    static V const absent{};
    auto const* const found = this->items_.find(key);
    return found ? found->value : absent;
  }
  void insert(Entity const& owner, AttrId id, K key, Param<V> value) {
    auto const* const found = this->items_.find(key);
    if (found && found->value == value) return;
    this->items_.insertOrAssign(MapItem<K, V>{key, value});
    this->notify(owner, id, std::move(key));
  }
  bool erase(Entity const& owner, AttrId id, K key) {
    return this->eraseItem(owner, id, std::move(key));
  }
  void clear(Entity const& owner, AttrId id) { this->clearItems(owner, id); }

  // By name.
  static V const& memberOf(MapItem<K, V> const& item) { return item.value; }
  static V newMember(K const&) { return V{}; }
  void setMember(Entity const& owner, AttrId id, K const& key, V const& value) {
    insert(owner, id, key, value);
  }
};

/// Shared objects, each under its own key; never holds a null one.
template <class E, auto keyOf>
class SharedCollection : public Collection<KeyedHashMap<Ptr<E>, TargetKey<keyOf>>> {
 public:
  static constexpr AttributeKind kKind = AttributeKind::collection;
  static constexpr std::string_view kTargetName = detail::targetName<E>();
  using Base = Collection<KeyedHashMap<Ptr<E>, TargetKey<keyOf>>>;
  using Argument = Ptr<E> const&;
  using Result = void;
  using typename Base::Key;

  Ptr<E> get(Param<Key> key) const {
    Ptr<E> const* const found = this->items_.find(key);
    return found ? *found : nullptr;
  }
  void insert(Entity const& owner, AttrId id, Ptr<E> const& object) {
    if (!object) {
      TypeInfo const& type = owner.type();
      throw RangeException(nullParameterMessage(type.name, type.attributes[id].name));
    }
    Key key = ((*object).*keyOf)();
    Ptr<E> const* const found = this->items_.find(key);
    if (found && *found == object) return;
    this->items_.insertOrAssign(Ptr<E>(object));
    this->notify(owner, id, std::move(key));
  }
  void erase(Entity const& owner, AttrId id, Key key) {
    // The object outlives the round: its destructor may do anything.
    auto const object = this->items_.take(key);
    if (object) this->notify(owner, id, std::move(key));
  }
  void clear(Entity const& owner, AttrId id) { this->clearItems(owner, id); }
  /// The keys.
  void writeText(std::string& out) const {
    char const* separator = "{ ";
    for (auto const& object : this->items_) {
      out += std::exchange(separator, ", ");
      Orb::writeText(out, ((*object).*keyOf)());
    }
    out += this->items_.empty() ? "{}" : " }";
  }
};

}  // namespace Orb
