#pragma once

#include "platform/orb/loop/Activity.h"
#include "platform/orb/model/Reactor.h"
#include "policy_config/DynamicPrefixList.h"
#include "policy_status/DynPrefixListSymbol.h"

namespace Routing::RouteMap {

/// What the generator of a dynamic prefix list is made of. It behaves as a pointer to the
/// configuration of the list: null where the list is not configured, or not in the state, or where
/// another part is missing.
struct ROUTEPOLICY_EXPORT DynPrefixListSource {
  Orb::Ptr<DynamicPrefixList::DynamicPrefixListEntry const> dplConfig;
  Orb::Ptr<DynamicPrefixList::DynamicPrefixListVrfSet const> dplState;
  Orb::Ptr<PrefixListSymbolDedupTable const> ipPrefixListTable;
  Orb::Ptr<PrefixListSymbolDedupTable const> ipv6PrefixListTable;
  Orb::Ptr<AllDynPrefixListSymbol> allDplSymbol;
  Orb::Ptr<DynPrefixListSymbolDedupTable const> dplSymbolTable;

  explicit operator bool() const noexcept {
    return dplConfig && dplState && ipPrefixListTable && ipv6PrefixListTable && allDplSymbol &&
           dplSymbolTable;
  }
  DynamicPrefixList::DynamicPrefixListEntry const* operator->() const noexcept {
    return dplConfig.get();
  }
  friend bool operator==(DynPrefixListSource const&, DynPrefixListSource const&) = default;
};

/// Publishes the symbol of one dynamic prefix list, while the version of its configuration is not
/// 0: anew whenever that version changes, the state in a VRF, or the version of one of the
/// prefix-list symbols that it names. These come from the dedup tables, so that a prefix list which
/// is not configured yet is seen when it comes. Where the version is 0 there is no symbol: one that
/// is there is withdrawn, as if the list were gone.
///
/// Each publication is a new status, which shares the states of the VRFs with the configuration.
/// What is not published for want of memory is published in the next turn. A change that comes
/// while an observer is being notified of a publication is published at once, and the older one is
/// left out where it has not been installed yet.
class ROUTEPOLICY_EXPORT DynPrefixListGenSymbolSm final
    : public Orb::Reactor<DynPrefixListGenSymbolSm, DynamicPrefixList::DynamicPrefixListEntry> {
 public:
  using VrfId = Vrf::VrfIdMap::VrfId;

  /// Attached to all that it watches, and to the clock of the event loop; handleInitialized() is to
  /// be called next. REQUIRES: no part of `source` is null.
  explicit DynPrefixListGenSymbolSm(DynPrefixListSource source);
  /// dynPrefixListGenSymbolSmFactory().
  static Orb::Ptr<DynPrefixListGenSymbolSm> DynPrefixListGenSymbolSmIs(
      Orb::Ptr<DynamicPrefixList::DynamicPrefixListEntry const> dplConfig,
      Orb::Ptr<DynamicPrefixList::DynamicPrefixListVrfSet const> dplState,
      Orb::Ptr<PrefixListSymbolDedupTable const> ipPrefixListTable,
      Orb::Ptr<PrefixListSymbolDedupTable const> ipv6PrefixListTable,
      Orb::Ptr<AllDynPrefixListSymbol> allDplSymbol,
      Orb::Ptr<DynPrefixListSymbolDedupTable const> dplSymbolTable);

  /// The list's name, the generator's key in its machine.
  Orb::Name const& name() const noexcept { return source_->name(); }
  DynPrefixListSource const& source() const noexcept { return source_; }
  auto const& dplConfig() const noexcept { return source_.dplConfig; }
  auto const& dplState() const noexcept { return source_.dplState; }
  auto const& ipPrefixListTable() const noexcept { return source_.ipPrefixListTable; }
  auto const& ipv6PrefixListTable() const noexcept { return source_.ipv6PrefixListTable; }
  auto const& allDplSymbol() const noexcept { return source_.allDplSymbol; }
  auto const& dplSymbolTable() const noexcept { return source_.dplSymbolTable; }

  /// The symbols of the prefix lists; null where none is named. The setters follow the symbol's
  /// notifier, too, from then on.
  Orb::Ptr<PrefixListSymbol const> const& ipv4PfxListSym() const noexcept { return ipv4_.symbol; }
  Orb::Ptr<PrefixListSymbol const> const& ipv6PfxListSym() const noexcept { return ipv6_.symbol; }
  void ipv4PfxListSymIs(Orb::Ptr<PrefixListSymbol const> const& symbol) { ipv4_.symbolIs(symbol); }
  void ipv6PfxListSymIs(Orb::Ptr<PrefixListSymbol const> const& symbol) { ipv6_.symbolIs(symbol); }
  /// The notifiers that are followed. The setters call nothing; null follows none.
  Orb::Ptr<PolicySymbolNotifier const> const& ipv4PfxListSymNotifier() const noexcept {
    return ipv4_.followed;
  }
  Orb::Ptr<PolicySymbolNotifier const> const& ipv6PfxListSymNotifier() const noexcept {
    return ipv6_.followed;
  }
  void ipv4PfxListSymNotifierIs(Orb::Ptr<PolicySymbolNotifier const> notifier) {
    ipv4_.follow(std::move(notifier));
  }
  void ipv6PfxListSymNotifierIs(Orb::Ptr<PolicySymbolNotifier const> notifier) {
    ipv6_.follow(std::move(notifier));
  }

  /// Whether the initial handler has run.
  bool initialized() const noexcept { return initialized_; }
  /// The initial handler, run by whoever made the generator, once it is where it is to be found;
  /// nothing is published before. Publishes twice, on purpose, when the version is not 0, and once
  /// more when a prefix list changed meanwhile.
  void handleInitialized();
  void handleInitial() { handleInitialized(); }
  /// The handlers of a change of the version, of the state in a VRF, and of the version of either
  /// prefix-list symbol.
  void handleDynPrefixListVersion();
  void handleDynPrefixListState(VrfId vrf);
  void handleIpPrefixListVersion();
  /// Publishes the list as it is now, and raises the symbol's version by one; deletes the symbol
  /// while the configuration's version is 0. Does nothing once the generator has been let go of.
  void updateDynPrefixListSymbol();

  /// Lets the generator go: it leaves all that it watches, and the delete handler runs. The
  /// destructor does so where nobody has before, and drops what observers throw.
  void detach();
  /// The delete handler: the symbol's status becomes null, its version rises by one, and it leaves
  /// the collection.
  void handleDynPrefixListGenSymbolSmDelete();

 protected:
  ~DynPrefixListGenSymbolSm() override;

 private:
  friend Reactor;
  static constexpr auto reactions() {
    return std::tuple{on<Attr::version, &DynPrefixListGenSymbolSm::handleDynPrefixListVersion>};
  }

  enum class Stage : Orb::U8 { made, atWork, detached };

  /// One of the two prefix lists.
  class PfxList final : public PolicySymbolNotifier::Notifiee {
   public:
    explicit PfxList(DynPrefixListGenSymbolSm& owner) : owner_(owner) {}
    void symbolIs(Orb::Ptr<PrefixListSymbol const> const& s);
    void follow(Orb::Ptr<PolicySymbolNotifier const> notifier);
    void onVersion() override { owner_.handleIpPrefixListVersion(); }

    Orb::Ptr<PrefixListSymbol const> symbol;
    Orb::Ptr<PolicySymbolNotifier const> followed;

   private:
    DynPrefixListGenSymbolSm& owner_;
  };
  struct PfxListFamily;

  void lookUp(PfxListFamily const& family);
  void traceLookUp(PfxListFamily const& family) const;
  /// Whether the symbol is that of the list which is named.
  bool isLookedUp(PfxListFamily const& family) const;
  bool isLookedUp() const;
  void publish();
  /// Does what is left to do, for want of memory.
  void catchUp();
  void armIfBehind();

  DynPrefixListSource const source_;
  Orb::Ptr<Orb::RefCounted> stateSm_;
  PfxList ipv4_{*this};
  PfxList ipv6_{*this};
  Orb::ClockRelay<&DynPrefixListGenSymbolSm::catchUp> timer_{*this};
  Orb::U64 publication_ = 0;  // the number of the last one that has begun
  Stage stage_ = Stage::made;
  bool initialized_ = false;
  bool isToLookUp_ = false;
  bool isToPublish_ = false;
};

/// Makes a generator, and runs its initial handler.
ROUTEPOLICY_EXPORT Orb::Ptr<DynPrefixListGenSymbolSm> dynPrefixListGenSymbolSmFactory(
    Orb::Ptr<DynamicPrefixList::DynamicPrefixListEntry const> dplConfig,
    Orb::Ptr<DynamicPrefixList::DynamicPrefixListVrfSet const> dplState,
    Orb::Ptr<PrefixListSymbolDedupTable const> ipPrefixListTable,
    Orb::Ptr<PrefixListSymbolDedupTable const> ipv6PrefixListTable,
    Orb::Ptr<AllDynPrefixListSymbol> allDplSymbol,
    Orb::Ptr<DynPrefixListSymbolDedupTable const> dplSymbolTable);

}  // namespace Routing::RouteMap
