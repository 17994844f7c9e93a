#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "platform/orb/base/Value.h"
#include "platform/orb/containers/EachDifference.h"
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
  /// The keys under which the two do not hold the same, each once.
  std::vector<Key> differingKeys(Collection const& other) const {
    std::vector<Key> keys;
    eachDifference(items_, other.items_, std::equal_to<>(),
                   [&](Key const& key, auto const*, auto const*) { keys.push_back(key); });
    return keys;
  }

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

  /// insert() for each of `values`, which has size() and forEach(visit). When that throws, for want
  /// of memory, the collection is as it was. All values are stored first, and each change is
  /// notified after, in their order: observers see the end. An observer that throws stops nothing.
  template <class Values>
  void insertEach(Entity const& owner, AttrId id, Values const& values) {
    std::vector<Key> changed;
    std::vector<V> replaced;  // with the keys of those changes that were none of a new key
    changed.reserve(values.size());
    try {
      values.forEach([&](V const& value) {
        Key key = std::invoke(keyOf, value);
        V const* const found = this->items_.find(key);
        if (found && *found == value) return;
        if (found) {
          V* const stored = this->items_.editable(key);
          replaced.push_back(value);
          std::swap(replaced.back(), *stored);
        } else {
          this->items_.insertOrAssign(V(value));
        }
        changed.push_back(std::move(key));
      });
    } catch (...) {
      takeBack(changed, replaced);
      throw;
    }
    if (!changed.empty()) notifyEach(owner, id, changed);
  }
  /// clear(), and then insert() for each value of another collection; nothing when there is no
  /// memory. Observers are notified of each key that was there, then of each that is there, and see
  /// the end.
  void replace(Entity const& owner, AttrId id, ValueCollection const& other) {
    if (this == &other || (this->items_.empty() && other.items_.empty())) return;
    auto items = other.items_;
    std::vector<Key> keys;
    if (owner.isWatched()) {
      keys.reserve(this->items_.size() + items.size());
      for (V const& value : this->items_) keys.push_back(std::invoke(keyOf, value));
      for (V const& value : items) keys.push_back(std::invoke(keyOf, value));
    }
    this->items_ = std::move(items);
    notifyEach(owner, id, keys);
  }

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

 private:
  /// Undoes the changes of insertEach(), the last one first. Takes no memory.
  void takeBack(std::vector<Key> const& changed, std::vector<V>& replaced) noexcept {
    for (auto key = changed.rbegin(); key != changed.rend(); ++key) {
      if (!replaced.empty() && std::invoke(keyOf, replaced.back()) == *key) {
        std::swap(*this->items_.editable(*key), replaced.back());
        replaced.pop_back();
      } else {
        this->items_.erase(*key);
      }
    }
  }
  /// The changes are made; their keys may be left out when nobody watches.
  void notifyEach(Entity const& owner, AttrId id, std::vector<Key> const& keys) {
    owner.isModifiedIs(true);
    if (!owner.isWatched()) return;
    Ptr<Entity const> const alive(&owner);
    FirstError error;
    for (Key const& key : keys) error.guard([&] { Base::notify(owner, id, key); });
    error.rethrow();
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
template <class E, template <class, class> class MapOf, auto keyOf>
class SharedCollection : public Collection<MapOf<Ptr<E>, TargetKey<keyOf>>> {
 public:
  static constexpr AttributeKind kKind = AttributeKind::collection;
  static constexpr std::string_view kTargetName = detail::targetName<E>();
  using Base = Collection<MapOf<Ptr<E>, TargetKey<keyOf>>>;
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
    Key key = std::invoke(keyOf, *object);
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
      Orb::writeText(out, std::invoke(keyOf, *object));
    }
    out += this->items_.empty() ? "{}" : " }";
  }
};

}  // namespace Orb
