#pragma once

#include <unistd.h>

#include <stdexcept>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

#include "config_text/Sink.h"

namespace Tool {

/// What the process tells its caller; the worst that happened counts.
enum class Status {
  fine = 0,
  findings = 1,  ///< a list has an error or is empty, or a prefix is none
  failed = 2     ///< wrong usage, or something that cannot be read or written
};

/// Standard output took no more.
class OutputLost : public std::runtime_error {
 public:
  explicit OutputLost(int error);
  /// Whether the reader went away, as `head` does; otherwise it is a failure.
  bool isReaderGone() const noexcept { return isReaderGone_; }

 private:
  bool isReaderGone_;
};

/// Where a command writes: answers to standard output, which is buffered and checked (flush() and
/// lineDone() throw OutputLost), messages to standard error. Keeps the exit status.
class Console : public ConfigText::Sink {
 public:
  explicit Console(int out = STDOUT_FILENO, int err = STDERR_FILENO) : out_(out), err_(err) {}
  /// One line of JSON. Bytes that are not UTF-8 are replaced.
  void jsonLine(nlohmann::ordered_json const& value);

  /// "PLACE: MESSAGE", behind what was answered before. Without a place, that is the program.
  void finding(std::string_view place, std::string_view message);
  void failure(std::string_view place, std::string_view message);
  void warning(std::string_view place, std::string_view message);

  /// Whether a person reads the messages as they come.
  bool isErrorTerminal() const noexcept { return isatty(err_) == 1; }
  /// Writes to standard error as it stands: for what moves on a terminal.
  void paint(std::string_view text) const;

  Status status() const noexcept { return status_; }

 protected:
  void write(std::string_view text) override;

 private:
  void message(Status status, std::string_view place, std::string_view kind,
               std::string_view message);

  int const out_;
  int const err_;
  Status status_ = Status::fine;
};

}  // namespace Tool
