#pragma once

#include <type_traits>

#include "policy_sm/ListMachine.h"
#include "policy_sm/PrefixListReactor.h"

namespace Routing::RouteMap {

/// The base class of the machines of both families.
template <class Family>
using PrefixListMachine = ListMachine<PrefixLists<Family>>;

/// Turns the IPv4 prefix lists of the configuration into compiled symbols and keeps them so, on
/// the event-loop thread. It is the only writer of the collection that it is given. The base class
/// describes its operations.
class ROUTEPOLICY_EXPORT PrefixListConfigSm final : public PrefixListMachine<Acl::Ipv4Family> {
 public:
  /// Gives every configured list a symbol with an empty trie, and starts to compile those that
  /// have entries. When an observer throws, or there is no memory, the symbols that were made
  /// stay, and whoever tries again gets a machine that uses them. REQUIRES: no argument is null.
  PrefixListConfigSm(Orb::Ptr<Acl::AclListConfig const> config,
                     Orb::Ptr<AllPrefixListSymbol> allPlSymbol,
                     Orb::Ptr<PrefixListSymbolDedupTable const> plSymbolTable)
      : ListMachine(std::move(config), std::move(allPlSymbol), std::move(plSymbolTable)) {
    start();
  }
  static Orb::Ptr<PrefixListConfigSm> PrefixListConfigSmIs(
      Orb::Ptr<Acl::AclListConfig const> config, Orb::Ptr<AllPrefixListSymbol> allPlSymbol,
      Orb::Ptr<PrefixListSymbolDedupTable const> plSymbolTable);

  Orb::Ptr<AllPrefixListSymbol> const& allPlSymbol() const noexcept { return allSymbol(); }
  Orb::Ptr<PrefixListSymbolDedupTable const> const& plSymbolTable() const noexcept {
    return symbolTable();
  }

  void handlePrefixList() { handleLists(); }
  void handlePrefixList(Orb::Name const& name) { handleList(name); }
  void addPrefixList(Orb::Name const& name, Orb::Ptr<Acl::PrefixList const> const& list) {
    addList(name, list);
  }

  ListSms const& prefixList() const noexcept { return listSms(); }
  Orb::Ptr<ListSm> prefixList(Orb::Name const& name) const { return listSm(name); }
  void prefixListIs(Orb::Ptr<Acl::PrefixList const> const& list) { listSmIs(list); }
  void prefixListDel(Orb::Name const& name) { listSmDel(name); }
  void prefixListDelAll() { listSmDelAll(); }
};

/// The twin for IPv6 prefix lists.
class ROUTEPOLICY_EXPORT Ipv6PrefixListConfigSm final : public PrefixListMachine<Acl::Ipv6Family> {
 public:
  Ipv6PrefixListConfigSm(Orb::Ptr<Acl::AclListConfig const> config,
                         Orb::Ptr<AllPrefixListSymbol> allIpv6PlSymbol,
                         Orb::Ptr<PrefixListSymbolDedupTable const> ipv6PlSymbolTable)
      : ListMachine(std::move(config), std::move(allIpv6PlSymbol), std::move(ipv6PlSymbolTable)) {
    start();
  }
  static Orb::Ptr<Ipv6PrefixListConfigSm> Ipv6PrefixListConfigSmIs(
      Orb::Ptr<Acl::AclListConfig const> config, Orb::Ptr<AllPrefixListSymbol> allIpv6PlSymbol,
      Orb::Ptr<PrefixListSymbolDedupTable const> ipv6PlSymbolTable);

  Orb::Ptr<AllPrefixListSymbol> const& allIpv6PlSymbol() const noexcept { return allSymbol(); }
  Orb::Ptr<PrefixListSymbolDedupTable const> const& ipv6PlSymbolTable() const noexcept {
    return symbolTable();
  }

  void handleIpv6PrefixList() { handleLists(); }
  void handleIpv6PrefixList(Orb::Name const& name) { handleList(name); }
  void addIpv6PrefixList(Orb::Name const& name, Orb::Ptr<Acl::Ipv6PrefixList const> const& list) {
    addList(name, list);
  }

  ListSms const& ipv6PrefixList() const noexcept { return listSms(); }
  Orb::Ptr<ListSm> ipv6PrefixList(Orb::Name const& name) const { return listSm(name); }
  void ipv6PrefixListIs(Orb::Ptr<Acl::Ipv6PrefixList const> const& list) { listSmIs(list); }
  void ipv6PrefixListDel(Orb::Name const& name) { listSmDel(name); }
  void ipv6PrefixListDelAll() { listSmDelAll(); }
};

/// The machine of a family.
template <class Family>
using MachineOf = std::conditional_t<std::is_same_v<Family, Acl::Ipv4Family>, PrefixListConfigSm,
                                     Ipv6PrefixListConfigSm>;

ROUTEPOLICY_EXPORT Orb::Ptr<PrefixListConfigSm> prefixListConfigSmFactory(
    Orb::Ptr<Acl::AclListConfig const> config, Orb::Ptr<AllPrefixListSymbol> allPlSymbol,
    Orb::Ptr<PrefixListSymbolDedupTable const> plSymbolTable);
ROUTEPOLICY_EXPORT Orb::Ptr<Ipv6PrefixListConfigSm> ipv6PrefixListConfigSmFactory(
    Orb::Ptr<Acl::AclListConfig const> config, Orb::Ptr<AllPrefixListSymbol> allIpv6PlSymbol,
    Orb::Ptr<PrefixListSymbolDedupTable const> ipv6PlSymbolTable);

}  // namespace Routing::RouteMap
