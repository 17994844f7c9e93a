#include <csignal>
#include <exception>

#include "tool/CommandLine.h"
#include "tool/Commands.h"
#include "tool/ConfigFile.h"

namespace {

void run(Tool::Options const& options, Tool::Console& console) {
  using Command = Tool::Options::Command;
  switch (options.command) {
    case Command::check:
      return Tool::check(options, console);
    case Command::show:
      return options.config.empty() ? Tool::show(options, console)
                                    : Tool::showConfig(options, console);
    case Command::match:
      return Tool::match(options, console);
    case Command::compile:
      return Tool::compile(options, console);
    case Command::get:
      return Tool::getConfig(options, console);
    case Command::set:
      return Tool::setConfig(options, console);
    case Command::unset:
      return Tool::unsetConfig(options, console);
    case Command::diff:
      return Tool::diffConfig(options, console);
    case Command::commit:
      return Tool::commitConfig(options, console);
    case Command::abort:
      return Tool::abortConfig(options, console);
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);  // a reader that goes away ends the output, not the status
  Tool::Console console;
  try {
    if (auto const options = Tool::parseCommandLine(argc, argv, console)) run(*options, console);
    console.flush();
  } catch (Tool::OutputLost const& error) {
    if (!error.isReaderGone()) console.failure("standard output", error.what());
  } catch (Tool::FileError const& error) {
    console.failure(error.file(), error.what());
  } catch (std::exception const& error) {
    console.failure("", error.what());
  }
  return static_cast<int>(console.status());
}
