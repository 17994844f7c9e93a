#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <new>

#include "tool/CommandLine.h"
#include "tool/Commands.h"
#include "tool/RegularFile.h"

namespace {

constexpr char kNoMemory[] = "route-policy: not enough memory\n";

void run(Tool::Options const& options, Tool::Console& console) {
  using Command = Tool::Options::Command;
  switch (options.command) {
    case Command::check:
      return Tool::check(options, console);
    case Command::show:
      return options.config.empty() || options.kind ? Tool::show(options, console)
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

/// Opens what of standard input, output and error is closed, so that no file that is opened later
/// takes its place. Nothing can be read from or written to what is opened: a failure stays one.
void occupyStandardDescriptors() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    if (::fcntl(fd, F_GETFD) < 0) ::open("/", O_PATH | O_DIRECTORY);  // the lowest free one
  }
}

bool hasMemoryFailed = false;
std::terminate_handler terminateOtherwise = nullptr;

/// In place of an abort when memory runs out where nothing may be thrown, as in a destructor.
[[noreturn]] void endWithoutMemory() {
  if (!hasMemoryFailed) terminateOtherwise();
  Tool::Console().paint(kNoMemory);
  ::_exit(static_cast<int>(Tool::Status::failed));
}

void handleLackOfMemory() {
  std::set_new_handler([] {
    hasMemoryFailed = true;
    throw std::bad_alloc();
  });
  terminateOtherwise = std::set_terminate(endWithoutMemory);
}

/// Does something; what it throws becomes a message and the status.
template <class Do>
void reporting(Tool::Console& console, Do const& act) {
  try {
    act();
  } catch (Tool::OutputLost const& error) {
    if (!error.isReaderGone()) console.failure("standard output", error.what());
  } catch (Tool::FileError const& error) {
    console.failure(error.file(), error.what());
  } catch (std::bad_alloc const&) {
    console.failure(console.workedOn(), "not enough memory");
  } catch (std::exception const& error) {
    console.failure(console.workedOn(), error.what());
  }
}

}  // namespace

int main(int argc, char** argv) {
  occupyStandardDescriptors();
  handleLackOfMemory();
  // A reader that goes away ends the output, not the status; a limit on files is an error of write.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  Tool::Console console;
  try {
    reporting(console, [&] {
      reporting(console, [&] {
        if (auto const options = Tool::parseCommandLine(argc, argv, console)) {
          run(*options, console);
        }
      });
      console.flush();  // with what was answered before a failure
    });
    return static_cast<int>(console.status());
  } catch (std::exception const&) {  // there is not even memory for a message
    console.paint(kNoMemory);
    return static_cast<int>(Tool::Status::failed);
  }
}
