#pragma once

#include <utility>

#include "platform/orb/model/Collections.h"

/// Attribute objects of owned entities. What holds for all attribute objects stands in
/// Attribute.h.
///
/// An entity that leaves its owner notifies its own observers and those of all that it owns, the
/// outer ones first (Entity::deleted()); then the owner notifies of the key.
namespace Orb {

/// What the entities of a collection are known by, of the type of their common base.
template <class Base>
struct OwnedKey {
  auto const& operator()(Ptr<Base> const& entity) const noexcept { return entity->ownKey(); }
};

/// Child entities by key, their types erased to NamedEntity or NumberedEntity: one class for all
/// types of children, and most of the code of a collection exists once for each such base.
template <class BaseType, template <class, class> class MapOf>
class OwnedEntities : public Collection<MapOf<Ptr<BaseType>, OwnedKey<BaseType>>> {
 public:
  static constexpr AttributeKind kKind = AttributeKind::children;
  using Base = BaseType;
  using typename Collection<MapOf<Ptr<Base>, OwnedKey<Base>>>::Items;
  using typename Collection<MapOf<Ptr<Base>, OwnedKey<Base>>>::Key;

  Base* find(Param<Key> key) const;
  bool erase(Entity const& owner, AttrId id, Key key);
  /// Removes all children first and notifies after, like every collection.
  void clear(Entity const& owner, AttrId id);
  /// Takes in a child of that key, of which there is none, and notifies of it.
  void add(Entity const& owner, AttrId id, Ptr<Base> child);
  /// Takes in a child; nobody is notified.
  void adopt(Ptr<Base> child);
};

/// The children of one collection, in its order, as Ptr<E>; the collection may change meanwhile.
template <class E, class Items>
class ChildrenView {
 public:
  class Iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = Ptr<E>;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = Ptr<E>;

    Iterator() = default;
    explicit Iterator(typename Items::Iterator at) : at_(std::move(at)) {}
    Ptr<E> operator*() const { return Ptr<E>(static_cast<E*>((*at_).get())); }
    Iterator& operator++() {
      ++at_;
      return *this;
    }
    friend bool operator==(Iterator const& a, Iterator const& b) { return a.at_ == b.at_; }
    friend bool operator==(Iterator const& a, std::default_sentinel_t end) { return a.at_ == end; }

   private:
    typename Items::Iterator at_;
  };

  explicit ChildrenView(Items const& items) noexcept : items_(items) {}
  Iterator begin() const { return Iterator(items_.begin()); }
  std::default_sentinel_t end() const noexcept { return {}; }
  std::size_t size() const noexcept { return items_.size(); }
  bool empty() const noexcept { return items_.empty(); }
  bool has(Param<typename Items::Key> key) const { return items_.has(key); }

 private:
  Items const& items_;
};

/// Child entities of class E, which the owner makes by key. E is a NamedEntity or a NumberedEntity.
template <class E, template <class, class> class MapOf>
class Children
    : public OwnedEntities<
          std::conditional_t<std::is_base_of_v<NamedEntity, E>, NamedEntity, NumberedEntity>,
          MapOf> {
 public:
  using Erased = OwnedEntities<
      std::conditional_t<std::is_base_of_v<NamedEntity, E>, NamedEntity, NumberedEntity>, MapOf>;
  using typename Erased::Items;
  using typename Erased::Key;
  using Target = E;
  using Argument = Param<Key>;
  using Result = Ptr<E>;

  ChildrenView<E, Items> all() const { return ChildrenView<E, Items>(this->items_); }
  Ptr<E> get(Param<Key> key) const { return Ptr<E>(static_cast<E*>(this->find(key))); }
  /// The child under `key`, made when it is not there.
  template <class Owner>
  Ptr<E> insert(Owner const& owner, AttrId id, Param<Key> key) {
    if (auto* const found = this->find(key)) return Ptr<E>(static_cast<E*>(found));
    Ptr<E> child = create(owner, key);
    this->add(owner, id, child);
    return child;
  }
  /// A child for this attribute of `owner` that it does not hold yet.
  template <class Owner>
  static Ptr<E> create(Owner const& owner, Param<Key> key) {
    if constexpr (std::is_constructible_v<E, Owner const&, Key>) {
      return make<E>(owner, key);
    } else {
      return make<E>(key);
    }
  }
};

/// One entity that the owner makes on demand, or none. A NamedEntity is asked for by name, and one
/// that is asked for under another name takes the old one's place.
template <class E>
class Child {
 public:
  static constexpr AttributeKind kKind = AttributeKind::child;
  static constexpr bool kIsNamed = std::is_base_of_v<NamedEntity, E>;
  using Key = void;
  using Target = E;

  Ptr<E> const& get() const { return child_; }
  Ptr<E> make(Entity const& owner, AttrId id, Name const& name) requires kIsNamed {
    if (child_ && child_->name() == name) return child_;
    Ptr<E> child = Orb::make<E>(name);
    add(owner, id, child);
    return child;
  }
  Ptr<E> make(Entity const& owner, AttrId id) requires(!kIsNamed) {
    if (child_) return child_;
    Ptr<E> child = Orb::make<E>();
    add(owner, id, child);
    return child;
  }
  /// Takes in a child in place of the one that is there, if any, and notifies.
  void add(Entity const& owner, AttrId id, Ptr<E> child) {
    Ptr<Entity const> const alive(&owner);
    Ptr<E> const old = std::exchange(child_, std::move(child));
    FirstError error;
    error.guard([&] {
      if (old) old->deleted();
    });
    error.guard([&] { owner.notifyObservers(id); });
    error.rethrow();
  }
  bool erase(Entity const& owner, AttrId id) {
    if (!child_) return false;
    add(owner, id, nullptr);
    return true;
  }

  /// Takes in a child that was made for it; nobody is notified.
  void adopt(Ptr<E> child) noexcept { child_ = std::move(child); }
  friend void swap(Child& a, Child& b) noexcept { std::swap(a.child_, b.child_); }

 private:
  Ptr<E> child_;
};

// Out of line in Owned.cpp, for all types of children.
extern template class ROUTEPOLICY_EXPORT OrderedMap<Ptr<NamedEntity>, OwnedKey<NamedEntity>>;
extern template class ROUTEPOLICY_EXPORT OrderedMap<Ptr<NumberedEntity>, OwnedKey<NumberedEntity>>;
extern template class ROUTEPOLICY_EXPORT HashMap<Ptr<NamedEntity>, OwnedKey<NamedEntity>, KeyHash>;
extern template class ROUTEPOLICY_EXPORT
    HashMap<Ptr<NumberedEntity>, OwnedKey<NumberedEntity>, KeyHash>;
extern template class ROUTEPOLICY_EXPORT OwnedEntities<NamedEntity, OrderedMap>;
extern template class ROUTEPOLICY_EXPORT OwnedEntities<NumberedEntity, OrderedMap>;
extern template class ROUTEPOLICY_EXPORT OwnedEntities<NamedEntity, KeyedHashMap>;
extern template class ROUTEPOLICY_EXPORT OwnedEntities<NumberedEntity, KeyedHashMap>;

}  // namespace Orb
