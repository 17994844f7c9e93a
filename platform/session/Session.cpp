#include "platform/session/Session.h"

#include <set>

#include "platform/orb/base/Error.h"
#include "platform/session/detail/Merge.h"

namespace Cli::Session {

using detail::OwnedPlace;
using Orb::AttributeInfo;
using Orb::AttributeKind;
using Orb::Entity;
using Orb::Ptr;
using Outcome = CommitItem::Outcome;

namespace {

/// Notes what an act throws as the report's error, unless there is one; whether it threw. What
/// `counts` takes the place of what does not.
template <class Do>
bool noting(CommitReport& report, std::string_view where, Do const& act, bool counts = false) {
  auto const note = [&](char const* error) {
    if (report.cause && !counts) return;
    report.cause = std::current_exception();
    report.error = std::string(where) + ": " + error;
  };
  try {
    act();
    return false;
  } catch (std::exception const& thrown) {
    note(thrown.what());
  } catch (...) {
    note("an unknown exception");
  }
  return true;
}

/// Tells the handlers, while it lives, for whom they work. They are told otherwise again in the end
/// because they belong to the directory and refer to it: a circle.
class HandlersAtWork {
 public:
  HandlersAtWork(HandlerTable const& table, Ptr<Entity> const& directory,
                 Ptr<SessionStatus> const& status, CommitReport& report)
      : report_(report) {
    for (auto const& handler : table.handlers()) {
      before_.push_back({handler, handler->sessionStatus(), handler->handlerTable(),
                         handler->handlerDir(), handler->externalDest()});
      tell({handler, status, Ptr<HandlerTable const>(&table), directory, true});
    }
  }
  ~HandlersAtWork() {
    for (auto const& before : before_) tell(before);
  }
  HandlersAtWork(HandlersAtWork const&) = delete;
  HandlersAtWork& operator=(HandlersAtWork const&) = delete;

 private:
  struct Work {
    Ptr<EntityCopyGlobalSessionHandler> handler;
    Ptr<SessionStatus> status;
    Ptr<HandlerTable const> table;
    Ptr<Entity> directory;
    bool external;
  };
  void tell(Work const& work) {
    auto const note = [&](auto const& act) { noting(report_, "a copy handler", act); };
    note([&] { work.handler->sessionStatusIs(work.status); });
    note([&] { work.handler->handlerTableIs(work.table); });
    note([&] { work.handler->handlerDirIs(work.directory); });
    note([&] { work.handler->externalDestIs(work.external); });
  }

  CommitReport& report_;
  std::vector<Work> before_;
};

/// A commit runs while it lives; whatever ends it, the session is open then.
class Committing {
 public:
  Committing(bool& isCommitting, SessionState& state) noexcept
      : isCommitting_(isCommitting), state_(state) {
    isCommitting_ = true;
  }
  ~Committing() {
    isCommitting_ = false;
    state_ = sessionOpen;
  }
  Committing(Committing const&) = delete;
  Committing& operator=(Committing const&) = delete;

 private:
  bool& isCommitting_;
  SessionState& state_;
};

std::string_view firstName(std::string_view path) {
  return path.substr(0, path.find_first_of(".["));
}

}  // namespace

std::string_view outcomeName(Outcome outcome) noexcept {
  switch (outcome) {
    case Outcome::unchanged:
      return "unchanged";
    case Outcome::created:
      return "created";
    case Outcome::changed:
      return "changed";
    case Outcome::deleted:
      return "deleted";
    case Outcome::failed:
      return "failed";
    case Outcome::notApplied:
      return "not applied";
  }
  return {};
}

Manager::Manager(std::vector<Ptr<Entity>> roots, Ptr<Entity> handlerDir)
    : roots_(std::move(roots)), handlerDir_(std::move(handlerDir)) {
  std::set<std::string_view> names;
  for (Ptr<Entity> const& root : roots_) {
    if (!root) {
      throw Orb::RangeException(Orb::nullParameterMessage("Cli::Session::Manager", "roots"));
    }
    for (AttributeInfo const& a : root->type().attributes) {
      if (names.insert(a.name).second) continue;
      throw Orb::RangeException("two roots with an attribute " + Orb::toText(Orb::String(a.name)) +
                                " are not allowed");
    }
  }
  blankRoots();
  if (handlerDir_) HandlerTable::fillDirectory(*handlerDir_);
}

Manager::~Manager() = default;

Ptr<Session> Manager::open(Orb::Name name) {
  return Orb::make<Session>(Ptr<Manager>(this), std::move(name));
}

std::vector<Ptr<Entity>> Manager::blankRoots() const {
  std::vector<Ptr<Entity>> blank;
  for (Ptr<Entity> const& root : roots_) {
    auto const* const named = dynamic_cast<Orb::NamedEntity const*>(root.get());
    blank.push_back(root->type().make(named ? named->name() : Orb::Name()));
    if (blank.back()) continue;
    throw Orb::RangeException(std::string(root->type().name) +
                              " cannot be made alone: it is not allowed as a root");
  }
  return blank;
}

Session::Session(Ptr<Manager> manager, Orb::Name name)
    : manager_(std::move(manager)),
      status_(Orb::make<SessionStatus>(std::move(name))),
      candidates_(manager_->blankRoots()) {
  manager_->open_.push_back(this);
}

Session::~Session() { close(); }

void Session::requireOpen() const {
  if (manager_->isCommitting_) {
    throw Orb::RangeException("session " + Orb::toText(name()) +
                              ": the operation is not allowed while a commit runs");
  }
  if (isOpen()) return;
  throw Orb::RangeException("session " + Orb::toText(name()) + " is in state " +
                            Orb::toText(state_) + ": the operation is not allowed");
}

auto Session::unitOf(std::string_view path) const -> Unit {
  std::string_view const name = firstName(path);
  for (std::size_t i = 0; i < manager_->roots().size(); ++i) {
    Entity const& root = *manager_->roots()[i];
    auto const& rows = root.type().attributes;
    AttributeInfo const* const a = findAttribute(rows, name);
    if (!a) continue;
    Unit unit{i, static_cast<Orb::AttrId>(a - rows.data()), std::string(name), {}, {}, {}, {}};
    bool const hasKey = path.substr(name.size()).starts_with('[');
    if (a->ops->kind != AttributeKind::children || !hasKey) return unit;
    Orb::ownedTypeAt(root.type(), path);  // throws what is wrong with it
    Orb::TextReader in(path.substr(name.size() + 1));
    a->ops->key->skip(in);
    unit.key = path.substr(name.size() + 1, path.size() - name.size() - 1 - in.rest().size());
    unit.path = std::string(name) + '[' + unit.key + ']';
    return unit;
  }
  throw Orb::RangeException(std::string(path) + ": no root has an attribute " +
                            Orb::toText(Orb::String(name)));
}

bool Session::isWholeChildren(Unit const& unit) const {
  return !unit.isMember() &&
         running(unit).type().attributes[unit.attribute].ops->kind == AttributeKind::children;
}

void Session::copyUnit(Unit const& unit, Roots const& to) const {
  auto const engine = Orb::make<EntityCopy>(nullptr, EntityCopy::Purpose::privateTree);
  if (!unit.isMember()) {
    engine->copyAttribute(unit.attribute, *to[unit.root], running(unit));
  } else if (auto const from = OwnedPlace(running(unit), unit.attribute, unit.key).child()) {
    auto const copy = OwnedPlace(*to[unit.root], unit.attribute, unit.key).childIs();
    engine->copyEntity(*copy, *from, {});
  }
}

void Session::touch(Unit unit, bool copies) {
  if (copies) copyUnit(unit, candidates_);
  touched_.emplace(unit.path, units_.size());
  units_.push_back(std::move(unit));
}

void Session::forgetLast() {
  Unit const& unit = units_.back();
  if (unit.isMember()) OwnedPlace(candidate(unit), unit.attribute, unit.key).del();
  touched_.erase(unit.path);
  units_.pop_back();
}

/// Touches what `path` leads into and edits it; a unit that was touched for an edit that fails is
/// not touched. Watchers of the candidate may do anything, even close the session.
template <class Do>
auto Session::editing(std::string_view path, Do const& act) {
  requireOpen();
  Ptr<Session> const alive(this);
  Unit const unit = unitOf(path);
  bool const isNew = !isTouched(unit.path) && !isWholeChildren(unit);
  if (isNew) {
    touch(unit);
  } else {
    follow(unit.path);
  }
  Ptr<Entity> const root(&candidate(unit));
  try {
    return act(*root);  // of all children at once, it throws that a key is needed
  } catch (...) {
    if (isNew && isOpen() && units_.back().path == unit.path) forgetLast();
    throw;
  }
}

/// What another session has committed since reaches the candidate where that has not been changed.
void Session::follow(std::string_view unitPath) {
  auto const at = touched_.find(unitPath);
  if (at == touched_.end() || !units_[at->second].base) return;
  Unit const unit = units_[at->second];
  Ptr<Entity> const root(&candidate(unit));
  bool conflict = false;
  if (unit.isMember()) {
    auto const before = OwnedPlace(*unit.base, unit.attribute, unit.key).child();
    auto const now = OwnedPlace(running(unit), unit.attribute, unit.key).child();
    conflict =
        detail::mergeOwned(before.get(), now.get(), OwnedPlace(*root, unit.attribute, unit.key));
  } else {
    conflict = detail::mergeAttribute(unit.attribute, *unit.base, running(unit), *root);
  }
  auto const again = touched_.find(unitPath);
  if (again == touched_.end()) return;
  Unit& merged = units_[again->second];
  merged.base = nullptr;
  auto others = std::exchange(merged.others, {});
  if (conflict) merged.overwrote.merge(others);
}

std::string Session::attributeText(std::string_view path) {
  requireOpen();
  Unit const unit = unitOf(path);
  follow(unit.path);
  if (isTouched(unit.path)) return Orb::attributeText(candidate(unit), path);
  if (!isWholeChildren(unit) || path != unit.path) return Orb::attributeText(running(unit), path);
  // The keys of both trees, in the order that the attribute gives them.
  auto const keys = manager_->blankRoots()[unit.root];
  for (Entity const* const root : {&running(unit), &candidate(unit)}) {
    bool const isCandidate = root != &running(unit);
    for (std::string const& key : OwnedPlace::keys(*root, unit.attribute)) {
      if (isTouched(unit.path + '[' + key + ']') != isCandidate) continue;
      OwnedPlace(*keys, unit.attribute, key).childIs();
    }
  }
  return Orb::attributeText(*keys, path);
}

void Session::attributeTextIs(std::string_view path, std::string_view text) {
  editing(path, [&](Entity& root) {
    std::string before;
    bool hadText = true;
    try {
      before = Orb::attributeText(root, path);
    } catch (Orb::RangeException const&) {
      hadText = false;
    }
    try {
      Orb::attributeTextIs(root, path, text, Orb::CounterAccess::refuse);
    } catch (Orb::RangeException const&) {
      try {
        if (hadText && Orb::attributeText(root, path) != before) {
          Orb::attributeTextIs(root, path, before);
        }
      } catch (Orb::RangeException const&) {
        // What was there was refused as well, and is stored again.
      }
      throw;
    }
  });
}

Ptr<Entity> Session::attributeIs(std::string_view path) {
  return editing(path, [&](Entity& root) { return Orb::attributeIs(root, path); });
}

Ptr<Entity> Session::entityIs(std::string_view path, std::string_view typeName) {
  requireOpen();
  if (Orb::ownedTypeAt(running(unitOf(path)).type(), path) != typeName) {
    throw Orb::RangeException(std::string(path) + ": this is no " + std::string(typeName));
  }
  return attributeIs(path);
}

bool Session::attributeDel(std::string_view path) {
  requireOpen();
  Unit const unit = unitOf(path);
  if (isWholeChildren(unit) && path == unit.path) {
    std::set<std::string> keys;
    for (Entity const* const root : {&running(unit), &candidate(unit)}) {
      for (std::string& key : OwnedPlace::keys(*root, unit.attribute)) keys.insert(std::move(key));
    }
    bool removed = false;
    for (std::string const& key : keys) {
      if (attributeDel(unit.path + '[' + key + ']')) removed = true;
    }
    return removed;
  }
  bool const isNew = !isTouched(unit.path);
  if (isNew && unit.isMember() && path == unit.path) {
    // Nothing need be copied to be removed.
    bool const isThere = OwnedPlace(running(unit), unit.attribute, unit.key).child() != nullptr;
    if (isThere) touch(unit, false);
    return isThere;
  }
  bool const removed = editing(path, [&](Entity& root) { return Orb::attributeDel(root, path); });
  if (!removed && isNew && isOpen() && units_.back().path == unit.path) forgetLast();
  return removed;
}

void Session::difference(Orb::FunctionRef<void(Orb::Difference const&)> visit) {
  requireOpen();
  std::size_t next = 0;  // watchers may touch more on the way
  while (next < units_.size()) follow(std::string(units_[next++].path));
  auto const tell = [&](Orb::Difference const& d) {
    if (d.attribute != AttributeKind::counter) visit(d);
  };
  for (Unit const& unit : units_) {
    AttributeInfo const& a = running(unit).type().attributes[unit.attribute];
    if (unit.isMember()) {
      auto const before = OwnedPlace(running(unit), unit.attribute, unit.key).child();
      auto const after = OwnedPlace(candidate(unit), unit.attribute, unit.key).child();
      Orb::ownedDifferences(a.ops->kind, before.get(), after.get(), tell, unit.path);
    } else {
      Orb::attributeDifferences(a, running(unit), candidate(unit), tell);
    }
  }
}

Outcome Session::apply(EntityCopy& engine, Unit const& unit) const {
  if (!unit.isMember()) {
    bool const changed = engine.copyAttribute(unit.attribute, running(unit), candidate(unit));
    return changed ? Outcome::changed : Outcome::unchanged;
  }
  OwnedPlace const to(running(unit), unit.attribute, unit.key);
  auto const source = OwnedPlace(candidate(unit), unit.attribute, unit.key).child();
  if (!source) {
    manager_->unannounced_.erase(to.child());
    return to.del() ? Outcome::deleted : Outcome::unchanged;
  }
  bool const isNew = !to.child();
  bool const changed = engine.copyEntity(*to.childIs(), *source, firstName(unit.path));
  return isNew ? Outcome::created : (changed ? Outcome::changed : Outcome::unchanged);
}

/// Other sessions that have touched the unit get it as it is before this commit.
void Session::keepBase(Unit const& unit) const {
  Ptr<Entity const> base;  // one for all
  for (Session* const other : manager_->open_) {
    auto const at = other->touched_.find(unit.path);
    if (other == this || at == other->touched_.end()) continue;
    Unit& theirs = other->units_[at->second];
    theirs.others.insert(name().str());
    if (theirs.base) continue;
    if (!base) {
      Roots const roots = manager_->blankRoots();
      copyUnit(unit, roots);
      base = roots[unit.root];
    }
    theirs.base = base;
  }
}

void Session::commitUnit(EntityCopy& engine, std::size_t index, CommitItem& item) {
  follow(std::string(units_[index].path));
  Unit& unit = units_[index];
  keepBase(unit);
  item.outcome = apply(engine, unit);
  if (item.outcome == Outcome::unchanged) return;
  for (std::string const& other : std::exchange(unit.overwrote, {})) {
    item.overwrote.append(item.overwrote.empty() ? "" : ", ").append(other);
  }
}

CommitReport Session::commit() {
  requireOpen();
  Ptr<Session> const alive(this);
  Ptr<Manager> const manager(manager_);
  auto const table = Orb::make<HandlerTable>();
  if (manager->handlerDir_) table->directoryIs(*manager->handlerDir_);
  auto const engine = Orb::make<EntityCopy>(table);
  engine->unannouncedIs(&manager->unannounced_);
  CommitReport report;
  // First of all, since those who watch the candidate may edit on, or close the session.
  std::size_t next = 0;
  while (next < units_.size()) {
    std::string const path = units_[next++].path;
    noting(report, path, [&] { follow(path); });
  }
  requireOpen();
  {
    Committing const committing(manager->isCommitting_, state_);
    stateIs(sessionCommitting, report);
    HandlersAtWork const handlers(*table, manager->handlerDir_, status_, report);
    for (std::size_t i = 0; i < units_.size(); ++i) {
      bool const goesOn = report.isComplete();
      CommitItem& item = report.items.emplace_back(CommitItem{units_[i].path, Outcome::notApplied});
      auto const act = [&] { commitUnit(*engine, i, item); };
      if (goesOn && noting(report, item.path, act, true)) item.outcome = Outcome::failed;
    }
  }
  if (report.isComplete()) {
    close();
    stateIs(sessionCommitted, report);
  } else {
    stateIs(sessionOpen, report);
  }
  return report;
}

void Session::stateIs(SessionState state, CommitReport& report) {
  state_ = state;
  noting(report, "the session's state", [&] { status_->stateIs(state); });
}

void Session::abort() {
  requireOpen();
  Ptr<Session> const alive(this);
  close();
  state_ = sessionAborted;
  status_->stateIs(sessionAborted);
}

void Session::close() {
  std::erase(manager_->open_, this);
  candidates_.clear();
  units_.clear();
  touched_.clear();
}

}  // namespace Cli::Session
