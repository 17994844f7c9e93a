#pragma once

#include <exception>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/orb/Difference.h"
#include "platform/orb/Path.h"
#include "platform/session/EntityCopy.h"

/// Configuration sessions: edits to a private copy of the running configuration, committed as a
/// whole.
///
/// A session works on units: each entity that a root owns by key (a list, a map), and each other
/// attribute of a root. A unit is copied into the session's candidate tree when it is first
/// touched, and a commit copies what was touched, in the order in which it was, into the running
/// tree. Everything here belongs to the one thread that changes the configuration.
namespace Cli::Session {

class Session;

/// What a commit did to one unit.
struct CommitItem {
  enum class Outcome {
    unchanged,  ///< it was as the session wanted it
    created,
    changed,
    deleted,
    failed,      ///< the copy raised: part of it may have been applied
    notApplied,  ///< it came after the one that failed
  };

  std::string path;  ///< of the unit, such as "prefixList['P']"
  Outcome outcome = Outcome::unchanged;
  /// The session whose commit to the unit, made after this session had touched it, has been
  /// written over; empty when there was none.
  std::string overwrote;
};
ROUTEPOLICY_EXPORT std::string_view outcomeName(CommitItem::Outcome outcome) noexcept;

struct CommitReport {
  std::vector<CommitItem> items;  ///< in the order in which the units were touched
  std::string error;              ///< why the commit failed; empty when it did not
  std::exception_ptr cause;       ///< the same as it was thrown

  bool isComplete() const noexcept { return !cause; }
};

/// The running roots, the handlers that commits use, and the sessions that are open over them.
class ROUTEPOLICY_EXPORT Manager : public Orb::RefCounted {
 public:
  /// The names of the roots' attributes must differ, since paths begin with them. `handlerDir`
  /// owns the handlers: see HandlerTable::directoryIs(); without one, no version is raised.
  /// RangeException for a null root, one that cannot be copied, and an ambiguous attribute.
  explicit Manager(std::vector<Orb::Ptr<Orb::Entity>> roots,
                   Orb::Ptr<Orb::Entity> handlerDir = nullptr);
  ~Manager() override;

  /// A new session; it stays open until it is committed, aborted or dropped.
  Orb::Ptr<Session> open(Orb::Name name);

  std::vector<Orb::Ptr<Orb::Entity>> const& roots() const noexcept { return roots_; }
  Orb::Ptr<HandlerTable> const& handlers() const noexcept { return handlers_; }

 private:
  friend Session;
  struct Commit {
    Orb::U64 number;
    Orb::Name session;
  };
  void closed() noexcept;

  std::vector<Orb::Ptr<Orb::Entity>> const roots_;
  Orb::Ptr<Orb::Entity> const handlerDir_;
  Orb::Ptr<HandlerTable> const handlers_;
  std::map<std::string, Commit, std::less<>> commits_;  // the last one to each unit
  Orb::U64 commitNumber_ = 0;
  std::size_t openSessions_ = 0;
};

/// One session. What is wrong with a path or a text is thrown as Path.h says, and leaves the
/// candidate as it was.
class ROUTEPOLICY_EXPORT Session : public Orb::RefCounted {
 public:
  ~Session() override;

  Orb::Ptr<SessionStatus> const& status() const noexcept { return status_; }
  Orb::Name const& name() const noexcept { return status_->name(); }
  bool isOpen() const noexcept { return status_->state() == sessionOpen; }

  /// The candidate's entity at `path`, touched, and made when it is not there: change it by its
  /// own mutators. It belongs to the session, and nobody changes it once that is closed. A path
  /// that leads to something else than an E is a RangeException.
  template <class E>
  Orb::Ptr<E> edit(std::string_view path) {
    return Orb::ptrCast<E>(entityIs(path, E::typeName, [](Orb::Entity const& entity) {
      return dynamic_cast<E const*>(&entity) != nullptr;
    }));
  }

  /// The functions of Path.h on the candidate. Reading touches nothing: what is not touched is
  /// read from the running tree. Counters cannot be set: commits raise them.
  std::string attributeText(std::string_view path) const;
  void attributeTextIs(std::string_view path, std::string_view text);
  Orb::Ptr<Orb::Entity> attributeIs(std::string_view path);
  bool attributeDel(std::string_view path);

  /// Visits what a commit would change now, unit by unit.
  void difference(Orb::FunctionRef<void(Orb::Difference const& difference)> visit) const;

  /// Copies what was touched into the running tree, by the handlers of the directory; removes what
  /// the session removed. Commits of other sessions are written over, unit by unit, and the report
  /// tells so. A commit that succeeds closes the session. One that fails stops where it did; the
  /// session stays open, so that what was wrong can be mended and the rest committed.
  CommitReport commit();
  /// Closes the session and forgets its candidate; nothing is applied.
  void abort();

  /// By Manager::open().
  Session(Orb::Ptr<Manager> manager, Orb::Name name);

 private:
  /// A member of a root's attribute, or a whole attribute of a root.
  struct Unit {
    std::size_t root;
    Orb::AttrId attribute;
    std::string path;
    bool isMember;
    Orb::U64 touched = 0;  // the number of the last commit before
  };

  Orb::Ptr<Orb::Entity> entityIs(std::string_view path, std::string_view typeName,
                                 Orb::FunctionRef<bool(Orb::Entity const& entity)> isOfType);
  void requireOpen() const;

  Unit unitOf(std::string_view path) const;
  bool isTouched(std::string_view unitPath) const { return touched_.contains(unitPath); }
  /// Puts the unit into the candidate tree, as it is now; whether it was not there yet.
  bool touch(Unit unit);
  void forgetLast();
  template <class Do>
  auto editing(std::string_view path, Do const& act);
  void eachMember(Unit const& attribute,
                  Orb::FunctionRef<void(std::string const& path)> visit) const;

  Orb::Entity& running(Unit const& unit) const { return *manager_->roots()[unit.root]; }
  Orb::Entity& candidate(Unit const& unit) const { return *candidates_[unit.root]; }
  /// Of the commit.
  CommitItem::Outcome apply(EntityCopy& engine, Unit const& unit) const;
  void close(SessionState state);

  Orb::Ptr<Manager> const manager_;
  Orb::Ptr<SessionStatus> const status_;
  std::vector<Orb::Ptr<Orb::Entity>> candidates_;  // one a root, with what was touched in it
  std::vector<Unit> units_;                        // in the order in which they were touched
  std::set<std::string, std::less<>> touched_;     // their paths
};

}  // namespace Cli::Session
