#pragma once

#include "policy_sm/ListSmSet.h"

// The member functions of ListSmSet, for the source file that instantiates it for a kind.
namespace Routing::RouteMap {

template <class Kind>
ListSmSet<Kind>::ListSmSet(Orb::Ptr<Root const> config) : Base(std::move(config)) {}

template <class Kind>
ListSmSet<Kind>::~ListSmSet() {
  stopLists();
}

template <class Kind>
void ListSmSet<Kind>::stopLists() noexcept {
  // Observers of what goes now may change the configuration, and turn the loop.
  this->stopReacting();
  timer_.clockIs(nullptr);
  try {
    listSmDelAll();
  } catch (...) {
    // Of an observer. All reactors have been detached, and there is no caller left to throw it at.
  }
}

template <class Kind>
void ListSmSet<Kind>::startLists() {
  for (Orb::Ptr<List const> const list : Kind::lists(*config())) listSmIs(source(list->name()));
}

template <class Kind>
void ListSmSet<Kind>::onList(Orb::Name const& name) {
  Orb::Ptr<ListSmSet> const alive(this);  // an observer may drop the machine
  Orb::FirstError error;
  error.guard([&] { announceList(name); });
  // The reactor of a list that is gone publishes nothing from here on, until it goes.
  if (auto const sm = listSm(name); sm && sm->source() != source(name)) {
    error.guard([&] { sm->detach(); });
  }
  error.guard([&] { prepareList(name); });
  error.guard([&] {
    if (auto const made = source(name); !made) {
      listSmDel(name);
    } else if (mayHaveSm(name)) {
      listSmIs(made);
    }
  });
  if (isBehind(name)) error.guard([&] { catchUpSoon(); });
  error.rethrow();
}

template <class Kind>
bool ListSmSet<Kind>::isInLine(Source const& source) const {
  auto const sm = listSm(source->name());
  return sm && sm->source() == source;
}

template <class Kind>
bool ListSmSet<Kind>::isBehind(Orb::Name const& name) const {
  auto const now = source(name);
  return now && !isInLine(now);
}

template <class Kind>
void ListSmSet<Kind>::catchUp() {
  Orb::Ptr<ListSmSet> const alive(this);
  Orb::FirstError error;
  for (Orb::Ptr<List const> const list : Kind::lists(*config())) {
    if (isBehind(list->name())) error.guard([&] { onList(list->name()); });
  }
  error.rethrow();
}

template <class Kind>
auto ListSmSet<Kind>::listSm(Orb::Name const& name) const -> Orb::Ptr<ListSm> {
  auto const* const found = listSms_.find(name);
  return found ? *found : nullptr;
}

template <class Kind>
void ListSmSet<Kind>::listSmIs(Source const& source) {
  MachineNames const& names = Kind::names();
  if (!source) throw Orb::RangeException(Orb::nullParameterMessage(names.machine, names.listSm));
  Orb::Name const& name = source->name();
  if (auto const sm = listSm(name); sm && sm->source() == source) return;
  auto const made = makeSm(source);
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
