#pragma once

#include "tool/Console.h"
#include "tool/Options.h"

/// The commands of the tool, one a file. Each answers on the console and leaves the status there.
namespace Tool {

// On list files.
void check(Options const& options, Console& console);
void show(Options const& options, Console& console);
void match(Options const& options, Console& console);
void compile(Options const& options, Console& console);

// On a configuration.
void getConfig(Options const& options, Console& console);
void showConfig(Options const& options, Console& console);
void setConfig(Options const& options, Console& console);
void unsetConfig(Options const& options, Console& console);
void diffConfig(Options const& options, Console& console);
void commitConfig(Options const& options, Console& console);
void abortConfig(Options const& options, Console& console);

}  // namespace Tool
