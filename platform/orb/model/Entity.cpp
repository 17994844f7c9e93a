#include "platform/orb/model/Entity.h"

#include "platform/orb/model/AttributeRef.h"

namespace Orb {

void Notifiee::onDelete(Entity const& /*entity*/) {}

Entity::~Entity() = default;

NamedEntity::~NamedEntity() = default;

NumberedEntity::~NumberedEntity() = default;

NotifieeList<Notifiee>& Entity::notifieeList() const {
  if (!notifiees_) notifiees_ = std::make_unique<NotifieeList<Notifiee>>();
  return *notifiees_;
}

void Entity::notifyRound(AttrId attribute, void const* key) const {
  notifiees_->each([&](Notifiee& n) { n.onAttribute(*this, attribute, key); }, this);
}

void Entity::deleted() const {
  if (std::exchange(isDeleted_, true)) return;
  bool const owns = type().ownsEntities;
  if (!notifiees_ && !owns) return;
  Ptr<Entity const> const alive(this);
  FirstError error;
  if (notifiees_) {
    error.guard([&] { notifiees_->each([this](Notifiee& n) { n.onDelete(*this); }, this); });
  }
  if (owns) {
    for (AttributeRef const a : attributesOf(*this)) {
      if (!a.ownsEntities()) continue;
      a.eachOwned([&](ValueRef, Entity const& child) {
        Ptr<Entity const> const childAlive(&child);
        error.guard([&] { child.deleted(); });
      });
    }
  }
  error.rethrow();
}

}  // namespace Orb
