#pragma once

#include "policy_config/DynamicPrefixList.h"
#include "policy_status/PrefixListSymbol.h"

namespace Routing::RouteMap {

/// The compiled form of one dynamic prefix list: a prefix list of each family, and the VRFs in
/// which they are evaluated. Once it is installed in a symbol it is never changed again, so whoever
/// holds it may match against it on any thread.
class ROUTEPOLICY_EXPORT DynPrefixListStatus final : public Orb::RefCounted {
 public:
  using VrfId = Vrf::VrfIdMap::VrfId;
  using DplEvalState = DynamicPrefixList::DplEvalState;
  using ActiveInVrf = Orb::OrderedMap<Orb::MapItem<VrfId, DplEvalState>, Orb::PairKey>;

  explicit DynPrefixListStatus(Orb::String dplName) : dplName_(std::move(dplName)) {}

  Orb::String const& dplName() const noexcept { return dplName_; }

  /// The symbols of the prefix lists, null at first. Their statuses change on the event-loop
  /// thread: other threads use those below.
  Orb::Ptr<PrefixListSymbol const> const& ipv4PfxListSymbol() const noexcept {
    return ipv4_.symbol;
  }
  Orb::Ptr<PrefixListSymbol const> const& ipv6PfxListSymbol() const noexcept {
    return ipv6_.symbol;
  }
  void ipv4PfxListSymbolIs(Orb::Ptr<PrefixListSymbol const> symbol);
  void ipv6PfxListSymbolIs(Orb::Ptr<PrefixListSymbol const> symbol);
  /// The statuses that the symbols had when they were set; null where there was none.
  Orb::Ptr<PrefixListStatus const> const& ipv4PfxListStatus() const noexcept {
    return ipv4_.status;
  }
  Orb::Ptr<PrefixListStatus const> const& ipv6PfxListStatus() const noexcept {
    return ipv6_.status;
  }

  /// The state in each VRF in which the list is evaluated; inactive in any other.
  ActiveInVrf const& activeInVrf() const noexcept { return activeInVrf_; }
  DplEvalState activeInVrf(VrfId vrf) const;
  /// Returns the element, which is made when it is not there. Good until the map changes.
  ActiveInVrf::value_type const& activeInVrfIs(VrfId vrf, DplEvalState state);
  /// All at once, in place of those that were there: takes no time for each of them.
  void activeInVrfIs(ActiveInVrf states) noexcept { activeInVrf_ = std::move(states); }
  void activeInVrfDel(VrfId vrf) { activeInVrf_.erase(vrf); }
  void activeInVrfDelAll() { activeInVrf_.clear(); }

 private:
  struct PfxList {
    Orb::Ptr<PrefixListSymbol const> symbol;
    Orb::Ptr<PrefixListStatus const> status;
  };
  static PfxList pfxList(Orb::Ptr<PrefixListSymbol const> symbol);

  Orb::String const dplName_;
  PfxList ipv4_;
  PfxList ipv6_;
  ActiveInVrf activeInVrf_;
};

ROUTEPOLICY_EXPORT Orb::Ptr<DynPrefixListStatus> dynPrefixListStatusFactory(Orb::String name);

}  // namespace Routing::RouteMap
