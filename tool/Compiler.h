#pragma once

#include "platform/orb/loop/Activity.h"
#include "tool/ListFile.h"

namespace Tool {

/// Compiles a configured list as the routing process does: a state machine on the configuration,
/// on an event loop of its own.
template <class Kind>
class Compiler {
 public:
  using ListSm = typename Kind::Machine::ListSm;

  /// The compiling has begun, but no slice was done.
  Compiler(Kind const& kind, ListFile<Kind> const& file) : name_(file.list->name()) {
    double const start = manager_.clock()->now();
    machine_ = kind.machineOn(file.config);
    atOnce_ = manager_.clock()->now() - start;
  }

  bool isDone() const { return !reactor()->isBuilding(); }
  /// One turn of the event loop, which does one time slice; returns the seconds that it took.
  double slice() {
    double const start = manager_.clock()->now();
    manager_.turn();
    return manager_.clock()->now() - start;
  }
  /// The seconds that the machine took at first.
  double atOnce() const noexcept { return atOnce_; }
  Orb::Ptr<ListSm> reactor() const { return machine_->listSm(name_); }
  /// The compiled list; what it holds before isDone() is not all.
  Orb::Ptr<typename Kind::Status const> status() const {
    return machine_->allSymbol()->symbol(name_)->status();
  }

 private:
  Orb::Name const name_;
  Orb::ActivityManager manager_;
  Orb::ActivityManager::Scope const scope_{manager_};
  Orb::Ptr<typename Kind::Machine> machine_;
  double atOnce_ = 0;
};

}  // namespace Tool
