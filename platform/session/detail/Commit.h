#pragma once

#include "platform/session/Session.h"
#include "platform/session/detail/Unit.h"

/// The commit of one session: its units go into the running tree in the order in which they were
/// touched. The steps, and what may go wrong in each:
///
///  1. Every unit follows. What an observer of the candidate throws is noted in the report; it may
///     close the session, which ends the commit. A merge that throws ends it, too: nothing is
///     applied.
///  2. The session's state is committing, and the handlers are set up. From here on no session of
///     the manager can be used until the commit is over.
///  3. Unit by unit: all that needs memory is made ready (what is about to be written over, the
///     copies that other sessions need); then the unit is copied into the running tree. What that
///     throws, observers included, ends the loop: the unit has failed, the rest is not applied.
///  4. The session is closed and its state is committed, or it is open again.
namespace Cli::Session::detail {

class Commit {
 public:
  explicit Commit(Session& session);

  /// Throws when it ends before anything is applied; else the report says what has become of it.
  CommitReport run();

 private:
  using Places = std::set<std::string, std::less<>>;

  void followAll();
  void prepareReport();
  void commitUnit(Unit& unit, CommitItem& item);
  void announceToOthers(Unit const& unit);
  static void resolve(Unit const& unit, Orb::Entity const& running);
  static Places changesOf(UnitName const& name, Orb::Entity const& before,
                          Orb::Entity const& after);
  static std::string authorsOf(Places const& mine, Unit const& unit);
  CommitItem::Outcome apply(Unit const& unit);
  void stateIs(SessionState state);
  Orb::Entity& running(UnitName const& name) const { return *manager_->roots()[name.root]; }

  Session& session_;
  Orb::Ptr<Manager> const manager_;
  Orb::Ptr<HandlerTable> const table_;
  Orb::Ptr<EntityCopy> const engine_;
  CommitReport report_;
};

}  // namespace Cli::Session::detail
