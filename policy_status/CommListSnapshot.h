#pragma once

#include "platform/orb/base/Ptr.h"
#include "platform/orb/containers/OrderedMap.h"
#include "policy_config/CommunityValue.h"

namespace Routing::RouteMap {

/// A set of community values with a flag each, in the order of the values. Notifies nobody.
class ROUTEPOLICY_EXPORT CommListSnapshot final : public Orb::RefCounted {
 public:
  using Comms = Orb::OrderedMap<Orb::MapItem<Acl::CommunityValue, bool>, Orb::PairKey>;

  Comms const& comm() const noexcept { return comm_; }
  /// The value's flag; false for a value that is not there.
  bool comm(Acl::CommunityValue const& value) const;
  bool commHas(Acl::CommunityValue const& value) const { return comm_.has(value); }

  /// Adds the value, or changes the flag of one that is there. Nothing changes when there is no
  /// memory.
  void commIs(Acl::CommunityValue const& value, bool flag);
  /// Removes the value, if it is there.
  void commDel(Acl::CommunityValue const& value) { comm_.erase(value); }
  void commDelAll() noexcept { comm_.clear(); }

  /// A new snapshot of the same values with the same flags.
  Orb::Ptr<CommListSnapshot> clone() const;

 private:
  Comms comm_;
};

ROUTEPOLICY_EXPORT Orb::Ptr<CommListSnapshot> commListSnapshotFactory();

}  // namespace Routing::RouteMap
