#include "platform/session/Session.h"

#include <deque>

#include "platform/session/detail/Commit.h"
#include "platform/session/detail/Merge.h"

// Observers of a candidate run user code, which may close the session, drop the last reference to
// it, or touch more units. So each function below keeps the session and the unit that it works on
// alive, and asks again whether the session is open after it has let a candidate follow.

namespace Cli::Session {

using detail::Claim;
using detail::Edits;
using Orb::AttributeKind;
using Orb::Entity;
using Orb::Ptr;

Session::Session(Ptr<Manager> manager, Orb::Name name)
    : manager_(std::move(manager)),
      status_(Orb::make<SessionStatus>(std::move(name))),
      units_(std::make_unique<detail::Units>()) {
  manager_->open_.push_back(this);
}

Session::~Session() { close(); }

void Session::close() noexcept {
  std::erase(manager_->open_, this);
  units_->clear();
}

void Session::requireOpen() const {
  if (manager_->isCommitting_) {
    throw Orb::RangeException("session " + Orb::toText(name()) +
                              ": the operation is not allowed while a commit runs");
  }
  if (isOpen()) return;
  throw Orb::RangeException("session " + Orb::toText(name()) + " is in state " +
                            Orb::toText(state_) + ": the operation is not allowed");
}

Session::UnitName Session::unitOf(std::string_view path) const {
  return UnitName::ofPath(manager_->roots(), path);
}

Entity& Session::running(UnitName const& name) const { return *manager_->roots()[name.root]; }

/// Whether a path names all children of a root at once: as many units.
bool Session::isWholeChildren(UnitName const& name) const {
  return !name.isMember() && name.in(running(name)).kind() == AttributeKind::children;
}

// Following

/// Observers may commit another session, and so leave something to follow again.
void Session::follow(Unit& unit) const {
  while (unit.followed) {
    detail::Merge merge(unit, running(unit.name));
    merge.apply();
    unit.followed = nullptr;
    merge.notify();
  }
}

/// Lets all units follow, or those that are members of one attribute, until none is behind: also
/// not one whose turn came before. What is thrown ends that.
void Session::followAll(UnitName const* under) {
  for (bool isBehind = true; isBehind;) {
    isBehind = false;
    for (std::shared_ptr<Unit> const& held : *units_) {
      // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): it may leave its session
      std::shared_ptr<Unit> const unit = held;
      if (!unit->followed || (under && !unit->name.isMemberOf(*under))) continue;
      isBehind = true;
      follow(*unit);
    }
  }
}

// Edits

/// Makes an edit in a unit: `act(root, edits)` is given a root that holds the candidate; what it
/// returns is false when nothing was edited. A unit that is touched for it becomes the session's
/// when the edit has been made: until then nobody sees it, so what fails leaves nothing behind.
template <class Do>
auto Session::editing(UnitName const& name, Do const& act) {
  requireOpen();
  Ptr<Session> const alive(this);
  if (auto const* const touched = units_->find(name.path)) {
    std::shared_ptr<Unit> const unit = *touched;
    follow(*unit);
    requireOpen();
    return act(*unit->candidate, unit->edits);
  }
  auto const unit = std::make_shared<Unit>(name);
  unit->candidate = detail::copyOfUnit(name, running(name));
  auto result = act(*unit->candidate, unit->edits);
  if (result) units_->insertOrAssign(unit);
  return result;
}

void Session::attributeTextIs(std::string_view path, std::string_view text) {
  requireOpen();
  UnitName const name = unitOf(path);
  editing(name, [&](Entity& root, Edits& edits) {
    std::optional<Edits::Trial> claim;
    if (!name.isMember()) claim.emplace(edits, name.path, Claim::kept);
    Ptr<Entity> owner;
    root.isModifiedIs(false);
    try {
      Orb::attributeTextIs(root, path, text, Orb::CounterAccess::refuse, &owner);
    } catch (...) {
      if (claim && root.isModified()) claim->stays();  // an observer threw
      throw;
    }
    if (owner) owner->isModifiedIs(true);  // also when it was equal: it is what the session wants
    if (claim) claim->stays();
    return true;
  });
}

/// Makes what is not there; `isEdit` says that it is to be there also when it is.
Ptr<Entity> Session::makeAt(std::string_view path, bool isEdit) {
  UnitName const name = unitOf(path);
  Ptr<Entity> made;
  editing(name, [&](Entity& root, Edits& edits) {
    Orb::PathType const type = Orb::pathType(root.type(), path);
    std::optional<Edits::Trial> claim;
    if (isEdit && !type.ownedType.empty()) claim.emplace(edits, type.place, Claim::kept);
    Ptr<Entity> owner;
    made = Orb::attributeIs(root, path, &owner);
    if (claim) claim->stays();
    if (owner && isEdit) owner->isModifiedIs(true);
    return true;
  });
  return made;
}

Ptr<Entity> Session::attributeIs(std::string_view path) {
  requireOpen();
  return makeAt(path, true);
}

Ptr<Entity> Session::entityIs(std::string_view path, std::string_view typeName) {
  requireOpen();
  if (Orb::pathType(running(unitOf(path)).type(), path).ownedType != typeName) {
    throw Orb::RangeException(std::string(path) + ": this is no " + std::string(typeName));
  }
  return makeAt(path, false);
}

bool Session::attributeDel(std::string_view path) {
  requireOpen();
  UnitName const name = unitOf(path);
  if (path == name.path) {
    if (isWholeChildren(name)) return removeAll(name);
    if (name.isMember() && !units_->has(name.path)) return removeUnit(name);
  }
  return editing(name, [&](Entity& root, Edits& edits) {
    Orb::PathType const type = Orb::pathType(root.type(), path);
    std::optional<Edits::Trial> claim;
    bool const isOwned = !type.ownedType.empty();
    if (isOwned) {
      claim.emplace(edits, type.place, Claim::masked);
    } else if (!name.isMember()) {
      claim.emplace(edits, name.path, Claim::kept);
    }
    bool const wasThere = isOwned && Orb::ownedAt(root, type.place);
    root.isModifiedIs(false);
    try {
      bool const removed = Orb::attributeDel(root, path);
      if (removed && claim) claim->stays();
      return removed;
    } catch (...) {  // an observer, perhaps, when it was removed
      bool const isGone = isOwned ? wasThere && !Orb::ownedAt(root, type.place) : root.isModified();
      if (isGone && claim) claim->stays();
      throw;
    }
  });
}

/// Removes a unit that the session has not touched: nothing need be copied for it.
bool Session::removeUnit(UnitName const& name) {
  if (!name.entityIn(running(name))) return false;
  auto const unit = std::make_shared<Unit>(name);
  unit->candidate = running(name).type().make({});
  unit->edits.claim(name.path, Claim::masked);
  units_->insertOrAssign(unit);
  return true;
}

/// Removes all children of one attribute of a root: all of them, or none when memory runs out.
bool Session::removeAll(UnitName const& name) {
  Ptr<Session> const alive(this);
  followAll(&name);
  requireOpen();
  std::vector<std::shared_ptr<Unit>> there;
  for (std::shared_ptr<Unit> const& unit : *units_) {
    if (unit->name.isMemberOf(name) && unit->name.entityIn(*unit->candidate)) there.push_back(unit);
  }
  std::vector<std::shared_ptr<Unit>> added;
  name.in(std::as_const(running(name))).eachOwned([&](Orb::ValueRef key, Entity const&) {
    auto const unit = std::make_shared<Unit>(name.withKey(key.text()));
    if (units_->has(unit->name.path)) return;
    unit->candidate = running(name).type().make({});
    added.push_back(unit);
  });
  std::deque<Edits::Trial> claims;
  for (auto const* const units : {&there, &added}) {
    for (auto const& unit : *units) {
      claims.emplace_back(unit->edits, unit->name.path, Claim::masked);
    }
  }
  try {
    for (auto const& unit : added) units_->insertOrAssign(unit);
  } catch (...) {
    for (auto const& unit : added) units_->erase(unit->name.path);
    throw;
  }
  for (Edits::Trial& claim : claims) claim.stays();
  Orb::FirstError error;
  for (auto const& unit : there) {
    error.guard([&] { unit->name.in(*unit->candidate).clear(); });
  }
  error.rethrow();
  return !there.empty() || !added.empty();
}

// Reading

std::string Session::attributeText(std::string_view path) {
  requireOpen();
  Ptr<Session> const alive(this);
  UnitName const name = unitOf(path);
  if (path == name.path && isWholeChildren(name)) return wholeText(name, path);
  auto const* const touched = units_->find(name.path);
  if (!touched) return Orb::attributeText(running(name), path);
  std::shared_ptr<Unit> const unit = *touched;
  follow(*unit);
  requireOpen();
  return Orb::attributeText(*unit->candidate, path);
}

/// The keys of all children of one attribute of a root, in the order that it gives them.
std::string Session::wholeText(UnitName const& name, std::string_view path) {
  followAll(&name);
  requireOpen();
  Ptr<Entity> const all = running(name).type().make({});
  auto const add = [&](Orb::ValueRef key, Entity const&) { name.in(*all).makeOwned(key); };
  name.in(std::as_const(running(name))).eachOwned([&](Orb::ValueRef key, Entity const& entity) {
    if (!units_->has(name.withKey(key.text()).path)) add(key, entity);
  });
  for (std::shared_ptr<Unit> const& unit : *units_) {
    if (unit->name.isMemberOf(name)) name.in(std::as_const(*unit->candidate)).eachOwned(add);
  }
  return Orb::attributeText(*all, path);
}

void Session::difference(Orb::FunctionRef<void(Orb::Difference const&)> visit) {
  requireOpen();
  Ptr<Session> const alive(this);
  followAll();
  requireOpen();
  for (std::shared_ptr<Unit> const& held : *units_) {
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): it may leave its session
    std::shared_ptr<Unit> const unit = held;
    detail::unitDifferences(unit->name, running(unit->name), *unit->candidate, visit);
  }
}

// The end

CommitReport Session::commit() {
  requireOpen();
  Ptr<Session> const alive(this);
  return detail::Commit(*this).run();
}

void Session::abort() {
  requireOpen();
  Ptr<Session> const alive(this);
  close();
  state_ = sessionAborted;
  status_->stateIs(sessionAborted);
}

}  // namespace Cli::Session
