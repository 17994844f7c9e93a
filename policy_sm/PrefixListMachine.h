#pragma once

#include "policy_sm/PrefixListReactor.h"

namespace Routing::RouteMap {

/// The base class of the prefix-list state machines of both families: the only writer of a symbol
/// collection, which it keeps in step with the configured lists of the family. The derived
/// PrefixListConfigSm and Ipv6PrefixListConfigSm give it the names of the family; code that is
/// written for both families uses the names below.
///
/// A list is in line when it has a symbol with a status, and a reactor.
///  1. A change of the configuration is handled in full, whatever observers throw: what was
///     thrown first goes to the caller who made the change.
///  2. A list that is not in line after that, since a step found no memory, is brought in line at
///     the next turn of the event loop. Arming the timer for it needs no memory, and is repeated
///     until every list is in line. The steps of a deletion need no memory.
///  3. A reactor is made after its symbol, so that no build ends without one.
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

  /// addList() for every configured list, in the order of their names, whichever throws.
  void handleLists();
  /// Brings the symbol of one list in line: addList() when the list is configured. When it is not,
  /// the symbol's status becomes null, its version rises by one, and it leaves the collection;
  /// nothing happens when there is no symbol.
  void handleList(Orb::Name const& name);
  /// Installs a symbol, and then gives it a status with an empty trie. Changes nothing when there
  /// is no memory. A null list is a fatal assertion.
  void addList(Orb::Name const& name, Orb::Ptr<List const> const& prefixList);

  /// The reactors of the lists, by name. listSmIs() makes one, in place of that of another list of
  /// the name, which stays when there is no memory; a null list is a RangeException. Removing one
  /// leaves the symbol as it is.
  ListSms const& listSms() const noexcept { return listSms_; }
  Orb::Ptr<ListSm> listSm(Orb::Name const& name) const;
  void listSmIs(Orb::Ptr<List const> const& list);
  void listSmDel(Orb::Name const& name);
  void listSmDelAll();

 protected:
  PrefixListMachine(Orb::Ptr<Acl::AclListConfig const> config,
                    Orb::Ptr<AllPrefixListSymbol> allSymbol,
                    Orb::Ptr<PrefixListSymbolDedupTable const> symbolTable);
  ~PrefixListMachine() override;

 private:
  using Base = Orb::Reactor<PrefixListMachine, Acl::AclListConfig>;
  friend Base;

  static constexpr auto reactions() {
    return std::tuple{Base::template on<Family::kLists, &PrefixListMachine::onList>};
  }

  /// The clock notifiee that brings lists in line.
  class CatchUp final : public Orb::Clock::Notifiee {
   public:
    explicit CatchUp(PrefixListMachine& machine);
    void onTime() override;

   private:
    PrefixListMachine& machine_;
  };

  void onList(Orb::Name const& name);
  void dropSymbol(Orb::Name const& name);
  bool isInLine(Orb::Ptr<List const> const& list) const;
  void catchUp();

  Orb::Ptr<AllPrefixListSymbol> const allSymbol_;
  Orb::Ptr<PrefixListSymbolDedupTable const> const symbolTable_;
  ListSms listSms_;
  CatchUp catchUp_{*this};
};

}  // namespace Routing::RouteMap
