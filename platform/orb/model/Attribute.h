#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "platform/orb/base/Value.h"
#include "platform/orb/containers/HashMap.h"
#include "platform/orb/containers/OrderedMap.h"
#include "platform/orb/model/Declare.h"
#include "platform/orb/model/Entity.h"
#include "platform/orb/model/detail/AttributeRows.h"

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

/// A single value. `checkValue`, if given, sees every new value after it has been stored, and
/// throws when it is not allowed: the value stays stored then and nobody is told, on purpose.
template <class T, auto checkValue = nullptr, AttributeKind attributeKind = AttributeKind::scalar>
class Scalar {
 public:
  static constexpr AttributeKind kKind = attributeKind;
  using Key = void;
  using Value = T;

  Scalar() = default;
  explicit Scalar(T value) : value_(std::move(value)) {}

  Param<T> get() const { return value_; }

  void is(Entity const& owner, AttrId id, Param<T> value) {
    if (sameValue<T>(value_, value)) return;
    value_ = value;
    check(value_);
    owner.notify(id);
  }
  /// Throws what is to be said of a value that is not allowed.
  static void check([[maybe_unused]] Param<T> value) {
    if constexpr (!std::is_null_pointer_v<decltype(checkValue)>) checkValue(value);
  }
  /// Unchecked, and nobody is told; whether it changed.
  bool take(Scalar const& other) {
    if (sameValue<T>(value_, other.value_)) return false;
    value_ = other.value_;
    return true;
  }

  /// Adds to a number and returns the sum, even when those told destroyed the owner.
  T inc(Entity const& owner, AttrId id, T delta) {
    T const sum = static_cast<T>(value_ + delta);
    is(owner, id, sum);
    return sum;
  }

 private:
  T value_{};
};

/// A shared object that belongs to others, or none: whoever sets the owner up hands it over.
template <class E>
class Reference {
 public:
  static constexpr AttributeKind kKind = AttributeKind::reference;
  static constexpr std::string_view kTargetName = detail::targetName<E>();
  using Key = void;

  Ptr<E> const& get() const { return object_; }
  void is(Entity const& owner, AttrId id, Ptr<E> object) {
    if (object_ == object) return;
    std::swap(object_, object);
    owner.notify(id);
  }
  /// The object's type.
  void text(std::string& out) const { out += object_ ? object_->type().name : detail::kNoEntity; }

 private:
  Ptr<E> object_;
};

/// What every collection attribute shares; ItemsType is an OrderedMap or a HashMap.
template <class ItemsType>
class Collection {
 public:
  using Items = ItemsType;
  using Key = typename Items::Key;
  using Iterator = typename Items::Iterator;

  Items const& all() const { return items_; }
  bool has(Param<Key> key) const { return items_.has(key); }

  /// Takes a copy of what another holds; whether that was anything. REQUIRES: this is empty, and
  /// nobody watches the owner.
  bool adopt(Collection const& other) {
    items_ = other.items_;
    return !items_.empty();
  }

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
  using Member = V;
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

  /// is() for each of `values`, which has size() and forEach(visit). When that throws, for want of
  /// memory, the collection is as it was. All values are stored first, and each change is notified
  /// after, in their order: observers see the end. An observer that throws stops nothing.
  template <class Values>
  void isEach(Entity const& owner, AttrId id, Values const& values) {
    std::vector<Key> changed;
    std::vector<V> replaced;  // with the keys of those changes that were none of a new key
    changed.reserve(values.size());
    try {
      values.forEach([&](V const& value) {
        Key key = std::invoke(keyOf, value);
        V* const found = this->items_.find(key);
        if (found && *found == value) return;
        if (found) {
          replaced.push_back(value);
          std::swap(replaced.back(), *found);
        } else {
          this->items_.insertOrAssign(V(value));
        }
        changed.push_back(std::move(key));
      });
    } catch (...) {
      takeBack(changed, replaced);
      throw;
    }
    tellEach(owner, id, changed);
  }
  /// delAll(), and then is() for each value of another collection; nothing when there is no memory.
  /// Observers are notified of each key that was there, then of each that is there, and see the
  /// end.
  void copy(Entity const& owner, AttrId id, ValueCollection const& other) {
    if (this == &other) return;
    auto items = other.items_;
    std::vector<Key> keys;
    if (owner.isWatched()) {
      keys.reserve(this->items_.size() + items.size());
      for (V const& value : this->items_) keys.push_back(std::invoke(keyOf, value));
      for (V const& value : items) keys.push_back(std::invoke(keyOf, value));
    }
    this->items_ = std::move(items);
    tellEach(owner, id, keys);
  }

  // By name.
  static V const& member(V const& value) { return value; }
  static V fresh(Key const& key) {
    V value{};
    std::get<0>(V::fields()).set(value, key);
    return value;
  }
  void put(Place const& place, Key const& key, V const& value) {
    if (Key const own = std::invoke(keyOf, value); own != key) {
      throw RangeException("a member of key " + toText(own) + " is not allowed under " +
                           toText(key));
    }
    is(*place.owner, place.id, value);
  }
  bool drop(Place const& place, Key const& key) {
    bool const had = this->has(key);
    del(*place.owner, place.id, key);
    return had;
  }
  void dropAll(Place const& place) { delAll(*place.owner, place.id); }

 private:
  /// Undoes the changes of isEach(), the last one first. Takes no memory.
  void takeBack(std::vector<Key> const& changed, std::vector<V>& replaced) noexcept {
    for (auto key = changed.rbegin(); key != changed.rend(); ++key) {
      if (!replaced.empty() && std::invoke(keyOf, replaced.back()) == *key) {
        std::swap(*this->items_.find(*key), replaced.back());
        replaced.pop_back();
      } else {
        this->items_.erase(*key);
      }
    }
  }
  void tellEach(Entity const& owner, AttrId id, std::vector<Key> const& keys) {
    if (!owner.isWatched()) return;
    Ptr<Entity const> const alive(&owner);
    FirstError error;
    for (Key const& key : keys) error.guard([&] { Base::tell(owner, id, key); });
    error.rethrow();
  }
};

/// Values that stand beside their key, in the order of the keys.
template <class K, class V>
class Map : public Collection<OrderedMap<MapItem<K, V>, PairKey>> {
 public:
  static constexpr AttributeKind kKind = AttributeKind::collection;
  using Base = Collection<OrderedMap<MapItem<K, V>, PairKey>>;
  using typename Base::Key;
  using Member = V;

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

  // By name.
  static V const& member(MapItem<K, V> const& item) { return item.value; }
  static V fresh(K const&) { return V{}; }
  void put(Place const& place, K const& key, V const& value) {
    is(*place.owner, place.id, key, value);
  }
  bool drop(Place const& place, K const& key) {
    bool const had = this->has(key);
    del(*place.owner, place.id, key);
    return had;
  }
  void dropAll(Place const& place) { delAll(*place.owner, place.id); }
};

/// Child entities that the owner makes by key and owns; a child that leaves tells its notifiees
/// before the owner tells of the key.
template <class E, template <class, class> class MapOf, auto keyOf>
class Children : public Collection<MapOf<Ptr<E>, TargetKey<keyOf>>> {
 public:
  static constexpr AttributeKind kKind = AttributeKind::children;
  using Base = Collection<MapOf<Ptr<E>, TargetKey<keyOf>>>;
  using typename Base::Key;
  using Target = E;
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
};

/// One entity that the owner makes on demand and owns, or none. A NamedEntity is asked for by
/// name, and one that is asked for under another name takes the old one's place.
template <class E>
class Child {
 public:
  static constexpr AttributeKind kKind = AttributeKind::child;
  static constexpr bool kIsNamed = std::is_base_of_v<NamedEntity, E>;
  using Key = void;
  using Target = E;

  Ptr<E> const& get() const { return child_; }
  Ptr<E> is(Entity const& owner, AttrId id, Name const& name) requires kIsNamed {
    if (child_ && child_->name() == name) return child_;
    return replace(owner, id, make<E>(name));
  }
  Ptr<E> is(Entity const& owner, AttrId id) requires(!kIsNamed) {
    return child_ ? child_ : replace(owner, id, make<E>());
  }
  void del(Entity const& owner, AttrId id) {
    if (child_) replace(owner, id, nullptr);
  }
  /// The child's name, or its type when it has none.
  void text(std::string& out) const {
    if constexpr (kIsNamed) {
      child_ ? writeText(out, child_->name()) : void(out += detail::kNoEntity);
    } else {
      out += child_ ? std::string_view(E::typeName) : detail::kNoEntity;
    }
  }

 private:
  Ptr<E> replace(Entity const& owner, AttrId id, Ptr<E> child) {
    Ptr<Entity const> const alive(&owner);
    Ptr<E> const old = std::exchange(child_, child);
    FirstError error;
    error.guard([&] {
      if (old) old->deleted();
    });
    error.guard([&] { owner.notify(id); });
    error.rethrow();
    return child;
  }

  Ptr<E> child_;
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
  void text(std::string& out) const { detail::writeMembers(out, this->items_); }
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
