#pragma once

#include "platform/orb/loop/Activity.h"
#include "policy_sm/RouteMapSm.h"
#include "policy_status/RouteMapStatusImpl.h"

namespace Tool {

/// Compiles a configured list as the routing process does: a state machine on the configuration,
/// on an event loop of its own.
template <class Family>
class Compiler {
 public:
  using List = typename Family::List;

  /// `config` holds the list. The compiling has begun, but no slice was done.
  Compiler(Orb::Ptr<Acl::AclListConfig const> const& config, Orb::Ptr<List const> list);

  bool isDone() const;
  /// One turn of the event loop, which does one time slice; returns the seconds that it took.
  double slice();
  /// The sequence number at which the next slice goes on.
  Orb::U32 bookmark() const { return reactor()->bookmark(); }
  /// The compiled list; what it holds before isDone() is empty.
  Orb::Ptr<Routing::RouteMap::PrefixListStatus const> const& status() const;

 private:
  Orb::Ptr<Routing::RouteMap::PrefixListReactor<Family>> reactor() const;

  Orb::Ptr<List const> const list_;
  Orb::ActivityManager manager_;
  Orb::ActivityManager::Scope const scope_{manager_};
  Orb::Ptr<Routing::RouteMap::AllPrefixListSymbol> const symbols_ =
      Routing::RouteMap::allPrefixListSymbolFactory();
  Orb::Ptr<Routing::RouteMap::MachineOf<Family>> machine_;
  Orb::Ptr<Routing::RouteMap::PrefixListSymbol> symbol_;
};

extern template class Compiler<Acl::Ipv4Family>;
extern template class Compiler<Acl::Ipv6Family>;

}  // namespace Tool
