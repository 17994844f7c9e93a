#pragma once

#include "platform/orb/loop/Activity.h"
#include "policy_config/AclListConfig.h"

namespace Tool {

/// A configuration that holds a copy of this list alone, under its name.
template <class Kind>
Orb::Ptr<Acl::AclListConfig const> configOf(Kind const& kind, typename Kind::List const& list) {
  auto config = Orb::make<Acl::AclListConfig>("route-policy");
  Kind::copyEntries(list, *kind.newList(*config, list.name()));
  return config;
}

/// Compiles the list of a configuration that holds no other, as the routing process does: a state
/// machine on the configuration, on an event loop of its own.
template <class Kind>
class Compiler {
 public:
  /// The compiling has begun, but no slice was done.
  Compiler(Kind const& kind, Orb::Ptr<Acl::AclListConfig const> const& config, Orb::Name name)
      : name_(std::move(name)) {
    double const start = manager_.clock()->now();
    machine_ = kind.machineOn(config);
    atOnce_ = manager_.clock()->now() - start;
  }

  bool isDone() const { return !Kind::isBuilding(*machine_, name_); }
  /// One turn of the event loop, which does one time slice; returns the seconds that it took.
  double slice() {
    double const start = manager_.clock()->now();
    manager_.turn();
    return manager_.clock()->now() - start;
  }
  /// The seconds that the machine took at first.
  double atOnce() const noexcept { return atOnce_; }
  /// The sequence number at which the next slice goes on.
  Orb::U32 bookmark() const { return Kind::bookmark(*machine_, name_); }
  /// The compiled list; what it holds before isDone() is not all.
  typename Kind::Status status() const { return Kind::statusOf(*machine_, name_); }

 private:
  Orb::Name const name_;
  Orb::ActivityManager manager_;
  Orb::ActivityManager::Scope const scope_{manager_};
  Orb::Ptr<typename Kind::Machine> machine_;
  double atOnce_ = 0;
};

}  // namespace Tool
