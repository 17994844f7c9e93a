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
  UnitName whole{root, step.attribute, {}, std::string(attribute.name)};
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

void Edits::claim(std::string const& place, Claim claim) {
  auto const [at, isNew] = claims_.try_emplace(place, claim);
  if (!isNew) at->second = std::max(at->second, claim);
}

std::optional<Claim> Edits::at(std::string const& place) const {
  auto const found = claims_.find(place);
  return found == claims_.end() ? std::nullopt : std::optional(found->second);
}

bool Edits::reach(std::string_view place) const {
  for (auto at = claims_.lower_bound(place); at != claims_.end(); ++at) {
    std::string_view const other = at->first;
    if (!other.starts_with(place)) return false;
    if (other.size() == place.size() || other[place.size()] == '.' || other[place.size()] == '[') {
      return true;
    }
  }
  return false;
}

Edits::Trial::Trial(Edits& edits, std::string place, Claim claim)
    : edits_(&edits), place_(std::move(place)), before_(edits.at(place_)) {
  edits.claim(place_, claim);
}

Edits::Trial::~Trial() {
  if (!edits_) return;
  if (before_) {
    edits_->claims_.find(place_)->second = *before_;
  } else {
    edits_->claims_.erase(place_);
  }
}

Ptr<Entity> copyOfUnit(UnitName const& name, Entity const& running) {
  auto const* const named = dynamic_cast<Orb::NamedEntity const*>(&running);
  Ptr<Entity> root = running.type().make(named ? named->name() : Orb::Name());
  if (name.isMember()) {
    if (auto const from = name.entityIn(running)) {
      name.in(*root).withKey(name.key, [&](Orb::ValueRef key) {
        name.in(*root).adoptOwned(*cloneFor(name.in(*root), key, *from));
      });
    }
  } else if (name.in(running).info().isWritable) {  // the others are computed
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
