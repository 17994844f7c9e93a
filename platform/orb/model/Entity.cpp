#include "platform/orb/model/Entity.h"

namespace Orb {

void Notifiee::onDelete(Entity const& /*entity*/) {}

Entity::~Entity() = default;

NamedEntity::~NamedEntity() = default;

NotifieeList<Notifiee>& Entity::notifieeList() const {
  if (!notifiees_) notifiees_ = std::make_unique<NotifieeList<Notifiee>>();
  return *notifiees_;
}

void Entity::tell(AttrId attribute, void const* key) const {
  notifiees_->each([&](Notifiee& n) { n.onAttribute(*this, attribute, key); }, this);
}

void Entity::deleted() const {
  if (!notifiees_) return;
  notifiees_->each([this](Notifiee& n) { n.onDelete(*this); }, this);
}

}  // namespace Orb
