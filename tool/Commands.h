#pragma once

#include "tool/Console.h"
#include "tool/Options.h"

/// The commands of the tool, one a file. Each answers on the console and leaves the status there.
namespace Tool {

void check(Options const& options, Console& console);
void show(Options const& options, Console& console);
void match(Options const& options, Console& console);
void compile(Options const& options, Console& console);

}  // namespace Tool
