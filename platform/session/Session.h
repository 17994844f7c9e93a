#pragma once

#include <memory>
#include <string>

#include "platform/orb/model/Difference.h"
#include "platform/orb/model/Path.h"
#include "platform/session/CommitReport.h"
#include "platform/session/EntityCopy.h"
#include "platform/session/Manager.h"

/// Configuration sessions: edits to a private copy of the running configuration, committed as a
/// whole. The words are those of RFC 6241: the configuration in force is the running one, that of a
/// session its candidate.
///
/// A session works on units: each entity that a root owns by key (a list, a map), and each other
/// attribute of a root. A unit has three versions for it:
///   running    what is in force; commits of any session change it
///   candidate  what the session wants: a copy, made when the session first touches the unit (an
///              edit touches, a read does not), with the session's edits in it
///   base       what was running when the session touched the unit; kept from the moment at which
///              another session commits the unit
/// What the session has not touched is read from the running tree.
///
/// A session is open, then committing, then committed, or open again when the commit failed; or it
/// is aborted. Only an open one can be used, and while one session commits, no other of the same
/// manager: whatever it is asked is a RangeException.
///
/// Sessions do not lock. When another one commits a unit that this one has touched, the candidate
/// follows, entity by entity, before it is next used: an entity of which this session has changed
/// nothing becomes what is running now, one that it has changed stays as it is, and wins when this
/// session commits (detail/Merge.h).
///
///  1. What a session's edits are depends on what it did alone: not on what runs (an edit that
///     makes equal what is equal already is one, when it is made by path), nor on what others
///     commit before or after. Who wins does not depend on when or how often a candidate is read.
///  2. A report names another session exactly when something that its commit changed is written
///     over: not when that has been changed by others since, nor when both wanted the same.
///  3. An edit, a read, a merge or a commit that fails, also for want of memory, leaves the session
///     as it was before the call, or the report says what has been applied. (An edit that is made
///     and of which an observer throws stands.)
///  4. What a commit changed is announced by a version: when it failed before it could raise one,
///     the next copy into the same entity counts as a change.
///  5. Observers may do anything at any time: of the candidate they are notified when the edit is
///     made, or when the whole unit has followed; they may edit, read, commit, abort or drop the
///     session. (A session is used when no unit is behind: observers that commit others for ever
///     keep it from that.) Of the running tree and of the session's state they are notified while a
///     session commits, and may do anything but use a session.
///
/// What others than sessions change in the running tree is taken over where a candidate follows; in
/// a touched unit that nobody else commits it is not seen, and written over.
///
/// Everything here belongs to the one thread that changes the configuration.
namespace Cli::Session {

namespace detail {
class Edits;
struct Unit;
class Units;
}  // namespace detail

/// One session. What is wrong with a path or a text is thrown as Path.h says. What needs an open
/// session throws a RangeException in a closed one.
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
  /// left its owner, because another session's commit removed it (its observers are notified then).
  /// To ask for an entity that is there is no edit. A path that leads to something else than an E
  /// is a RangeException.
  template <class E>
  Orb::Ptr<E> edit(std::string_view path) {
    return Orb::ptrCast<E>(entityIs(path, E::typeName));
  }

  /// The functions of Path.h on the candidate, with values in their text form (Text.h): a string
  /// stands in single quotes. Counters cannot be set: commits raise them. A value that its mutator
  /// stores though it refuses it is not stored here.
  std::string attributeText(std::string_view path);
  void attributeTextIs(std::string_view path, std::string_view text);
  Orb::Ptr<Orb::Entity> attributeIs(std::string_view path);
  bool attributeDel(std::string_view path);

  /// Visits what a commit would change now, unit by unit in the order in which they were touched.
  /// `visit` must not edit.
  void difference(Orb::FunctionRef<void(Orb::Difference const& difference)> visit);

  /// Copies what was touched into the running tree, by the handlers of the directory; removes what
  /// the session removed. A commit that succeeds closes the session. One that fails stops where it
  /// did, and its report says what was applied; the session stays open, so that what was wrong can
  /// be mended and the rest committed.
  CommitReport commit();
  /// Closes the session and forgets its candidate; nothing is applied.
  void abort();

 private:
  friend detail::Commit;
  using Unit = detail::Unit;
  using UnitName = detail::UnitName;

  void requireOpen() const;
  UnitName unitOf(std::string_view path) const;
  bool isWholeChildren(UnitName const& name) const;
  Orb::Entity& running(UnitName const& name) const;

  Orb::Ptr<Orb::Entity> entityIs(std::string_view path, std::string_view typeName);
  Orb::Ptr<Orb::Entity> makeAt(std::string_view path, bool isEdit);
  template <class Do>
  auto editing(UnitName const& name, Do const& act);
  bool removeAll(UnitName const& name);
  bool removeUnit(UnitName const& name);

  void follow(Unit& unit) const;
  void followAll(UnitName const* under = nullptr);
  std::string wholeText(UnitName const& name, std::string_view path);
  void close() noexcept;

  Orb::Ptr<Manager> const manager_;
  Orb::Ptr<SessionStatus> const status_;  // shows state_
  SessionState state_ = sessionOpen;
  std::unique_ptr<detail::Units> const units_;
};

}  // namespace Cli::Session
