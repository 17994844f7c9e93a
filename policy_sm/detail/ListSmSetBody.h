#pragma once

#include "policy_sm/ListSmSet.h"

// The member functions of ListSmSet, for the source file that instantiates it for a kind.
namespace Routing::RouteMap {

template <class Kind>
ListSmSet<Kind>::ListSmSet(Orb::Ptr<Acl::AclListConfig const> config) : Base(std::move(config)) {}

template <class Kind>
ListSmSet<Kind>::~ListSmSet() {
  stopLists();
}

template <class Kind>
void ListSmSet<Kind>::stopLists() noexcept {
  this->stopReacting();  // observers of what goes now may change the configuration
  try {
    listSmDelAll();
  } catch (...) {
    // Of an observer. All reactors have been detached, and there is no caller left to throw it at.
  }
}

template <class Kind>
void ListSmSet<Kind>::startLists() {
  for (Orb::Ptr<List const> const list : Kind::lists(*config())) listSmIs(list);
}

template <class Kind>
void ListSmSet<Kind>::onList(Orb::Name const& name) {
  Orb::Ptr<ListSmSet> const alive(this);  // an observer may drop the machine
  auto const list = [&]() -> Orb::Ptr<List const> { return Kind::list(*config(), name); };
  Orb::FirstError error;
  // The reactor of a list that is gone publishes nothing from here on, until it goes.
  if (auto const sm = listSm(name); sm && sm->list() != list()) error.guard([&] { sm->detach(); });
  error.guard([&] { prepareList(name); });
  error.guard([&] {
    if (!list()) {
      listSmDel(name);
    } else if (mayHaveSm(name)) {
      listSmIs(list());
    }
  });
  if (list() && !isInLine(list())) error.guard([&] { catchUpSoon(); });
  error.rethrow();
}

template <class Kind>
bool ListSmSet<Kind>::isInLine(Orb::Ptr<List const> const& list) const {
  auto const sm = listSm(list->name());
  return sm && sm->list() == list;
}

template <class Kind>
void ListSmSet<Kind>::catchUp() {
  Orb::Ptr<ListSmSet> const alive(this);
  Orb::FirstError error;
  for (Orb::Ptr<List const> const list : Kind::lists(*config())) {
    if (!isInLine(list)) error.guard([&] { onList(list->name()); });
  }
  error.rethrow();
}

template <class Kind>
auto ListSmSet<Kind>::listSm(Orb::Name const& name) const -> Orb::Ptr<ListSm> {
  auto const* const found = listSms_.find(name);
  return found ? *found : nullptr;
}

template <class Kind>
void ListSmSet<Kind>::listSmIs(Orb::Ptr<List const> const& list) {
  MachineNames const& names = Kind::names();
  if (!list) throw Orb::RangeException(Orb::nullParameterMessage(names.machine, names.listSm));
  Orb::Name const& name = list->name();
  if (auto const sm = listSm(name); sm && sm->list() == list) return;
  auto const made = Orb::make<ListSm>(list, static_cast<typename ListSm::Machine&>(*this));
  auto const replaced = listSm(name);
  listSms_.insertOrAssign(Orb::Ptr<ListSm>(made));
  Orb::FirstError error;
  error.guard([&] {
    if (replaced) replaced->detach();
  });
  // Only now, when the reactor is where changes of the configuration find it: trace sinks, the time
  // source and observers may make such changes.
  error.guard([&] { made->handleInitial(); });
  error.rethrow();
}

template <class Kind>
void ListSmSet<Kind>::listSmDel(Orb::Name const& name) {
  if (auto const sm = listSms_.take(name)) (*sm)->detach();
}

template <class Kind>
void ListSmSet<Kind>::listSmDelAll() {
  ListSms const gone = std::exchange(listSms_, ListSms());
  Orb::FirstError error;
  for (auto const& sm : gone) error.guard([&] { sm->detach(); });
  error.rethrow();
}

}  // namespace Routing::RouteMap
