#pragma once

#include "policy_sm/ListReactor.h"
#include "policy_status/PolicySymbol.h"

namespace Routing::RouteMap {

/// The base class of the state machines: the only writer of a symbol collection, which it keeps in
/// step with the configured lists of one kind, on the event-loop thread. The derived class gives
/// it the names of the kind; code that is written for several kinds uses the names below.
///
/// A list is in line when it has a symbol with a status, and a reactor.
///  1. A change of the configuration is handled in full, whatever observers throw: what was
///     thrown first goes to the caller who made the change.
///  2. A list that is not in line after that, since a step found no memory, is brought in line at
///     the next turn of the event loop. Arming the timer for it needs no memory, and is repeated
///     until every list is in line. The steps of a deletion need no memory.
///  3. A reactor is made after its symbol, so that no build ends without one, and compiles nothing
///     before the machine has it.
///
/// Kind says what is the kind's own:
///   List                     the configured list
///   kLists, lists(config), list(config, name), entries(list)
///                            the root's collection of lists, and what is in a list
///   ListSm                   the reactor of a list, a ListReactor<Kind>
///   SymbolKind               the kind of symbols
///   initialStatus(machine, name, list)
///                            the status that a symbol has until its list is compiled
///   kInstallsWithStatus      whether a symbol has that status when it is installed, or is given it
///                            right after that
///   names()                  its HandlerNames
template <class Kind>
class ROUTEPOLICY_EXPORT ListMachine : public Orb::Reactor<ListMachine<Kind>, Acl::AclListConfig> {
 public:
  using List = typename Kind::List;
  using Symbol = SymbolOf<typename Kind::SymbolKind>;
  using AllSymbols = AllSymbolsOf<typename Kind::SymbolKind>;
  using SymbolTable = DedupTableOf<typename Kind::SymbolKind>;
  using ListSm = typename Kind::ListSm;
  using ListSms = Orb::OrderedMap<Orb::Ptr<ListSm>, Orb::TargetKey<&ListSm::name>>;

  Orb::Ptr<Acl::AclListConfig const> const& config() const noexcept { return this->notifier(); }
  Orb::Ptr<AllSymbols> const& allSymbol() const noexcept { return allSymbol_; }
  Orb::Ptr<SymbolTable const> const& symbolTable() const noexcept { return symbolTable_; }

  /// addList() for every configured list, in the order of their names, whichever throws.
  void handleLists();
  /// Brings the symbol of one list in line: addList() when the list is configured. When it is not,
  /// the symbol's status becomes null, its version rises by one, and it leaves the collection;
  /// nothing happens when there is no symbol.
  void handleList(Orb::Name const& name);
  /// Installs a symbol with an initial status. Changes nothing when there is no memory. A null list
  /// is a fatal assertion.
  void addList(Orb::Name const& name, Orb::Ptr<List const> const& list);

  /// The reactors of the lists, by name. listSmIs() makes one, in place of that of another list of
  /// the name, which stays when there is no memory; a null list is a RangeException. Removing one
  /// leaves the symbol as it is.
  ListSms const& listSms() const noexcept { return listSms_; }
  Orb::Ptr<ListSm> listSm(Orb::Name const& name) const;
  void listSmIs(Orb::Ptr<List const> const& list);
  void listSmDel(Orb::Name const& name);
  void listSmDelAll();

 protected:
  ListMachine(Orb::Ptr<Acl::AclListConfig const> config, Orb::Ptr<AllSymbols> allSymbol,
              Orb::Ptr<SymbolTable const> symbolTable);
  ~ListMachine() override;

  /// Gives every configured list a symbol, and then a reactor. The derived class calls it at the
  /// end of its constructor.
  void start();
  /// Has catchUp() called at the next turn, and again until it leaves nothing to do.
  void catchUpSoon() { catchUp_.timeMinIs(Orb::Clock::kNextTurn); }
  /// Brings every list in line, whichever throws.
  virtual void catchUp();

 private:
  using Base = Orb::Reactor<ListMachine, Acl::AclListConfig>;
  friend Base;

  static constexpr auto reactions() {
    return std::tuple{Base::template on<Kind::kLists, &ListMachine::onList>};
  }

  class CatchUp final : public Orb::Clock::Notifiee {
   public:
    explicit CatchUp(ListMachine& machine);
    void onTime() override;

   private:
    ListMachine& machine_;
  };

  static void traceList(char const* handler, Orb::Name const& name);
  void onList(Orb::Name const& name);
  void bringSymbolInLine(Orb::Name const& name);
  void install(Orb::Name const& name, List const& list);
  void dropSymbol(Orb::Name const& name);
  bool isInLine(Orb::Ptr<List const> const& list) const;

  Orb::Ptr<AllSymbols> const allSymbol_;
  Orb::Ptr<SymbolTable const> const symbolTable_;
  ListSms listSms_;
  CatchUp catchUp_{*this};
};

}  // namespace Routing::RouteMap
