#pragma once

#include "platform/orb/model/NotifieeList.h"
#include "policy_status/PolicySymbol.h"

namespace Routing::RouteMap {

/// The last steps for a symbol that has just lost its status: raises its version by one, and
/// removes it from the collection, unless what observers do has given it another status: its list
/// is there again, and the symbol stays. Needs no memory. What observers throw goes to the caller
/// when all is done.
template <class Kind>
void withdraw(AllSymbolsOf<Kind>& all, SymbolOf<Kind>& symbol) {
  Orb::FirstError error;
  error.guard([&] { symbol.versionInc(1); });
  error.guard([&] {
    if (!symbol.status() && all.symbol(symbol.name()) == &symbol) all.symbolDel(symbol.name());
  });
  error.rethrow();
}

/// Makes a symbol's status null, and withdraws it. Whoever holds it is left with a valid symbol.
template <class Kind>
void withdrawWithStatus(AllSymbolsOf<Kind>& all, SymbolOf<Kind>& symbol) {
  auto const old = symbol.status();  // it may trace when it goes
  symbol.statusIs(nullptr);
  withdraw(all, symbol);
}

}  // namespace Routing::RouteMap
