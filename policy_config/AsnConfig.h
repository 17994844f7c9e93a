#pragma once

#include "platform/orb/model/Attribute.h"

namespace Routing {

/// How AS numbers are written and read (RFC 5396): in decimal, or with a dot between the high and
/// the low 16 bits of those above 65535. The numbers are stored.
ORB_ENUM(AsnNotation, "Routing::AsnNotation", asnNotationAsplain = 1, asnNotationAsdot = 2);

/// A root of its own: the notation of AS numbers.
class ROUTEPOLICY_EXPORT AsnConfig : public Orb::Entity {
 public:
  ORB_ENTITY(AsnConfig, "Routing::AsnConfig", asnNotationDefault, asnNotation, isAsdotConfigured);
  AsnConfig();

  static constexpr AsnNotation kAsnNotationDefault = asnNotationAsplain;

  /// The default of asnNotation: a constant.
  ORB_DERIVED(asnNotationDefault, AsnNotation);
  ORB_ATTRIBUTE(asnNotation, AsnNotation, kAsnNotationDefault);
  /// Whether asnNotation is asnNotationAsdot.
  ORB_DERIVED(isAsdotConfigured, bool);
};

}  // namespace Routing
