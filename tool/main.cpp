#include <csignal>
#include <exception>

#include "tool/CommandLine.h"
#include "tool/Commands.h"

namespace {

void run(Tool::Options const& options, Tool::Console& console) {
  using Command = Tool::Options::Command;
  switch (options.command) {
    case Command::check:
      return Tool::check(options, console);
    case Command::show:
      return Tool::show(options, console);
    case Command::match:
      return Tool::match(options, console);
    case Command::compile:
      return Tool::compile(options, console);
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
  } catch (std::exception const& error) {
    console.failure("", error.what());
  }
  return static_cast<int>(console.status());
}
