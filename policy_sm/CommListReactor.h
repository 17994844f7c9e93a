#pragma once

#include <memory>

#include "policy_sm/CommListEntryReactor.h"
#include "policy_sm/CommListSymbols.h"
#include "policy_sm/ListSmSet.h"
#include "policy_sm/SlicedBuild.h"

namespace Routing::RouteMap {

class CommListConfigSm;

/// Has a reactor for each entry of one community list.
///
/// Behind the published statuses of the list their indexes are made, in slices, each attached to
/// its status: an index makes matches quick and changes none, so no version rises. A status that
/// another one replaces before its turn comes has none, and neither has one that is given up for
/// want of memory, or is so short that a scan is as quick.
class ROUTEPOLICY_EXPORT CommListReactor final
    : public Orb::Reactor<CommListReactor, Acl::CommunityList>,
      public SlicedBuild {
 public:
  using Machine = CommListConfigSm;
  using EntrySms =
      Orb::OrderedMap<Orb::Ptr<CommListEntryReactor>, Orb::TargetKey<&CommListEntryReactor::seqno>>;
  /// Lists of fewer entries have no index.
  static constexpr std::size_t kMinIndexed = 8;

  /// Attached to the list, and to the clock of the event loop.
  CommListReactor(Orb::Ptr<Acl::CommunityList const> list, Machine& machine);

  /// The list's name, the reactor's key in its machine.
  Orb::Name const& name() const noexcept { return list()->name(); }
  Orb::Ptr<Acl::CommunityList const> const& list() const noexcept { return notifier(); }
  Orb::Ptr<Acl::CommunityList const> const& source() const noexcept { return list(); }
  Orb::Ptr<Acl::CommunityList const> const& communityList() const noexcept { return list(); }
  /// The owning machine; null once that has let the reactor go, which does nothing from then on.
  CommListConfigSm* commListConfigSm() const noexcept { return machine_; }
  /// The symbols that the list's entries are compiled into.
  CommListFamilies const& families() const noexcept { return *families_; }

  /// The reactors of the entries, by sequence number. communityListEntryIs() makes one, in place of
  /// that of another entry of the number, which leaves first; a null entry is a RangeException.
  EntrySms const& communityListEntry() const noexcept { return entrySms_; }
  Orb::Ptr<CommListEntryReactor> communityListEntry(Orb::U32 seqno) const;
  void communityListEntryIs(Orb::Ptr<Acl::CommunityListEntry const> const& entry);
  void communityListEntryDel(Orb::U32 seqno);
  void communityListEntryDelAll();
  /// Makes the reactor of an entry, and runs its initial handler. Does nothing when its number has
  /// one, or when the machine has let this reactor go.
  void newCommunityListEntry(Orb::Ptr<Acl::CommunityListEntry const> const& entry);

  /// Run by the machine once it has the reactor: communityListEntryIs() for every entry, whichever
  /// throws. Nothing is compiled before.
  void handleInitial();
  /// The machine lets the reactor go: runs the delete handler, and then lets the reactors of the
  /// entries go.
  void detach();
  /// The delete handler: deletes the list's symbols in all families.
  void handleCommListDel();

  /// Whether no step is left to be done again, for want of memory.
  bool isInLine() const noexcept { return isInLine_; }
  /// Notes that it is not so, for want of memory: the machine's next turn is to call catchUp().
  void catchUpSoon();
  /// Brings every entry in line, whichever throws.
  void catchUp();
  /// The symbol of that family has been given a status, of which an index is to be made.
  void index(std::size_t family);

 protected:
  ~CommListReactor() override;

 private:
  friend Reactor;
  static constexpr auto reactions() {
    return std::tuple{on<Attr::communityListEntry, &CommListReactor::onEntry>};
  }

  void onEntry(Orb::U32 seqno);
  void bringInLine(Orb::U32 seqno);
  void runSlice(Orb::U64& count) override;
  void drop() noexcept override;
  Orb::Ptr<CommListStatus const> statusToIndex();
  void giveUp(CommListStatus const& status) noexcept;

  Machine* machine_;
  std::shared_ptr<CommListFamilies const> const families_;
  EntrySms entrySms_;
  bool isInitialized_ = false;
  bool isInLine_ = true;
  std::array<bool, 3> isToIndex_{};
  std::shared_ptr<CommListIndexBuilder> builder_;
  Orb::Ptr<CommListStatus const> indexed_;  // by the builder
};

}  // namespace Routing::RouteMap
