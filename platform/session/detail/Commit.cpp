#include "platform/session/detail/Commit.h"

#include "platform/session/detail/Merge.h"

namespace Cli::Session {

std::string_view outcomeName(CommitItem::Outcome outcome) noexcept {
  using Outcome = CommitItem::Outcome;
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

}  // namespace Cli::Session

// Who is written over. A commit changes the running tree, and leaves with every other session that
// has touched the unit what it changed, under its author's name. When such a session commits in its
// turn, each path of its own changes is held against these, the latest commit first: a path that a
// later one has written over already is that one's, not the earlier one's.
//
// What a commit changed is not worked out at once, which would cost a comparison of trees that
// mostly nobody asks for, but when the next commit to the unit is about to change the running tree
// again: until then, the tree as it was before the commit is kept (ForeignCommit::before), and
// compared with the running tree it gives the changes.

namespace Cli::Session::detail {

using Orb::Entity;
using Orb::Ptr;
using Outcome = CommitItem::Outcome;

namespace {

/// Which of two errors a report keeps.
enum class Noted { first, last };

/// Notes what an act throws as the report's error; whether it threw. Does not throw itself: when
/// memory runs out, the report says that.
template <class Do>
bool noting(CommitReport& report, std::string_view where, Do const& act,
            Noted noted = Noted::first) noexcept {
  auto const note = [&](char const* error) noexcept {
    if (report.cause && noted == Noted::first) return;
    report.cause = std::current_exception();
    try {
      report.error = std::string(where).append(": ").append(error);
    } catch (std::bad_alloc const&) {
      report.error = "out of memory";  // short enough to need none
    }
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

/// Sets the handlers up for a session, until it ends. They belong to the directory and refer to it
/// meanwhile: what they referred to before is put back whatever happens, or nothing of the
/// directory would ever be freed.
class HandlersAtWork {
 public:
  HandlersAtWork(HandlerTable const& table, CommitReport& report) : report_(report) {
    for (auto const& handler : table.handlers()) {
      before_.push_back({handler, handler->sessionStatus(), handler->handlerTable(),
                         handler->handlerDir(), handler->externalDest()});
    }
  }
  void begin(Ptr<HandlerTable const> const& table, Ptr<Entity> const& directory,
             Ptr<SessionStatus> const& status) noexcept {
    for (Setup const& before : before_) setUp({before.handler, status, table, directory, true});
  }
  ~HandlersAtWork() {
    for (Setup const& before : before_) setUp(before);
  }
  HandlersAtWork(HandlersAtWork const&) = delete;
  HandlersAtWork& operator=(HandlersAtWork const&) = delete;

 private:
  struct Setup {
    Ptr<EntityCopyGlobalSessionHandler> handler;
    Ptr<SessionStatus> status;
    Ptr<HandlerTable const> table;
    Ptr<Entity> directory;
    bool external;
  };
  void setUp(Setup const& setup) noexcept {
    auto const note = [&](auto const& act) { noting(report_, "a copy handler", act); };
    note([&] { setup.handler->sessionStatusIs(setup.status); });
    note([&] { setup.handler->handlerTableIs(setup.table); });
    note([&] { setup.handler->handlerDirIs(setup.directory); });
    note([&] { setup.handler->externalDestIs(setup.external); });
  }

  CommitReport& report_;
  std::vector<Setup> before_;
};

/// A commit runs while it lives.
class Committing {
 public:
  explicit Committing(bool& isCommitting) noexcept : isCommitting_(isCommitting) {
    isCommitting_ = true;
  }
  ~Committing() { isCommitting_ = false; }
  Committing(Committing const&) = delete;
  Committing& operator=(Committing const&) = delete;

 private:
  bool& isCommitting_;
};

/// Whether a change at one of these paths writes over one at `other`: at the same place, or at one
/// that holds it.
bool anyWritesOver(std::set<std::string, std::less<>> const& paths, std::string_view other) {
  for (std::size_t end = 0; end <= other.size(); ++end) {
    bool const isPath = end == other.size() || other[end] == '.' || other[end] == '[';
    if (isPath && paths.contains(other.substr(0, end))) return true;
  }
  return false;
}

}  // namespace

Commit::Commit(Session& session)
    : session_(session),
      manager_(session.manager_),
      table_(Orb::make<HandlerTable>()),
      engine_(Orb::make<EntityCopy>(table_)) {
  if (manager_->handlerDir_) table_->directoryIs(*manager_->handlerDir_);
}

CommitReport Commit::run() {
  followAll();
  session_.requireOpen();
  prepareReport();
  {
    Committing const committing(manager_->isCommitting_);
    HandlersAtWork handlers(*table_, report_);
    stateIs(sessionCommitting);
    handlers.begin(table_, manager_->handlerDir_, session_.status_);
    bool goesOn = true;
    std::size_t next = 0;
    for (std::shared_ptr<Unit> const& unit : *session_.units_) {
      CommitItem& item = report_.items[next++];
      if (!goesOn) break;
      goesOn = !noting(
          report_, item.path, [&] { commitUnit(*unit, item); }, Noted::last);
      if (!goesOn) item.outcome = Outcome::failed;
    }
    session_.state_ = sessionOpen;
  }
  if (report_.isComplete()) {
    session_.close();
    stateIs(sessionCommitted);
  } else {
    stateIs(sessionOpen);
  }
  return std::move(report_);
}

void Commit::followAll() {
  for (bool isBehind = true; isBehind;) {
    isBehind = false;
    for (std::shared_ptr<Unit> const& held : *session_.units_) {
      // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): it may leave its session
      std::shared_ptr<Unit> const unit = held;
      if (!unit->followed) continue;
      isBehind = true;  // an observer may commit what another unit is to follow then
      Merge merge(*unit, running(unit->name));
      merge.apply();
      unit->followed = nullptr;
      noting(report_, unit->name.path, [&] { merge.notify(); });
    }
  }
}

void Commit::prepareReport() {
  report_.items.reserve(session_.units_->size());
  for (std::shared_ptr<Unit> const& unit : *session_.units_) {
    report_.items.push_back({unit->name.path});
  }
}

void Commit::stateIs(SessionState state) {
  session_.state_ = state;
  noting(report_, "the session's state", [&] { session_.status_->stateIs(state); });
}

// One unit

void Commit::commitUnit(Unit& unit, CommitItem& item) {
  Entity const& runs = running(unit.name);
  Places mine;
  if (!unit.foreign.empty()) {
    resolve(unit, runs);
    mine = changesOf(unit.name, runs, *unit.candidate);
    item.overwrote = authorsOf(mine, unit);
  }
  announceToOthers(unit);
  try {
    item.outcome = apply(unit);
  } catch (...) {
    if (mine.empty()) throw;
    try {  // what still differs has not been written over
      for (std::string const& left : changesOf(unit.name, runs, *unit.candidate)) mine.erase(left);
      item.overwrote = authorsOf(mine, unit);
    } catch (std::bad_alloc const&) {
      item.overwrote.clear();
    }
    throw;
  }
}

/// Sees to it that the other sessions that have touched the unit can follow it: they keep what it
/// was before this commit, and learn who changed what. When this throws, nothing has been changed.
void Commit::announceToOthers(Unit const& unit) {
  std::vector<std::shared_ptr<Unit>> others;
  for (Session const* const other : manager_->open_) {
    auto const* const touched = other->units_->find(unit.name.path);
    if (other != &session_ && touched) others.push_back(*touched);
  }
  if (others.empty()) return;
  auto const commit = std::make_shared<ForeignCommit>();
  commit->author = session_.name().str();
  commit->before = copyOfUnit(unit.name, running(unit.name));
  for (auto const& other : others) {
    resolve(*other, running(unit.name));
    other->foreign.reserve(2 * other->foreign.size() + 1);
  }
  for (auto const& other : others) {
    other->foreign.push_back(commit);
    if (!other->base) other->base = commit->before;
    if (!other->followed) other->followed = commit->before;
  }
}

/// Finds out what the last of the others' commits changed, now that the next one is about to.
void Commit::resolve(Unit const& unit, Entity const& running) {
  if (unit.foreign.empty()) return;
  ForeignCommit& last = *unit.foreign.back();
  if (!last.before) return;
  last.changes = changesOf(unit.name, *last.before, running);
  last.before = nullptr;
}

Commit::Places Commit::changesOf(UnitName const& name, Entity const& before, Entity const& after) {
  Places paths;
  unitDifferences(name, before, after, [&](Orb::Difference const& d) { paths.insert(d.path); });
  return paths;
}

/// The authors of the commits of which something is written over by changes at `mine`: something
/// that no later commit has written over already.
std::string Commit::authorsOf(Places const& mine, Unit const& unit) {
  std::vector<std::string> authors;
  Places later;
  for (std::size_t i = unit.foreign.size(); i-- > 0;) {
    ForeignCommit const& commit = *unit.foreign[i];
    bool const isHit =
        std::any_of(commit.changes.begin(), commit.changes.end(), [&](std::string const& path) {
          return anyWritesOver(mine, path) && !anyWritesOver(later, path);
        });
    if (isHit && std::find(authors.begin(), authors.end(), commit.author) == authors.end()) {
      authors.push_back(commit.author);
    }
    later.insert(commit.changes.begin(), commit.changes.end());
  }
  std::reverse(authors.begin(), authors.end());
  std::string text;
  for (std::string const& author : authors) text.append(text.empty() ? "" : ", ").append(author);
  return text;
}

Outcome Commit::apply(Unit const& unit) {
  Entity& root = running(unit.name);
  if (!unit.name.isMember()) {
    bool const changed = engine_->copyAttribute(unit.name.attribute, root, *unit.candidate);
    return changed ? Outcome::changed : Outcome::unchanged;
  }
  Orb::MutableAttributeRef const to = unit.name.in(root);
  Ptr<Entity const> const source = unit.name.entityIn(std::as_const(*unit.candidate));
  Outcome outcome = Outcome::unchanged;
  to.withKey(unit.name.key, [&](Orb::ValueRef key) {
    Ptr<Entity> target = to.owned(key);
    if (!source) {
      if (to.eraseOwned(key)) outcome = Outcome::deleted;
      return;
    }
    bool const isNew = !target;
    try {
      if (isNew) target = to.makeOwned(key);
    } catch (...) {
      // An observer threw; the entity is there, but no version has been raised for it.
      if (auto const made = to.owned(key)) made->isUnannouncedIs(true);
      throw;
    }
    std::string_view const attribute = to.name();
    bool const changed = engine_->copyEntity(*target, *source, attribute);
    outcome = isNew ? Outcome::created : (changed ? Outcome::changed : Outcome::unchanged);
  });
  return outcome;
}

}  // namespace Cli::Session::detail
