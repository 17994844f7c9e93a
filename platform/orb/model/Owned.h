#pragma once

#include <utility>

#include "platform/orb/model/Collections.h"

/// Attribute objects of owned entities. What holds for all attribute objects stands in
/// Attribute.h.
///
/// An entity that leaves its owner notifies its own observers and those of all that it owns, the
/// outer ones first (Entity::deleted()); then the owner notifies of the key.
namespace Orb {

/// Child entities that the owner makes by key.
template <class E, template <class, class> class MapOf, auto keyOf>
class Children : public Collection<MapOf<Ptr<E>, TargetKey<keyOf>>> {
 public:
  static constexpr AttributeKind kKind = AttributeKind::children;
  using Base = Collection<MapOf<Ptr<E>, TargetKey<keyOf>>>;
  using typename Base::Items;
  using typename Base::Key;
  using Target = E;
  using Argument = Param<Key>;
  using Result = Ptr<E>;

  Ptr<E> get(Param<Key> key) const {
    Ptr<E> const* const found = this->items_.find(key);
    return found ? *found : nullptr;
  }
  /// The child under `key`, made when it is not there.
  template <class Owner>
  Ptr<E> insert(Owner const& owner, AttrId id, Key key) {
    if (Ptr<E> const* const found = this->items_.find(key)) return *found;
    Ptr<E> child = create(owner, key);
    take(child);
    notifyOwned(owner, id, std::move(key));
    return child;
  }
  bool erase(Entity const& owner, AttrId id, Key key) {
    Ptr<Entity const> const alive(&owner);
    auto const child = this->items_.take(key);
    if (!child) return false;
    leave(owner, id, *child);
    return true;
  }
  /// Removes all children first and notifies after, like every collection.
  void clear(Entity const& owner, AttrId id) {
    Ptr<Entity const> const alive(&owner);
    Items const items = std::exchange(this->items_, Items());
    FirstError error;
    for (auto const& child : items) error.guard([&] { leave(owner, id, child); });
    error.rethrow();
  }

  /// A child for this attribute of `owner` that it does not hold yet.
  template <class Owner>
  static Ptr<E> create(Owner const& owner, Key const& key) {
    if constexpr (std::is_constructible_v<E, Owner const&, Key>) {
      return make<E>(owner, key);
    } else {
      return make<E>(key);
    }
  }
  /// Takes in such a child; nobody is notified.
  void take(Ptr<E> child) { this->items_.insertOrAssign(std::move(child)); }

 private:
  static void notifyOwned(Entity const& owner, AttrId id, Key key) {
    owner.notifyObservers(id, &key);
  }
  static void leave(Entity const& owner, AttrId id, Ptr<E> const& child) {
    FirstError error;
    error.guard([&] { child->deleted(); });
    error.guard([&] { notifyOwned(owner, id, Items::keyOf(child)); });
    error.rethrow();
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
    return replace(owner, id, Orb::make<E>(name));
  }
  Ptr<E> make(Entity const& owner, AttrId id) requires(!kIsNamed) {
    return child_ ? child_ : replace(owner, id, Orb::make<E>());
  }
  bool erase(Entity const& owner, AttrId id) {
    if (!child_) return false;
    replace(owner, id, nullptr);
    return true;
  }

  /// Takes in a child that was made for it; nobody is notified.
  void take(Ptr<E> child) noexcept { child_ = std::move(child); }
  friend void swap(Child& a, Child& b) noexcept { std::swap(a.child_, b.child_); }

 private:
  Ptr<E> replace(Entity const& owner, AttrId id, Ptr<E> child) {
    Ptr<Entity const> const alive(&owner);
    Ptr<E> const old = std::exchange(child_, child);
    FirstError error;
    error.guard([&] {
      if (old) old->deleted();
    });
    error.guard([&] { owner.notifyObservers(id); });
    error.rethrow();
    return child;
  }

  Ptr<E> child_;
};

}  // namespace Orb
