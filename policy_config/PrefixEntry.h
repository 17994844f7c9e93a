#pragma once

#include "platform/ipa/Prefix.h"
#include "platform/orb/base/Value.h"
#include "policy_config/ListTypes.h"

namespace Acl {

/// What the entries of both families are made of; Self is the named type of one family. An entry
/// stores whatever it is given: lengths and bounds are checked where entries are made.
template <class Self, class PrefixType>
class BasicPrefixEntry : public Orb::Value<Self> {
 public:
  ORB_FIELDS(BasicPrefixEntry, seqno, prefix, permit, ge, le, eq);

  ORB_FIELD(seqno, Orb::U32);  ///< the key in the list
  ORB_FIELD_AS(prefix, Self::kPrefixName, PrefixType);
  ORB_FIELD(permit, MatchPermit, denyMatch);
  ORB_FIELD(ge, Orb::U32);  ///< minimum matched length; 0 = not set
  ORB_FIELD(le, Orb::U32);  ///< maximum matched length; 0 = not set
  ORB_FIELD(eq, Orb::U32);  ///< exact matched length; 0 = not set
};

/// One entry of an IPv4 prefix list.
class PrefixEntry : public BasicPrefixEntry<PrefixEntry, Ipa::Prefix> {
 public:
  static constexpr char const* kPrefixName = "prefix";
  ORB_VALUE_NAME(PrefixEntry, "Acl::PrefixEntry");
};

/// One entry of an IPv6 prefix list.
class Ipv6PrefixEntry : public BasicPrefixEntry<Ipv6PrefixEntry, Ipa::Ip6Prefix> {
 public:
  static constexpr char const* kPrefixName = "ip6Prefix";
  ORB_VALUE_NAME(Ipv6PrefixEntry, "Acl::Ipv6PrefixEntry");

  Ipa::Ip6Prefix const& ip6Prefix() const { return prefix(); }
  void ip6PrefixIs(Ipa::Ip6Prefix const& v) { prefixIs(v); }
};

}  // namespace Acl
