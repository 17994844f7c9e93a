#include "platform/orb/model/Owned.h"

namespace Orb {

namespace {

/// A child has left its owner's collection.
template <class Key>
void leave(Entity const& owner, AttrId id, Entity const& child, Key key) {
  FirstError error;
  error.guard([&] { child.deleted(); });
  error.guard([&] { owner.notifyObservers(id, &key); });
  error.rethrow();
}

}  // namespace

template <class Base, template <class, class> class MapOf>
Base* OwnedEntities<Base, MapOf>::find(Param<Key> key) const {
  Ptr<Base> const* const found = this->items_.find(key);
  return found ? found->get() : nullptr;
}

template <class Base, template <class, class> class MapOf>
bool OwnedEntities<Base, MapOf>::erase(Entity const& owner, AttrId id, Key key) {
  Ptr<Entity const> const alive(&owner);
  auto const child = this->items_.take(key);
  if (!child) return false;
  leave(owner, id, **child, std::move(key));
  return true;
}

template <class Base, template <class, class> class MapOf>
void OwnedEntities<Base, MapOf>::clear(Entity const& owner, AttrId id) {
  Ptr<Entity const> const alive(&owner);
  Items const items = std::exchange(this->items_, Items());
  FirstError error;
  for (Ptr<Base> const& child : items) {
    error.guard([&] { leave<Key>(owner, id, *child, child->ownKey()); });
  }
  error.rethrow();
}

template <class Base, template <class, class> class MapOf>
void OwnedEntities<Base, MapOf>::add(Entity const& owner, AttrId id, Ptr<Base> child) {
  Key key = child->ownKey();
  adopt(std::move(child));
  owner.notifyObservers(id, &key);
}

template <class Base, template <class, class> class MapOf>
void OwnedEntities<Base, MapOf>::adopt(Ptr<Base> child) {
  this->items_.insertOrAssign(std::move(child));
}

template class OrderedMap<Ptr<NamedEntity>, OwnedKey<NamedEntity>>;
template class OrderedMap<Ptr<NumberedEntity>, OwnedKey<NumberedEntity>>;
template class HashMap<Ptr<NamedEntity>, OwnedKey<NamedEntity>, KeyHash>;
template class HashMap<Ptr<NumberedEntity>, OwnedKey<NumberedEntity>, KeyHash>;
template class OwnedEntities<NamedEntity, OrderedMap>;
template class OwnedEntities<NumberedEntity, OrderedMap>;
template class OwnedEntities<NamedEntity, KeyedHashMap>;
template class OwnedEntities<NumberedEntity, KeyedHashMap>;

}  // namespace Orb
