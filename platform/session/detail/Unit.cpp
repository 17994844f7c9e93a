#include "platform/session/detail/Unit.h"

#include "platform/orb/model/Path.h"
#include "platform/session/detail/Clone.h"

namespace Cli::Session::detail {

using Orb::Entity;
using Orb::Ptr;

UnitName UnitName::ofPath(Roots const& roots, std::string_view path) {
  std::size_t const root = Orb::rootOf(roots, path);
  Orb::TypeInfo const& type = roots[root]->type();
  Orb::FirstStep const step = Orb::firstStep(type, path);
  Orb::AttributeInfo const& attribute = type.attributes[step.attribute];
  UnitName const whole{root, step.attribute, {}, std::string(attribute.name)};
  if (attribute.kind != Orb::AttributeKind::children || step.key.empty()) return whole;
  Orb::pathType(type, path);  // throws what is wrong with the rest
  return whole.withKey(std::string(step.key));
}

UnitName UnitName::withKey(std::string newKey) const {
  std::string memberPath = path + '[' + newKey + ']';
  return {root, attribute, std::move(newKey), std::move(memberPath)};
}

Ptr<Entity const> UnitName::entityIn(Entity const& of) const {
  Ptr<Entity const> entity;
  in(of).withKey(key, [&](Orb::ValueRef k) { entity = in(of).owned(k); });
  return entity;
}

Ptr<Entity> UnitName::entityIn(Entity& of) const {
  Ptr<Entity> entity;
  in(of).withKey(key, [&](Orb::ValueRef k) { entity = in(of).owned(k); });
  return entity;
}

bool Edits::reach(std::string_view place) const {
  auto const isAtOrBelow = [&](std::string_view other) {
    return other.starts_with(place) && (other.size() == place.size() ||
                                        other[place.size()] == '.' || other[place.size()] == '[');
  };
  for (auto const* const places : {&masked, &kept}) {
    for (auto at = places->lower_bound(place); at != places->end() && at->starts_with(place);
         ++at) {
      if (isAtOrBelow(*at)) return true;
    }
  }
  return false;
}

Ptr<Entity> copyOfUnit(UnitName const& name, Entity const& running) {
  auto const* const named = dynamic_cast<Orb::NamedEntity const*>(&running);
  Ptr<Entity> const root = running.type().make(named ? named->name() : Orb::Name());
  if (name.isMember()) {
    if (auto const from = name.entityIn(running)) {
      name.in(*root).withKey(name.key, [&](Orb::ValueRef key) {
        name.in(*root).insertOwned(*cloneFor(name.in(*root), key, *from));
      });
    }
  } else {
    cloneAttribute(name.in(*root), name.in(running));
  }
  return root;
}

void unitDifferences(UnitName const& name, Entity const& before, Entity const& after,
                     Orb::FunctionRef<void(Orb::Difference const&)> visit) {
  auto const stored = [&](Orb::Difference const& d) {
    if (d.attribute != Orb::AttributeKind::counter) visit(d);
  };
  if (name.isMember()) {
    auto const was = name.entityIn(before);
    auto const is = name.entityIn(after);
    Orb::ownedDifferences(name.in(after).kind(), was.get(), is.get(), stored, name.path);
  } else {
    Orb::attributeDifferences(name.in(before), name.in(after), stored);
  }
}

}  // namespace Cli::Session::detail
