#pragma once

#include "policy_sm/ListReactor.h"
#include "policy_sm/ListSmSet.h"
#include "policy_status/PolicySymbol.h"

namespace Routing::RouteMap {

/// The base class of the state machines of lists that are compiled as a whole, each into one
/// symbol: the only writer of a symbol collection, which it keeps in step with the configured lists
/// of one kind. The derived class gives it the names of the kind; code that is written for several
/// kinds uses the names below.
///
/// A list is in line when it has a symbol with a status, and a reactor. A reactor is made after its
/// symbol, so that no build ends without one. The steps of a deletion need no memory. To remove a
/// reactor alone leaves the symbol as it is.
///
/// Kind says, besides what ListSmSet.h names:
///   list(config, name)       a list of the root
///   entries(list)            what is in a list
///   ListSm                   a ListReactor<Kind>
///   SymbolKind               the kind of symbols
///   initialStatus(machine, name, list)
///                            the status that a symbol has until its list is compiled
///   kInstallsWithStatus      whether a symbol has that status when it is installed, or is given it
///                            right after that
///   names()                  its HandlerNames
template <class Kind>
class ROUTEPOLICY_EXPORT ListMachine : public ListSmSet<Kind> {
 public:
  using typename ListSmSet<Kind>::Root;
  using typename ListSmSet<Kind>::List;
  using typename ListSmSet<Kind>::ListSm;
  using Symbol = SymbolOf<typename Kind::SymbolKind>;
  using AllSymbols = AllSymbolsOf<typename Kind::SymbolKind>;
  using SymbolTable = DedupTableOf<typename Kind::SymbolKind>;

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

 protected:
  ListMachine(Orb::Ptr<Root const> config, Orb::Ptr<AllSymbols> allSymbol,
              Orb::Ptr<SymbolTable const> symbolTable);
  ~ListMachine() override;

  /// Gives every configured list a symbol, and then a reactor. The derived class calls it at the
  /// end of its constructor.
  void start();

 private:
  using Base = ListSmSet<Kind>;

  static void traceList(char const* handler, Orb::Name const& name);
  Orb::Ptr<List const> source(Orb::Name const& name) const final;
  Orb::Ptr<ListSm> makeSm(Orb::Ptr<List const> const& list) final;
  void prepareList(Orb::Name const& name) final;
  bool mayHaveSm(Orb::Name const& name) const final { return allSymbol_->symbolHas(name); }
  void bringSymbolInLine(Orb::Name const& name);
  void install(Orb::Name const& name, List const& list);
  void dropSymbol(Orb::Name const& name);
  bool isInLine(Orb::Ptr<List const> const& list) const final;

  Orb::Ptr<AllSymbols> const allSymbol_;
  Orb::Ptr<SymbolTable const> const symbolTable_;
};

}  // namespace Routing::RouteMap
