#pragma once

#include "platform/regex/PathDfa.h"
#include "platform/regex/PathSet.h"
#include "policy_config/AsPathList.h"
#include "policy_status/PosixRegex.h"

namespace Routing::RouteMap {

/// What a match needs of an entry of an AS-path list. All of it belongs to the list's status.
struct AsPathMatchEntry {
  /// The engine of the list's mode; compiled, and not null.
  union {
    rd_dfa const* dfa;
    PosixRegex const* posix;
  };
  Acl::AsPathEntry const* entry;
  Orb::U32 seqno;
  AsPath::Origins origins;  ///< of the routes that the entry is for
  bool isPermit;
};

/// What a route's origin is to a match.
constexpr AsPath::OriginClass originClassOf(Acl::BGPOrigin origin) noexcept {
  switch (origin) {
    case Acl::bgpIGP:
      return AsPath::OriginClass::igp;
    case Acl::bgpEGP:
      return AsPath::OriginClass::egp;
    case Acl::bgpIncomplete:
      return AsPath::OriginClass::incomplete;
    default:
      return AsPath::OriginClass::other;
  }
}

/// A set of one.
constexpr AsPath::Origins originBit(AsPath::OriginClass origin) noexcept {
  return static_cast<AsPath::Origins>(1U << static_cast<unsigned>(origin));
}

/// The routes that an entry with this origin is for: all, or those of that origin.
constexpr AsPath::Origins originsOf(Acl::BGPOrigin origin) noexcept {
  if (origin == Acl::bgpAny || origin == Acl::notSet) return AsPath::kAnyOrigin;
  AsPath::OriginClass const only = originClassOf(origin);
  return only == AsPath::OriginClass::other ? AsPath::Origins{0} : originBit(only);
}

}  // namespace Routing::RouteMap
