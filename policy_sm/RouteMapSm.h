#pragma once

/// The state machines, whole: for users of the library.

#include "policy_sm/AsPathListConfigSm.h"
#include "policy_sm/CommListConfigSm.h"
#include "policy_sm/DynPrefixListConfigSm.h"
#include "policy_sm/PrefixListConfigSm.h"
