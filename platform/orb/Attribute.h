#pragma once

#include <functional>
#include <utility>

#include "platform/orb/Entity.h"
#include "platform/orb/HashMap.h"
#include "platform/orb/OrderedMap.h"
#include "platform/orb/TypeInfo.h"
#include "platform/orb/Value.h"

/// Attribute objects: what one attribute stores, how it changes, and how generic code sees it.
///
/// An attribute object does not know its owner: the owner hands itself and the attribute's id to
/// every mutation, so an attribute takes no more room than its value. Every mutator compares,
/// stores, checks and tells, in this order. Whoever is told may change the collection, or detach,
/// or delete: the key that is handed out is a copy, and nothing is touched after the notice.
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

/// A single value. `check`, if given, sees every new value after it has been stored, and throws
/// when it is not allowed: the value stays stored then and nobody is told, on purpose.
template <class T, auto check = nullptr, AttributeKind attributeKind = AttributeKind::scalar>
class Scalar {
 public:
  static constexpr AttributeKind kKind = attributeKind;
  using Key = void;

  Scalar() = default;
  explicit Scalar(T value) : value_(std::move(value)) {}

  Param<T> get() const { return value_; }

  void is(Entity const& owner, AttrId id, Param<T> value) {
    if (value_ == value) return;
    value_ = value;
    if constexpr (!std::is_null_pointer_v<decltype(check)>) check(value_);
    owner.notify(id);
  }

  /// Adds to a number and returns the sum, even when those told destroyed the owner.
  T inc(Entity const& owner, AttrId id, T delta) {
    T const sum = static_cast<T>(value_ + delta);
    is(owner, id, sum);
    return sum;
  }

  void text(std::string& out) const { writeText(out, value_); }

 private:
  T value_{};
};

/// What every collection attribute shares; Items is an OrderedMap or a HashMap.
template <class Items>
class Collection {
 public:
  using Key = typename Items::Key;
  using Iterator = typename Items::Iterator;

  Items const& all() const { return items_; }
  bool has(Param<Key> key) const { return items_.has(key); }

 protected:
  /// Removes everything first and tells of each key after: those told see an empty collection,
  /// and what they add stays. What one of them throws goes to the caller after the last key.
  template <class Gone>
  void clear(Entity const& owner, AttrId id, Gone const& gone) {
    Ptr<Entity const> const alive(&owner);
    Items const items = std::exchange(items_, Items());
    FirstError error;
    for (auto const& item : items) {
      error.guard([&] { gone(item); });
      error.guard([&] { tell(owner, id, Items::keyOf(item)); });
    }
    error.rethrow();
  }
  static void tell(Entity const& owner, AttrId id, Key key) { owner.notify(id, &key); }

  Items items_;
};

/// Values that carry their own key; `keyOf` is the accessor of the key.
template <class V, template <class, class> class MapOf, auto keyOf>
class ValueCollection : public Collection<MapOf<V, MemberKey<keyOf>>> {
 public:
  static constexpr AttributeKind kKind = AttributeKind::collection;
  using Base = Collection<MapOf<V, MemberKey<keyOf>>>;
  using typename Base::Key;
  using Argument = V const&;
  using Result = void;

  /// The value under `key`, or the default value. Good until the collection changes.
  V const& get(Param<Key> key) const {
    static V const absent{};
    V const* const found = this->items_.find(key);
    return found ? *found : absent;
  }
  void is(Entity const& owner, AttrId id, V const& value) {
    Key const key = std::invoke(keyOf, value);
    V const* const found = this->items_.find(key);
    if (found && *found == value) return;
    this->items_.insertOrAssign(V(value));
    this->tell(owner, id, key);
  }
  void del(Entity const& owner, AttrId id, Key key) {
    if (this->items_.erase(key)) this->tell(owner, id, key);
  }
  void delAll(Entity const& owner, AttrId id) {
    this->clear(owner, id, [](V const&) {});
  }
  void text(std::string& out) const {
    writeMembers(out, this->items_, [&](V const& value) { writeText(out, value); });
  }
};

/// Values that stand beside their key, in the order of the keys.
template <class K, class V>
class Map : public Collection<OrderedMap<MapItem<K, V>, PairKey>> {
 public:
  static constexpr AttributeKind kKind = AttributeKind::collection;
  using Base = Collection<OrderedMap<MapItem<K, V>, PairKey>>;
  using typename Base::Key;

  V const& get(Param<K> key) const {
    static V const absent{};
    auto const* const found = this->items_.find(key);
    return found ? found->value : absent;
  }
  void is(Entity const& owner, AttrId id, K key, Param<V> value) {
    auto const* const found = this->items_.find(key);
    if (found && found->value == value) return;
    this->items_.insertOrAssign(MapItem<K, V>{key, value});
    this->tell(owner, id, std::move(key));
  }
  void del(Entity const& owner, AttrId id, K key) {
    if (this->items_.erase(key)) this->tell(owner, id, std::move(key));
  }
  void delAll(Entity const& owner, AttrId id) {
    this->clear(owner, id, [](auto const&) {});
  }
  void text(std::string& out) const {
    writeMembers(out, this->items_, [&](MapItem<K, V> const& item) {
      writeText(out, item.key);
      out += ": ";
      writeText(out, item.value);
    });
  }
};

/// Child entities that the owner makes by key and owns; a child that leaves tells its notifiees
/// before the owner tells of the key.
template <class E, template <class, class> class MapOf, auto keyOf>
class Children : public Collection<MapOf<Ptr<E>, TargetKey<keyOf>>> {
 public:
  static constexpr AttributeKind kKind = AttributeKind::children;
  using Base = Collection<MapOf<Ptr<E>, TargetKey<keyOf>>>;
  using typename Base::Key;
  using Argument = Param<Key>;
  using Result = Ptr<E>;

  Ptr<E> get(Param<Key> key) const {
    Ptr<E> const* const found = this->items_.find(key);
    return found ? *found : nullptr;
  }
  template <class Owner>
  Ptr<E> is(Owner const& owner, AttrId id, Key key) {
    if (Ptr<E> const* const found = this->items_.find(key)) return *found;
    Ptr<E> child;
    if constexpr (std::is_constructible_v<E, Owner const&, Key>) {
      child = make<E>(owner, key);
    } else {
      child = make<E>(key);
    }
    this->items_.insertOrAssign(Ptr<E>(child));
    this->tell(owner, id, std::move(key));
    return child;
  }
  void del(Entity const& owner, AttrId id, Key key) {
    Ptr<Entity const> const alive(&owner);
    auto const child = this->items_.take(key);
    if (!child) return;
    FirstError error;
    error.guard([&] { (*child)->deleted(); });
    error.guard([&] { this->tell(owner, id, std::move(key)); });
    error.rethrow();
  }
  void delAll(Entity const& owner, AttrId id) {
    this->clear(owner, id, [](Ptr<E> const& child) { child->deleted(); });
  }
  void text(std::string& out) const {
    writeMembers(out, this->items_,
                 [&](Ptr<E> const& child) { writeText(out, ((*child).*keyOf)()); });
  }
};

/// Shared objects, each under its own key; never holds a null one.
template <class E, auto keyOf>
class SharedCollection : public Collection<KeyedHashMap<Ptr<E>, TargetKey<keyOf>>> {
 public:
  static constexpr AttributeKind kKind = AttributeKind::collection;
  using Base = Collection<KeyedHashMap<Ptr<E>, TargetKey<keyOf>>>;
  using Argument = Ptr<E> const&;
  using Result = void;
  using typename Base::Key;

  Ptr<E> get(Param<Key> key) const {
    Ptr<E> const* const found = this->items_.find(key);
    return found ? *found : nullptr;
  }
  void is(Entity const& owner, AttrId id, Ptr<E> const& object) {
    if (!object) {
      TypeInfo const& type = owner.type();
      throw RangeException(nullParameterMessage(type.name, type.attributes[id].name));
    }
    Key key = ((*object).*keyOf)();
    Ptr<E> const* const found = this->items_.find(key);
    if (found && *found == object) return;
    this->items_.insertOrAssign(Ptr<E>(object));
    this->tell(owner, id, std::move(key));
  }
  void del(Entity const& owner, AttrId id, Key key) {
    auto const object = this->items_.take(key);
    if (object) this->tell(owner, id, std::move(key));
  }
  void delAll(Entity const& owner, AttrId id) {
    this->clear(owner, id, [](Ptr<E> const&) {});
  }
  void text(std::string& out) const {
    writeMembers(out, this->items_,
                 [&](Ptr<E> const& object) { writeText(out, ((*object).*keyOf)()); });
  }
};

/// The collections by name: values in the order of their keys, children in the order of theirs or
/// hashed, shared objects hashed.
template <class V, auto keyOf>
using OrderedValues = ValueCollection<V, OrderedMap, keyOf>;
template <class V, auto keyOf>
using HashValues = ValueCollection<V, KeyedHashMap, keyOf>;
template <class E, auto keyOf>
using OrderedChildren = Children<E, OrderedMap, keyOf>;
template <class E, auto keyOf>
using HashChildren = Children<E, KeyedHashMap, keyOf>;
template <class E, auto keyOf>
using HashShared = SharedCollection<E, keyOf>;

}  // namespace Orb
