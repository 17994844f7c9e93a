#include "platform/session/Session.h"

#include "platform/orb/Error.h"

namespace Cli::Session {

using Orb::AttributeInfo;
using Orb::AttributeKind;
using Orb::Entity;
using Orb::Ptr;
using Outcome = CommitItem::Outcome;

namespace {

/// A unit's attribute in one of the trees, and the key that its path has there.
class PlaceInRoot {
 public:
  PlaceInRoot(Entity& root, Orb::AttrId attribute, std::string_view path)
      : ops_(*root.type().attributes[attribute].ops),
        place_{const_cast<void*>(root.type().attributes[attribute].object(&root)), &root,
               attribute},
        key_(path.substr(path.find('[') + 1)) {}

  Ptr<Entity> child() const {
    Orb::TextReader key = key_;
    return Ptr<Entity>(ops_.child(place_.attribute, &key));
  }
  Ptr<Entity> childIs() const {
    Orb::TextReader key = key_;
    return ops_.childIs(place_, &key);
  }
  bool del() const {
    Orb::TextReader key = key_;
    return ops_.delMember(place_, &key);
  }

 private:
  Orb::AttributeOps const& ops_;
  Orb::Place const place_;
  Orb::TextReader const key_;
};

/// Tells the handlers, while it lives, for whom they work.
class HandlersAtWork {
 public:
  HandlersAtWork(Ptr<HandlerTable> const& table, Ptr<Entity> const& directory,
                 Ptr<SessionStatus> const& status)
      : table_(table) {
    for (auto const& entry : table_->handlers()) {
      entry.handler->sessionStatusIs(status);
      entry.handler->handlerTableIs(table_);
      entry.handler->handlerDirIs(directory);
      entry.handler->externalDestIs(true);
    }
  }
  ~HandlersAtWork() {
    // The handlers belong to the directory and refer to it: the circle is opened again.
    for (auto const& entry : table_->handlers()) {
      entry.handler->sessionStatusIs(nullptr);
      entry.handler->handlerTableIs(nullptr);
      entry.handler->handlerDirIs(nullptr);
      entry.handler->externalDestIs(false);
    }
  }
  HandlersAtWork(HandlersAtWork const&) = delete;
  HandlersAtWork& operator=(HandlersAtWork const&) = delete;

 private:
  Ptr<HandlerTable> const table_;
};

std::string_view firstName(std::string_view path) {
  return path.substr(0, path.find_first_of(".["));
}

bool ownsMembers(AttributeInfo const& a) { return a.ops->kind == AttributeKind::children; }

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
    : roots_(std::move(roots)),
      handlerDir_(std::move(handlerDir)),
      handlers_(Orb::make<HandlerTable>()) {
  std::set<std::string_view> names;
  for (Ptr<Entity> const& root : roots_) {
    if (!root)
      throw Orb::RangeException(Orb::nullParameterMessage("Cli::Session::Manager", "roots"));
    for (AttributeInfo const& a : root->type().attributes) {
      if (names.insert(a.name).second) continue;
      throw Orb::RangeException("two roots with an attribute " + Orb::toText(Orb::String(a.name)) +
                                " are not allowed");
    }
  }
  if (handlerDir_) handlers_->directoryIs(*handlerDir_);
}

Manager::~Manager() = default;

Ptr<Session> Manager::open(Orb::Name name) {
  return Orb::make<Session>(Ptr<Manager>(this), std::move(name));
}

void Manager::closed() noexcept {
  if (--openSessions_ == 0) commits_.clear();  // nobody is left to be told of them
}

Session::Session(Ptr<Manager> manager, Orb::Name name)
    : manager_(std::move(manager)), status_(Orb::make<SessionStatus>(std::move(name))) {
  for (Ptr<Entity> const& root : manager_->roots()) {
    auto const* const named = dynamic_cast<Orb::NamedEntity const*>(root.get());
    candidates_.push_back(root->type().make(named ? named->name() : Orb::Name()));
    if (candidates_.back()) continue;
    throw Orb::RangeException(std::string(root->type().name) +
                              " cannot be made alone: it is not allowed as a root");
  }
  ++manager_->openSessions_;
}

Session::~Session() {
  if (isOpen()) manager_->closed();
}

void Session::requireOpen() const {
  if (isOpen()) return;
  throw Orb::RangeException("session " + Orb::toText(name()) + " is in state " +
                            Orb::toText(status_->state()) + ": the operation is not allowed");
}

auto Session::unitOf(std::string_view path) const -> Unit {
  std::string_view const name = firstName(path);
  for (std::size_t i = 0; i < manager_->roots().size(); ++i) {
    Entity const& root = *manager_->roots()[i];
    auto const& rows = root.type().attributes;
    AttributeInfo const* const a = findAttribute(rows, name);
    if (!a) continue;
    Unit unit{i, static_cast<Orb::AttrId>(a - rows.data()), std::string(name), false};
    if (!ownsMembers(*a) || !path.substr(name.size()).starts_with('[')) return unit;
    Orb::TextReader in(path.substr(name.size() + 1));
    try {
      a->ops->child(a->object(&root), &in);
      in.literal("]");
    } catch (Orb::RangeException const& error) {
      throw Orb::ParseException(std::string(path), error.what());
    }
    unit.path = path.substr(0, path.size() - in.rest().size());
    unit.isMember = true;
    return unit;
  }
  throw Orb::RangeException(std::string(path) + ": no root has an attribute " +
                            Orb::toText(Orb::String(name)));
}

bool Session::touch(Unit unit) {
  if (isTouched(unit.path)) return false;
  auto const engine = Orb::make<EntityCopy>(nullptr, EntityCopy::Purpose::privateTree);
  AttributeInfo const& a = running(unit).type().attributes[unit.attribute];
  if (!unit.isMember) {
    engine->copyAttribute(a, unit.attribute, candidate(unit), running(unit));
  } else if (auto const source = PlaceInRoot(running(unit), unit.attribute, unit.path).child()) {
    auto const copy = PlaceInRoot(candidate(unit), unit.attribute, unit.path).childIs();
    engine->copyEntity(*copy, *source, a.name);
  }
  unit.touched = manager_->commitNumber_;
  touched_.insert(unit.path);
  units_.push_back(std::move(unit));
  return true;
}

void Session::forgetLast() {
  Unit const& unit = units_.back();
  if (unit.isMember) PlaceInRoot(candidate(unit), unit.attribute, unit.path).del();
  touched_.erase(unit.path);
  units_.pop_back();
}

/// Touches what `path` leads into and edits it; a unit that was touched for an edit that fails is
/// not touched. Nor are all members of an attribute at once: such a path leads to no place that can
/// be edited, and copying them would undo what was edited in one of them.
template <class Do>
auto Session::editing(std::string_view path, Do const& act) {
  requireOpen();
  Unit const unit = unitOf(path);
  bool const isOneUnit =
      unit.isMember || !ownsMembers(running(unit).type().attributes[unit.attribute]);
  bool const isNew = isOneUnit && touch(unit);
  try {
    return act(candidate(unit));
  } catch (...) {
    if (isNew) forgetLast();
    throw;
  }
}

/// The paths of all members that an attribute of a root has for this session.
void Session::eachMember(Unit const& attribute,
                         Orb::FunctionRef<void(std::string const&)> visit) const {
  auto const walk = [&](Entity const& root, bool ofTouched) {
    AttributeInfo const& a = root.type().attributes[attribute.attribute];
    a.ops->differ(nullptr, a.object(&root), [&](Orb::MemberDifference const& member) {
      std::string path = attribute.path + '[';
      a.ops->key->write(path, member.key);
      path += ']';
      if (isTouched(path) == ofTouched) visit(path);
    });
  };
  walk(running(attribute), false);
  walk(candidate(attribute), true);
}

std::string Session::attributeText(std::string_view path) const {
  requireOpen();
  Unit const unit = unitOf(path);
  if (isTouched(unit.path)) return Orb::attributeText(candidate(unit), path);
  bool const isWhole = unit.path.size() == path.size();
  if (unit.isMember || !isWhole || !ownsMembers(running(unit).type().attributes[unit.attribute])) {
    return Orb::attributeText(running(unit), path);
  }
  std::string text;
  eachMember(unit, [&](std::string const& member) {
    std::string_view key = std::string_view(member).substr(unit.path.size() + 1);
    key.remove_suffix(1);
    text.append(text.empty() ? "{ " : ", ").append(key);
  });
  return text.empty() ? "{}" : text + " }";
}

void Session::attributeTextIs(std::string_view path, std::string_view text) {
  editing(path, [&](Entity& root) {
    // A mutator may store what it objects to: the old value is put back then.
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
        // What was there was objected to as well, and is stored again.
      }
      throw;
    }
  });
}

Ptr<Entity> Session::attributeIs(std::string_view path) {
  return editing(path, [&](Entity& root) { return Orb::attributeIs(root, path); });
}

Ptr<Entity> Session::entityIs(std::string_view path, std::string_view typeName,
                              Orb::FunctionRef<bool(Entity const&)> isOfType) {
  return editing(path, [&](Entity& root) {
    bool wasThere = true;
    try {
      Orb::visitPath(root, path, [](Orb::PathTarget const&) {});
    } catch (Orb::RangeException const&) {
      wasThere = false;
    }
    auto entity = Orb::attributeIs(root, path);
    if (entity && isOfType(*entity)) return entity;
    if (!wasThere) Orb::attributeDel(root, path);
    throw Orb::RangeException(std::string(path) + ": this is no " + std::string(typeName));
  });
}

bool Session::attributeDel(std::string_view path) {
  requireOpen();
  Unit const unit = unitOf(path);
  if (!unit.isMember && ownsMembers(running(unit).type().attributes[unit.attribute]) &&
      unit.path.size() == path.size()) {
    std::vector<std::string> members;
    eachMember(unit, [&](std::string const& member) { members.push_back(member); });
    for (std::string const& member : members) attributeDel(member);
    return !members.empty();
  }
  bool const wasTouched = isTouched(unit.path);
  bool const removed = editing(path, [&](Entity& root) { return Orb::attributeDel(root, path); });
  if (!removed && !wasTouched) forgetLast();
  return removed;
}

void Session::difference(Orb::FunctionRef<void(Orb::Difference const&)> visit) const {
  requireOpen();
  auto const tell = [&](Orb::Difference const& d) {
    if (d.attribute != AttributeKind::counter) visit(d);
  };
  for (Unit const& unit : units_) {
    AttributeInfo const& a = running(unit).type().attributes[unit.attribute];
    if (unit.isMember) {
      auto const before = PlaceInRoot(running(unit), unit.attribute, unit.path).child();
      auto const after = PlaceInRoot(candidate(unit), unit.attribute, unit.path).child();
      Orb::ownedDifferences(a.ops->kind, before.get(), after.get(), tell, unit.path);
    } else {
      Orb::attributeDifferences(a, running(unit), candidate(unit), tell);
    }
  }
}

Outcome Session::apply(EntityCopy& engine, Unit const& unit) const {
  AttributeInfo const& a = running(unit).type().attributes[unit.attribute];
  if (!unit.isMember) {
    bool const changed = engine.copyAttribute(a, unit.attribute, running(unit), candidate(unit));
    return changed ? Outcome::changed : Outcome::unchanged;
  }
  PlaceInRoot const to(running(unit), unit.attribute, unit.path);
  auto const source = PlaceInRoot(candidate(unit), unit.attribute, unit.path).child();
  if (!source) return to.del() ? Outcome::deleted : Outcome::unchanged;
  bool const isNew = !to.child();
  bool const changed = engine.copyEntity(*to.childIs(), *source, a.name);
  return isNew ? Outcome::created : (changed ? Outcome::changed : Outcome::unchanged);
}

CommitReport Session::commit() {
  requireOpen();
  Ptr<Session> const alive(this);
  status_->stateIs(sessionCommitting);
  CommitReport report;
  Orb::U64 const number = ++manager_->commitNumber_;
  {
    HandlersAtWork const handlers(manager_->handlers_, manager_->handlerDir_, status_);
    auto const engine = Orb::make<EntityCopy>(manager_->handlers_);
    for (Unit& unit : units_) {
      CommitItem& item = report.items.emplace_back(CommitItem{unit.path, Outcome::notApplied, {}});
      if (report.cause) continue;
      try {
        item.outcome = apply(*engine, unit);
      } catch (std::exception const& error) {
        item.outcome = Outcome::failed;
        report.cause = std::current_exception();
        report.error = unit.path + ": " + error.what();
      } catch (...) {
        item.outcome = Outcome::failed;
        report.cause = std::current_exception();
        report.error = unit.path + ": an unknown exception";
      }
      if (item.outcome == Outcome::unchanged) continue;
      Manager::Commit& last = manager_->commits_[unit.path];
      if (last.number > unit.touched) item.overwrote = last.session.str();
      last = {number, name()};
      unit.touched = number;
    }
  }
  if (report.isComplete()) {
    close(sessionCommitted);
  } else {
    status_->stateIs(sessionOpen);
  }
  return report;
}

void Session::abort() {
  requireOpen();
  close(sessionAborted);
}

void Session::close(SessionState state) {
  candidates_.clear();
  units_.clear();
  touched_.clear();
  manager_->closed();
  status_->stateIs(state);
}

}  // namespace Cli::Session
