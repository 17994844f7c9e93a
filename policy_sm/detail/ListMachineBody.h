#pragma once

#include "policy_sm/ListMachine.h"
#include "policy_sm/detail/ListSmSetBody.h"
#include "policy_sm/detail/Trace.h"
#include "policy_sm/detail/Withdraw.h"

// The member functions of ListMachine, for the source file that instantiates it for a kind.
namespace Routing::RouteMap {

template <class Kind>
ListMachine<Kind>::ListMachine(Orb::Ptr<Root const> config, Orb::Ptr<AllSymbols> allSymbol,
                               Orb::Ptr<SymbolTable const> symbolTable)
    : Base(std::move(config)),
      allSymbol_(std::move(allSymbol)),
      symbolTable_(std::move(symbolTable)) {}

template <class Kind>
ListMachine<Kind>::~ListMachine() = default;

template <class Kind>
void ListMachine<Kind>::start() {
  Orb::FirstError error;
  error.guard([] { ORB_TRACE(traceSm(), 8, Kind::names().handleList); });
  for (Orb::Ptr<List const> const list : Kind::lists(*this->config())) {
    error.guard([&] { bringSymbolInLine(list->name()); });
  }
  error.rethrow();
  this->startLists();
}

template <class Kind>
auto ListMachine<Kind>::source(Orb::Name const& name) const -> Orb::Ptr<List const> {
  return Kind::list(*this->config(), name);
}

template <class Kind>
auto ListMachine<Kind>::makeSm(Orb::Ptr<List const> const& list) -> Orb::Ptr<ListSm> {
  return Orb::make<ListSm>(list, *this);
}

template <class Kind>
void ListMachine<Kind>::prepareList(Orb::Name const& name) {
  Orb::FirstError error;
  error.guard([&] { traceList(Kind::names().handleList, name); });
  error.guard([&] { bringSymbolInLine(name); });
  error.rethrow();
}

/// A list is left alone that is in line already. It is when a trace sink or an observer deletes the
/// list and adds it again: the call for its addition is over before that for the deletion.
template <class Kind>
void ListMachine<Kind>::bringSymbolInLine(Orb::Name const& name) {
  Orb::FirstError error;
  if (Kind::list(*this->config(), name)) {
    error.guard([&] { traceList(Kind::names().addList, name); });
  }
  error.guard([&] {
    Orb::Ptr<List const> const list = Kind::list(*this->config(), name);
    if (!list) {
      dropSymbol(name);
    } else if (!isInLine(list)) {
      install(name, *list);
    }
  });
  error.rethrow();
}

template <class Kind>
bool ListMachine<Kind>::isInLine(Orb::Ptr<List const> const& list) const {
  auto const symbol = allSymbol_->symbol(list->name());
  return symbol && symbol->status() && Base::isInLine(list);
}

template <class Kind>
void ListMachine<Kind>::handleLists() {
  Orb::Ptr<ListMachine> const alive(this);
  Orb::FirstError error;
  error.guard([] { ORB_TRACE(traceSm(), 8, Kind::names().handleList); });
  for (Orb::Ptr<List const> const list : Kind::lists(*this->config())) {
    error.guard([&] { addList(list->name(), list); });
  }
  error.rethrow();
}

template <class Kind>
void ListMachine<Kind>::handleList(Orb::Name const& name) {
  Orb::Ptr<ListMachine> const alive(this);
  Orb::FirstError error;
  error.guard([&] { traceList(Kind::names().handleList, name); });
  error.guard([&] {
    if (auto const list = Kind::list(*this->config(), name)) {
      addList(name, list);
    } else {
      dropSymbol(name);
    }
  });
  error.rethrow();
}

template <class Kind>
void ListMachine<Kind>::dropSymbol(Orb::Name const& name) {
  auto const symbol = allSymbol_->symbol(name);
  if (symbol) withdrawWithStatus(*allSymbol_, *symbol);
}

template <class Kind>
void ListMachine<Kind>::addList(Orb::Name const& name, Orb::Ptr<List const> const& list) {
  Orb::Ptr<ListMachine> const alive(this);
  traceList(Kind::names().addList, name);
  if (!list) Orb::assertionFailed(Kind::names().addedList, __FILE__, __LINE__);
  install(name, *list);
}

template <class Kind>
void ListMachine<Kind>::traceList(char const* handler, Orb::Name const& name) {
  ORB_TRACE(traceSm(), 8, handler << Kind::names().listOf << name);
}

template <class Kind>
void ListMachine<Kind>::install(Orb::Name const& name, List const& list) {
  auto const status = Kind::initialStatus(*this, name, list);
  // The table may give a symbol that is there already, or one of a list that is gone, which others
  // still hold.
  auto const symbol = symbolTable_->symbolIs(name);
  symbol->statusIs(Kind::kInstallsWithStatus ? status : nullptr);
  Orb::FirstError error;
  error.guard([&] { allSymbol_->symbolIs(symbol); });
  // An observer of the collection may have deleted the list: a symbol that it holds has no status
  // then, and keeps none. It may also have added the list again: the symbol has its status then.
  if (allSymbol_->symbol(name) != symbol) {
    symbol->statusIs(nullptr);
  } else if (!symbol->status()) {
    symbol->statusIs(status);
  }
  error.rethrow();
}

}  // namespace Routing::RouteMap
