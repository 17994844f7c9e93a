#pragma once

#include "platform/orb/base/String.h"

namespace Acl::detail {

/// The text that printf would print; for messages, which are rare.
[[gnu::format(printf, 1, 2)]] Orb::String formatted(char const* format, ...);

}  // namespace Acl::detail
