#pragma once

/// The compiled lists and their symbols, whole: for users of the library.

#include "policy_status/AsPathListStatus.h"
#include "policy_status/AsPathListSymbol.h"
#include "policy_status/CommListIndex.h"
#include "policy_status/CommListSnapshot.h"
#include "policy_status/CommListStatus.h"
#include "policy_status/CommListSymbol.h"
#include "policy_status/DfaRegex.h"
#include "policy_status/DynPrefixListStatus.h"
#include "policy_status/DynPrefixListSymbol.h"
#include "policy_status/GenPrefixEntry.h"
#include "policy_status/PolicySymbol.h"
#include "policy_status/PosixRegex.h"
#include "policy_status/PrefixListStatus.h"
#include "policy_status/PrefixListSymbol.h"
#include "policy_status/Regex.h"
