#pragma once

#include "policy_sm/PrefixListReactor.h"

namespace Routing::RouteMap {

/// What the prefix-list state machines of both families are: the only writer of a symbol
/// collection, which it keeps in step with the configured lists of the family. The faces
/// PrefixListConfigSm and Ipv6PrefixListConfigSm give it the names of the family.
template <class Family>
class ROUTEPOLICY_EXPORT PrefixListMachine
    : public Orb::Reactor<PrefixListMachine<Family>, Acl::AclListConfig> {
 public:
  using List = typename Family::List;
  using ListSm = PrefixListReactor<Family>;
  using ListSms = Orb::OrderedMap<Orb::Ptr<ListSm>, Orb::TargetKey<&ListSm::name>>;

  Orb::Ptr<Acl::AclListConfig const> const& config() const noexcept { return this->notifier(); }
  Orb::Ptr<AllPrefixListSymbol> const& allSymbol() const noexcept { return allSymbol_; }
  Orb::Ptr<PrefixListSymbolDedupTable const> const& symbolTable() const noexcept {
    return symbolTable_;
  }

 protected:
  PrefixListMachine(Orb::Ptr<Acl::AclListConfig const> config,
                    Orb::Ptr<AllPrefixListSymbol> allSymbol,
                    Orb::Ptr<PrefixListSymbolDedupTable const> symbolTable);
  ~PrefixListMachine() override;

  void handleLists();
  void handleList(Orb::Name const& name);
  void addList(Orb::Name const& name, Orb::Ptr<List const> const& prefixList);

  ListSms const& listSms() const noexcept { return listSms_; }
  Orb::Ptr<ListSm> listSm(Orb::Name const& name) const;
  void listSmIs(Orb::Ptr<List const> const& list);
  void listSmDel(Orb::Name const& name);
  void listSmDelAll();

 private:
  using Base = Orb::Reactor<PrefixListMachine, Acl::AclListConfig>;
  friend Base;

  static constexpr auto reactions() {
    return std::tuple{Base::template on<Family::kLists, &PrefixListMachine::onList>};
  }
  void onList(Orb::Name const& name);

  Orb::Ptr<AllPrefixListSymbol> const allSymbol_;
  Orb::Ptr<PrefixListSymbolDedupTable const> const symbolTable_;
  ListSms listSms_;
};

}  // namespace Routing::RouteMap
