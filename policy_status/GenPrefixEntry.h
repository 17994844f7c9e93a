#pragma once

#include "platform/ipa/Prefix.h"
#include "platform/orb/base/Value.h"
#include "policy_config/ListTypes.h"

namespace Routing::RouteMap {

/// One entry of a prefix list of either family, as it is compiled.
class GenPrefixEntry : public Orb::Value<GenPrefixEntry> {
 public:
  ORB_VALUE(GenPrefixEntry, "Routing::RouteMap::GenPrefixEntry", seqno, prefix, permit, ge, le, eq);

  ORB_FIELD(seqno, Orb::U32);
  ORB_FIELD(prefix, Ipa::IpGenPrefix);
  ORB_FIELD(permit, Acl::MatchPermit, Acl::denyMatch);
  ORB_FIELD(ge, Orb::U32);  ///< minimum matched length; once compiled it is always set
  ORB_FIELD(le, Orb::U32);  ///< maximum matched length; once compiled it is always set
  ORB_FIELD(eq, Orb::U32);  ///< exact matched length, which readers test first; 0 = not set
};

/// Names one entry of a list.
class SeqPrefix : public Orb::Value<SeqPrefix> {
 public:
  ORB_VALUE(SeqPrefix, "Routing::RouteMap::SeqPrefix", seqno, prefix);

  ORB_FIELD(seqno, Orb::U32);
  ORB_FIELD(prefix, Ipa::IpGenPrefix);
};

}  // namespace Routing::RouteMap
