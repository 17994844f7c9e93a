#pragma once

/// What the compiled lists are made of inside their tries: for users of the library that walk one.

#include "policy_status/PrefixListEntryData.h"
#include "policy_status/RouteMapStatusType.h"
