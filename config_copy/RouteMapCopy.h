#pragma once

/// Committing policy configuration, whole: for users of the library.

#include "config_copy/CopyHandlers.h"
#include "platform/session/Session.h"
