#pragma once

#include "platform/orb/model/Reactor.h"
#include "policy_config/CommunityList.h"

namespace Routing::RouteMap {

class CommListReactor;

/// Compiles one entry of a community list whenever its version changes, at once and whole: a new
/// status with a copy of the entry takes the place of the one in the symbol of the entry's family.
///
/// An entry of version 0 is not compiled: the configuration has not stamped it yet. One that a
/// session commits with every attribute at its default keeps version 0, on purpose.
class ROUTEPOLICY_EXPORT CommListEntryReactor final
    : public Orb::Reactor<CommListEntryReactor, Acl::CommunityListEntry> {
 public:
  /// Attached to the entry. REQUIRES: neither is null.
  CommListEntryReactor(Orb::Ptr<Acl::CommunityListEntry const> entry,
                       Orb::Ptr<CommListReactor> listSm);

  /// The entry's sequence number, the reactor's key in its list's reactor.
  Orb::U32 const& seqno() const noexcept { return entry()->ownKey(); }
  Orb::Ptr<Acl::CommunityListEntry const> const& entry() const noexcept { return notifier(); }
  /// The reactor of the list; null once the entry has left it, but not when the list or the machine
  /// went.
  Orb::Ptr<CommListReactor> const& commListReactor() const noexcept { return listSm_; }
  /// Whether nothing is left to compile.
  bool isDone() const noexcept { return isDone_; }

  /// Compiles the entry; run by the list's reactor at first. Trace sinks and observers may do what
  /// they like meanwhile: what they make stale is compiled again, and not published. When they do
  /// so again and again, or there is no memory, the next turn goes on. A list type above 5 is
  /// fatal.
  void handleVersion();
  /// Whether leave() has been called.
  bool isLeaving() const noexcept { return isLeaving_; }
  /// Compiles what handleVersion() left to do.
  void catchUp();

  /// The entry has left its list: reacts to nothing more, and runs the delete handler. (When its
  /// list goes, or the machine, this is called only where that is traced: nothing is left to do.)
  /// When there is no memory for that, the reactor stays where it is,
  /// with its commListReactor(), and this is to be called again.
  void leave();
  /// The delete handler: removes the entry from the first family that holds it; from all that do,
  /// if it has been compiled into more than one. From none when its list has left the
  /// configuration, with all its symbols.
  void handleCommListEntryDel();

 protected:
  ~CommListEntryReactor() override;

 private:
  friend Reactor;
  static constexpr auto reactions() {
    return std::tuple{on<Attr::version, &CommListEntryReactor::handleVersion>};
  }

  /// Whether its list and the machine have it.
  bool isAtWork() const noexcept;
  void trace(char const* handler) const;
  void compile();
  /// Whether nothing is left to remove. Keeps what observers throw.
  bool remove(Orb::FirstError& error);

  Orb::Ptr<CommListReactor> listSm_;
  Orb::U32 number_ = 0;       // of the handled changes of the version
  Orb::U8 compiledInto_ = 0;  // a bit for each family
  bool isDone_ = false;
  bool isLeaving_ = false;
  bool isRemoved_ = false;
};

}  // namespace Routing::RouteMap
