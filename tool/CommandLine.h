#pragma once

#include <optional>

#include "tool/Console.h"
#include "tool/Options.h"

namespace Tool {

/// Reads the command line. Nothing when that was all: help or the version was asked for, or it is
/// wrong, which the console is told.
std::optional<Options> parseCommandLine(int argc, char const* const* argv, Console& console);

}  // namespace Tool
