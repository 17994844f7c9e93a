#include "platform/session/detail/Merge.h"

#include "platform/orb/model/Path.h"
#include "platform/session/detail/Clone.h"

// A merge walks the unit twice. The first walk settles what the session has edited: a mutator of
// the candidate leaves only a mark on the entity (isNew, isModified), and an entity that it removed
// is just not there. Compared with what ran when the candidate was last up to date, that becomes a
// claim of the place, which later merges find whatever runs by then.
//
// The second walk goes along base, running and candidate side by side, and works out what each
// attribute is to hold. Nothing is changed on the way: each new content is made in a scratch entity
// of the same type, and when the walk is over all contents change places with a swap, which cannot
// fail. What was there before is in the scratch entities then, so what is to be notified is found
// by comparing the two.

namespace Cli::Session::detail {

using Orb::AttributeKind;
using Orb::AttributeRef;
using Orb::AttrId;
using Orb::Entity;
using Orb::MutableAttributeRef;
using Orb::Ptr;
using Orb::ValueRef;

namespace {

bool haveOneName(Entity const& a, Entity const& b) {
  auto const* const namedA = dynamic_cast<Orb::NamedEntity const*>(&a);
  auto const* const namedB = dynamic_cast<Orb::NamedEntity const*>(&b);
  return !namedA || !namedB || namedA->name() == namedB->name();
}

}  // namespace

Merge::Merge(Unit& unit, Entity const& running) : unit_(unit) {
  UnitName const& name = unit.name;
  Entity& root = *unit.candidate;
  MutableAttributeRef const mine = name.in(root);
  if (name.isMember()) {
    mine.withKey(name.key, [&](ValueRef key) {
      Ptr<Entity> const had = mine.owned(key);
      Ptr<Entity> has;
      atPlace(mine, key, [&] {
        settlePlace(name.in(*unit.followed).owned(key), had.get());
        settleRemoved();
        has = mergePlace(name.in(*unit.base).owned(key), name.in(running).owned(key), had.get(),
                         mine, key);
      });
      if (has == had) return;
      MutableAttributeRef const after = addStep(root, name.attribute);
      if (has) after.adoptOwned(*has);
    });
  } else if (mine.ownsEntities()) {
    atPlace(mine, {}, [&] { settlePlace(name.in(*unit.followed).owned(), mine.owned().get()); });
    settleRemoved();
    mergeOwned(unit.base.get(), name.in(running), root, mine);
  } else if (!unit.edits.at(name.path) && mine.differsFrom(name.in(running))) {
    addStep(root, name.attribute).assign(name.in(running));
  }
}

/// Does something with the place of an entity: a single one has no key in it.
template <class Do>
void Merge::atPlace(AttributeRef const& attribute, ValueRef key, Do const& act) {
  std::size_t const here = place_.size();
  if (here > 0) place_ += '.';
  place_ += attribute.name();
  if (attribute.kind() == AttributeKind::children) {
    ORB_ASSERT(key && "children have keys");
    place_ += '[';
    key.writeText(place_);
    place_ += ']';
  }
  act();
  place_.resize(here);
}

/// Adds a step; what it gives is to be made what the target's attribute is to hold.
MutableAttributeRef Merge::addStep(Entity& target, AttrId attribute) {
  Ptr<Entity> const scratch = target.type().make({});
  ORB_ASSERT(scratch && "an entity type that a new tree can hold can be made alone");
  steps_.push_back({Ptr<Entity>(&target), scratch, attribute});
  return attributeOf(*scratch, attribute);
}

// What the session has edited

/// What came or went at a place since the candidate was last made equal to what ran. An entity that
/// is new in the place of another one is all the session's: had the session only wanted an entity
/// to be there, it would have kept the other one.
void Merge::settlePlace(Entity const* followed, Entity* mine) {
  if (!mine) {
    if (followed) unit_.edits.claim(place_, Claim::masked);
    return;
  }
  if (mine->isNew()) {
    unit_.edits.claim(place_, followed ? Claim::masked : Claim::made);
    mine->isNewIs(false);
  }
  settleBelow(followed && haveOneName(*followed, *mine) ? followed : nullptr, *mine);
}

/// What the session made, and removed again by a mutator.
void Merge::settleRemoved() {
  std::vector<std::string> gone;
  unit_.edits.eachPresent([&](std::string const& place) {
    if (!Orb::ownedAt(*unit_.candidate, place)) gone.push_back(place);
  });
  for (std::string const& place : gone) unit_.edits.claim(place, Claim::masked);
}

void Merge::settleBelow(Entity const* followed, Entity& mine) {
  for (MutableAttributeRef const a : attributesOf(mine)) {
    if (!a.ownsEntities()) continue;
    auto const settle = [&](ValueRef key, Entity* child, Entity const* was) {
      atPlace(a, key, [&] { settlePlace(was, child); });
    };
    if (!followed) {
      a.eachOwned([&](ValueRef key, Entity& child) { settle(key, &child, nullptr); });
    } else if (a.kind() == AttributeKind::children) {
      a.eachOwnedBeside(attributeOf(*followed, a.id()), settle);
    } else {
      settle({}, a.owned().get(), attributeOf(*followed, a.id()).owned());
    }
  }
}

/// Whether the session has edits in the entity at the place.
bool Merge::isEdited(Entity const& mine) const {
  if (mine.isModified() || unit_.edits.reach(place_)) return true;
  bool found = false;
  for (AttributeRef const a : attributesOf(mine)) {
    if (found || !a.ownsEntities()) continue;
    a.eachOwned([&](ValueRef, Entity const& child) { found = found || isEdited(child); });
  }
  return found;
}

// What the candidate is to be

Ptr<Entity> Merge::mergePlace(Entity const* base, Entity const* running, Entity* mine,
                              MutableAttributeRef owner, ValueRef key) {
  auto const claim = unit_.edits.at(place_);
  if (claim == Claim::masked) return Ptr<Entity>(mine);
  if (claim == Claim::made) base = nullptr;
  if (mine && running && haveOneName(*mine, *running)) {
    mergeEntity(base, *running, *mine);
    return Ptr<Entity>(mine);
  }
  // The running tree holds none, or one of another name.
  if (!mine || !isEdited(*mine)) return running ? cloneFor(owner, key, *running) : nullptr;
  bool const began = base && haveOneName(*base, *mine);
  Ptr<Entity const> const blank = began ? nullptr : Ptr<Entity const>(mine->type().make({}));
  mergeEntity(began ? base : nullptr, began ? *base : *blank, *mine);
  return Ptr<Entity>(mine);
}

void Merge::mergeEntity(Entity const* base, Entity const& running, Entity& mine) {
  bool const isModified = mine.isModified();
  for (AttrId const id : mine.type().stored) {
    MutableAttributeRef const a = attributeOf(mine, id);
    AttributeRef const from = attributeOf(running, id);
    bool const follows = !isModified || a.kind() == AttributeKind::counter;
    if (a.ownsEntities()) {
      mergeOwned(base, from, mine, a);
    } else if (follows && a.differsFrom(from)) {
      addStep(mine, a.id()).assign(from);
    }
  }
}

/// Merges what one attribute of `owner` owns; `base` is null or of its type.
void Merge::mergeOwned(Entity const* base, AttributeRef running, Entity& owner,
                       MutableAttributeRef mine) {
  std::vector<Ptr<Entity>> all;
  bool changed = false;
  auto const baseAt = [&](ValueRef key) {
    return base ? attributeOf(*base, mine.id()).owned(key) : nullptr;
  };
  auto const merge = [&](ValueRef key, Entity* had, Entity const* runs) {
    Ptr<Entity> has;
    atPlace(mine, key, [&] {
      has = mergePlace(baseAt(mine.kind() == AttributeKind::children ? key : ValueRef()), runs, had,
                       mine, key);
    });
    changed = changed || has.get() != had;
    if (has) all.push_back(std::move(has));
  };
  if (mine.kind() == AttributeKind::children) {
    mine.eachOwnedBeside(running, merge);
  } else {
    Ptr<Entity> const had = mine.owned();
    Entity const* const runs = running.owned();
    running.eachOwned([&](ValueRef key, Entity const&) { merge(key, had.get(), runs); });
    if (!runs && had) merge({}, had.get(), nullptr);
  }
  if (!changed) return;
  MutableAttributeRef const after = addStep(owner, mine.id());
  for (Ptr<Entity> const& entity : all) after.adoptOwned(*entity);
}

// Making it so

void Merge::apply() noexcept {
  for (Step const& step : steps_) {
    attributeOf(*step.target, step.attribute).swap(attributeOf(*step.scratch, step.attribute));
  }
}

void Merge::notify() const {
  Orb::FirstError error;
  for (Step const& step : steps_) {
    AttributeRef const was = attributeOf(std::as_const(*step.scratch), step.attribute);
    AttributeRef const is = attributeOf(std::as_const(*step.target), step.attribute);
    auto const notify = [&](ValueRef key) {
      error.guard([&] { step.target->notifyObservers(step.attribute, key ? key.get() : nullptr); });
    };
    if (!is.ownsEntities()) {
      is.differencesFrom(was, [&](Orb::MemberDifference const& d) { notify(d.key); });
      continue;
    }
    bool const isSingle = is.kind() == AttributeKind::child;
    is.ownedDifferencesFrom(was, [&](Orb::OwnedDifference const& d) {
      if (d.before && !d.after) error.guard([&] { d.before->deleted(); });
      if (!isSingle && (!d.before || !d.after)) notify(d.key);
    });
    if (isSingle) notify({});
  }
  error.rethrow();
}

}  // namespace Cli::Session::detail
