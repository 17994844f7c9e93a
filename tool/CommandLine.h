#pragma once

#include <optional>

#include "tool/Console.h"
#include "tool/Options.h"

namespace Tool {

/// Reads the command line. Nothing when there is no more to do: help or the version was asked for,
/// or it is wrong, which is reported on the console.
std::optional<Options> parseCommandLine(int argc, char const* const* argv, Console& console);

}  // namespace Tool
