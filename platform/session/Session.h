#pragma once

#include <algorithm>
#include <exception>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/orb/model/Difference.h"
#include "platform/orb/model/Path.h"
#include "platform/session/EntityCopy.h"

/// Configuration sessions: edits to a private copy of the running configuration, committed as a
/// whole.
///
/// A session works on units: each entity that a root owns by key (a list, a map), and each other
/// attribute of a root. A unit is copied into the session's candidate tree when it is first
/// touched, and a commit copies what was touched, in the order in which it was, into the running
/// tree. When another session commits a unit that this one has touched as well, the entities in it
/// that this session has not changed follow, at the latest when it commits; those that it has
/// changed win then, and its report says over whom. What others change in the running tree directly
/// is not seen.
///
/// While one session commits, no other of the same manager can be read, edited or committed, by
/// those whom the commit tells: they do it in a later turn of the event loop.
///
/// Everything here belongs to the one thread that changes the configuration.
namespace Cli::Session {

class Session;

/// What a commit did to one unit.
struct CommitItem {
  enum class Outcome {
    unchanged,  ///< it was as the session wanted it
    created,
    changed,
    deleted,
    failed,      ///< the copy raised: what it had changed before stays, unannounced
    notApplied,  ///< it came after the one that failed
  };

  std::string path;  ///< of the unit, such as "prefixList['P']"
  Outcome outcome = Outcome::unchanged;
  /// The sessions that have committed the unit after this session had touched it, when something of
  /// that has been written over; parted by ", ".
  std::string overwrote = {};

  bool isApplied() const noexcept { return outcome < Outcome::failed; }
};
ROUTEPOLICY_EXPORT std::string_view outcomeName(CommitItem::Outcome outcome) noexcept;

struct CommitReport {
  std::vector<CommitItem> items;  ///< in the order in which the units were touched
  /// Why the commit failed, or what those told of the session's state objected; empty otherwise.
  std::string error;
  std::exception_ptr cause;  ///< what was thrown

  /// Whether everything was applied.
  bool isComplete() const noexcept {
    return std::all_of(items.begin(), items.end(), [](auto const& i) { return i.isApplied(); });
  }
};

/// The running roots, the handlers that commits use, and the sessions that are open over them.
class ROUTEPOLICY_EXPORT Manager : public Orb::RefCounted {
 public:
  /// The names of the roots' attributes must differ, since paths begin with them. The handlers are
  /// those of `handlerDir`: the ones that it does not hold yet are made, and each commit takes what
  /// it holds then (see HandlerTable). Without a directory no version is raised. RangeException
  /// for a null root, one that cannot be made alone, and an ambiguous attribute.
  explicit Manager(std::vector<Orb::Ptr<Orb::Entity>> roots,
                   Orb::Ptr<Orb::Entity> handlerDir = nullptr);
  ~Manager() override;

  /// A new session; it stays open until it is committed, aborted or dropped.
  Orb::Ptr<Session> open(Orb::Name name);

  std::vector<Orb::Ptr<Orb::Entity>> const& roots() const noexcept { return roots_; }

 private:
  friend Session;
  std::vector<Orb::Ptr<Orb::Entity>> blankRoots() const;

  std::vector<Orb::Ptr<Orb::Entity>> const roots_;
  Orb::Ptr<Orb::Entity> const handlerDir_;
  std::vector<Session*> open_;
  bool isCommitting_ = false;
  EntityCopy::Unannounced unannounced_;
};

/// One session. What is wrong with a path or a text is thrown as Path.h says, and leaves the
/// candidate as it was. What needs an open session throws a RangeException in a closed one.
class ROUTEPOLICY_EXPORT Session : public Orb::RefCounted {
 public:
  /// By Manager::open().
  Session(Orb::Ptr<Manager> manager, Orb::Name name);
  ~Session() override;

  Orb::Ptr<SessionStatus> const& status() const noexcept { return status_; }
  Orb::Name const& name() const noexcept { return status_->name(); }
  bool isOpen() const noexcept { return state_ == sessionOpen; }

  /// The candidate's entity at `path`, touched, and made when it is not there: change it by its
  /// own mutators. It belongs to the session: nobody reads it once that is closed, or once it has
  /// left its owner, because another session's commit removed it (its notifiees are told then). A
  /// path that leads to something else than an E is a RangeException.
  template <class E>
  Orb::Ptr<E> edit(std::string_view path) {
    return Orb::ptrCast<E>(entityIs(path, E::typeName));
  }

  /// The functions of Path.h on the candidate. Reading touches nothing: what is not touched is
  /// read from the running tree. Counters cannot be set: commits raise them. A value that its
  /// mutator stores though it refuses it is not stored here.
  std::string attributeText(std::string_view path);
  void attributeTextIs(std::string_view path, std::string_view text);
  Orb::Ptr<Orb::Entity> attributeIs(std::string_view path);
  bool attributeDel(std::string_view path);

  /// Visits what a commit would change now, unit by unit. `visit` must not edit.
  void difference(Orb::FunctionRef<void(Orb::Difference const& difference)> visit);

  /// Copies what was touched into the running tree, by the handlers of the directory; removes what
  /// the session removed. A commit that succeeds closes the session. One that fails stops where it
  /// did, and its report says what was applied; the session stays open, so that what was wrong can
  /// be mended and the rest committed. The next commit to the entities in which it stopped, of
  /// whatever session, counts them as changed, since no version has told of what was changed.
  CommitReport commit();
  /// Closes the session and forgets its candidate; nothing is applied.
  void abort();

 private:
  /// A member of a root's attribute, or a whole attribute of a root.
  struct Unit {
    std::size_t root;
    Orb::AttrId attribute;
    std::string path;
    std::string key;  // its text; empty for a whole attribute
    // Once others have committed it: a root with the unit as it was before, and their names.
    Orb::Ptr<Orb::Entity const> base;
    std::set<std::string> others;
    std::set<std::string> overwrote;  // those of whose commits something will be written over

    bool isMember() const noexcept { return !key.empty(); }
  };
  using Roots = std::vector<Orb::Ptr<Orb::Entity>>;

  void requireOpen() const;
  Orb::Ptr<Orb::Entity> entityIs(std::string_view path, std::string_view typeName);

  Unit unitOf(std::string_view path) const;
  bool isTouched(std::string_view unitPath) const { return touched_.contains(unitPath); }
  bool isWholeChildren(Unit const& unit) const;
  /// Notes the unit as touched, and puts a copy of it into the candidate tree unless told not to.
  void touch(Unit unit, bool copies = true);
  void forgetLast();
  template <class Do>
  auto editing(std::string_view path, Do const& act);

  Orb::Entity& running(Unit const& unit) const { return *manager_->roots()[unit.root]; }
  Orb::Entity& candidate(Unit const& unit) const { return *candidates_[unit.root]; }
  void copyUnit(Unit const& unit, Roots const& to) const;
  /// Takes over what others have committed of a touched unit.
  void follow(std::string_view unitPath);
  /// Of the commit.
  void commitUnit(EntityCopy& engine, std::size_t index, CommitItem& item);
  void keepBase(Unit const& unit) const;
  CommitItem::Outcome apply(EntityCopy& engine, Unit const& unit) const;
  void stateIs(SessionState state, CommitReport& report);
  void close();

  Orb::Ptr<Manager> const manager_;
  Orb::Ptr<SessionStatus> const status_;  // tells of state_
  SessionState state_ = sessionOpen;
  Roots candidates_;         // one a root, with what was touched
  std::vector<Unit> units_;  // in the order in which they were touched
  std::map<std::string, std::size_t, std::less<>> touched_;  // their paths, and places in units_
};

}  // namespace Cli::Session
