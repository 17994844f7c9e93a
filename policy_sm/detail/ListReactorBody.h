#pragma once

#include "policy_sm/ListReactor.h"
#include "policy_sm/detail/Trace.h"

// The member functions of ListReactor, for the source file that instantiates it for a kind.
namespace Routing::RouteMap {

template <class Kind>
ListReactor<Kind>::ListReactor(Orb::Ptr<List const> list, Machine& machine)
    : Base(std::move(list)), SlicedBuild(*static_cast<Base*>(this)), machine_(&machine) {
  clockIs(Orb::ActivityManager::current().clock());
}

template <class Kind>
ListReactor<Kind>::~ListReactor() = default;

/// Whether a status says that it is of another version of its list.
template <class Status>
bool isOfOtherVersion(Status const* status, Orb::U32 version) {
  if constexpr (requires { status->configVersion(); }) {
    return status && status->configVersion() != version;
  } else {
    return false;
  }
}

/// The version may have risen since the symbol got its initial status, with no reactor to see it.
template <class Kind>
void ListReactor<Kind>::handleInitial() {
  Orb::FirstError error;
  error.guard([] { ORB_TRACE(traceSm(), 8, Kind::names().handleInitial); });
  error.guard([&] {
    auto const symbol = machine_ ? machine_->allSymbol()->symbol(name()) : nullptr;
    bool const isLate = symbol && isOfOtherVersion(symbol->status().get(), list()->version());
    if (!Kind::entries(*list()).empty() || isLate) handleVersion();
  });
  initialized_ = true;
  error.rethrow();
}

template <class Kind>
void ListReactor<Kind>::handleVersion() {
  Orb::Ptr<ListReactor> const alive(this);
  if (machine_) {  // before anything that may throw: no change of the version is lost
    drop();
    begin();
  }
  ORB_TRACE(traceSm(), 8, Kind::names().handleVersion << " version: " << list()->version());
  if (isBuilding()) prepare();
}

template <class Kind>
void ListReactor<Kind>::runSlice(Orb::U64& count) {
  ORB_TRACE(traceSm(), 8, "processClock");
  if (initialized_ && machine_) compileSome(count);
}

template <class Kind>
void ListReactor<Kind>::detach() noexcept {
  this->stopReacting();
  machine_ = nullptr;
  stop();
}

}  // namespace Routing::RouteMap
