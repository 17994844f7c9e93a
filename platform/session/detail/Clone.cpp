#include "platform/session/detail/Clone.h"

namespace Cli::Session::detail {

using Orb::AttributeRef;
using Orb::Entity;
using Orb::MutableAttributeRef;
using Orb::Ptr;
using Orb::ValueRef;

void cloneAttribute(MutableAttributeRef to, AttributeRef from) {
  if (to.ownsEntities()) {
    from.eachOwned(
        [&](ValueRef key, Entity const& child) { to.adoptOwned(*cloneFor(to, key, child)); });
  } else {
    to.assign(from);
  }
}

Ptr<Entity> cloneFor(MutableAttributeRef to, ValueRef key, Entity const& from) {
  Ptr<Entity> copy = to.createOwned(key);
  for (Orb::AttrId const id : from.type().stored) {
    cloneAttribute(attributeOf(*copy, id), attributeOf(from, id));
  }
  copy->isNewIs(false);
  return copy;
}

}  // namespace Cli::Session::detail
