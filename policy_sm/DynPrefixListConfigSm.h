#pragma once

#include "policy_sm/DynPrefixListGenSymbolSm.h"
#include "policy_sm/ListSmSet.h"

namespace Routing::RouteMap {

/// The dynamic prefix lists as a kind of lists.
struct ROUTEPOLICY_EXPORT DynPrefixLists {
  using Root = DynamicPrefixList::Config;
  using List = DynamicPrefixList::DynamicPrefixListEntry;
  using Source = DynPrefixListSource;
  using ListSm = DynPrefixListGenSymbolSm;
  static constexpr Root::Attr kLists = Root::Attr::dynamicPrefixList;

  static auto lists(Root const& config) { return config.dynamicPrefixList(); }
  static MachineNames const& names();
};

/// Turns the dynamic prefix lists that are both configured and in the state of the VRFs into
/// symbols, and keeps them so, on the event-loop thread: a generator for each. It is the only
/// writer of the collection that it is given, and gets the prefix-list symbols from the tables of
/// the machines that compile prefix lists.
class ROUTEPOLICY_EXPORT DynPrefixListConfigSm final : public ListSmSet<DynPrefixLists> {
 public:
  /// Makes the generators, then deletes the symbols that have none. When an observer throws, or
  /// there is no memory, this throws, and all symbols are deleted. REQUIRES: no argument is null.
  DynPrefixListConfigSm(Orb::Ptr<DynamicPrefixList::Config const> config,
                        Orb::Ptr<DynamicPrefixList::AllDynamicPrefixListVrfSet const> state,
                        Orb::Ptr<PrefixListSymbolDedupTable const> ipPrefixListTable,
                        Orb::Ptr<PrefixListSymbolDedupTable const> ipv6PrefixListTable,
                        Orb::Ptr<AllDynPrefixListSymbol> allDplSymbol,
                        Orb::Ptr<DynPrefixListSymbolDedupTable const> dplSymbolTable);
  static Orb::Ptr<DynPrefixListConfigSm> DynPrefixListConfigSmIs(
      Orb::Ptr<DynamicPrefixList::Config const> config,
      Orb::Ptr<DynamicPrefixList::AllDynamicPrefixListVrfSet const> state,
      Orb::Ptr<PrefixListSymbolDedupTable const> ipPrefixListTable,
      Orb::Ptr<PrefixListSymbolDedupTable const> ipv6PrefixListTable,
      Orb::Ptr<AllDynPrefixListSymbol> allDplSymbol,
      Orb::Ptr<DynPrefixListSymbolDedupTable const> dplSymbolTable);

  Orb::Ptr<DynamicPrefixList::AllDynamicPrefixListVrfSet const> const& state() const noexcept {
    return state_;
  }
  auto const& ipPrefixListTable() const noexcept { return shared_.ipPrefixListTable; }
  auto const& ipv6PrefixListTable() const noexcept { return shared_.ipv6PrefixListTable; }
  auto const& allDplSymbol() const noexcept { return shared_.allDplSymbol; }
  auto const& dplSymbolTable() const noexcept { return shared_.dplSymbolTable; }

  /// What the constructor does.
  void handleInitialized();
  /// Makes the generator of a list that is configured and in the state, in place of one of other
  /// objects, and deletes that of any other.
  void createOrDelDynPrefixListSymbolSm(Orb::Name const& name) { onList(name); }

  /// The generators. One that goes deletes its symbol; one that another one replaces does so first.
  /// A null argument is a RangeException.
  ListSms const& dplSymbolGenSm() const noexcept { return listSms(); }
  Orb::Ptr<ListSm> dplSymbolGenSm(Orb::Name const& name) const { return listSm(name); }
  void dplSymbolGenSmIs(Orb::Ptr<DynamicPrefixList::DynamicPrefixListEntry const> dplConfig,
                        Orb::Ptr<DynamicPrefixList::DynamicPrefixListVrfSet const> dplState,
                        Orb::Ptr<PrefixListSymbolDedupTable const> ipPrefixListTable,
                        Orb::Ptr<PrefixListSymbolDedupTable const> ipv6PrefixListTable,
                        Orb::Ptr<AllDynPrefixListSymbol> allDplSymbol,
                        Orb::Ptr<DynPrefixListSymbolDedupTable const> dplSymbolTable);
  void dplSymbolGenSmDel(Orb::Name const& name) { listSmDel(name); }
  void dplSymbolGenSmDelAll() { listSmDelAll(); }

 protected:
  /// Deletes the generators. What observers throw is dropped.
  ~DynPrefixListConfigSm() override;

 private:
  void stop() noexcept;
  void announceList(Orb::Name const& name) override;
  Source source(Orb::Name const& name) const override;
  Orb::Ptr<ListSm> makeSm(Source const& source) override { return Orb::make<ListSm>(source); }

  Orb::Ptr<DynamicPrefixList::AllDynamicPrefixListVrfSet const> const state_;
  Source const shared_;  // what the generators of all lists have in common
  Orb::Ptr<Orb::RefCounted> stateSm_;
};

ROUTEPOLICY_EXPORT Orb::Ptr<DynPrefixListConfigSm> dynPrefixListConfigSmFactory(
    Orb::Ptr<DynamicPrefixList::Config const> config,
    Orb::Ptr<DynamicPrefixList::AllDynamicPrefixListVrfSet const> state,
    Orb::Ptr<PrefixListSymbolDedupTable const> ipPrefixListTable,
    Orb::Ptr<PrefixListSymbolDedupTable const> ipv6PrefixListTable,
    Orb::Ptr<AllDynPrefixListSymbol> allDplSymbol,
    Orb::Ptr<DynPrefixListSymbolDedupTable const> dplSymbolTable);

}  // namespace Routing::RouteMap
