#pragma once

#include "platform/orb/base/Enum.h"

namespace Ipa {

/// The two address families, in the order in which generic addresses sort.
ORB_ENUM(AddressFamily, "Ipa::AddressFamily", ipv4 = 0, ipv6 = 1);

}  // namespace Ipa
