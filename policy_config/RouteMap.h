#pragma once

/// The configuration model, whole: for users of the library.

#include "policy_config/AclListConfig.h"
#include "policy_config/AsPathList.h"
#include "policy_config/AsnConfig.h"
#include "policy_config/CommunityList.h"
#include "policy_config/CommunityValue.h"
#include "policy_config/DynamicPrefixList.h"
#include "policy_config/ListTypes.h"
#include "policy_config/MapEntry.h"
#include "policy_config/MatchRule.h"
#include "policy_config/PrefixEntry.h"
#include "policy_config/PrefixList.h"
#include "policy_config/RouteMapConfig.h"
#include "policy_config/SetAction.h"
