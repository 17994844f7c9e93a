#include "policy_config/AsnConfig.h"

namespace Routing {

ORB_ENTITY_TYPE(AsnConfig);

AsnConfig::AsnConfig() = default;

AsnNotation AsnConfig::asnNotationDefault() const { return kAsnNotationDefault; }

bool AsnConfig::isAsdotConfigured() const { return asnNotation() == asnNotationAsdot; }

}  // namespace Routing
