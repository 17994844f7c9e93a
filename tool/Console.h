#pragma once

#include <unistd.h>

#include <stdexcept>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

#include "config_text/Sink.h"

namespace Tool {

/// The exit status of the process; the worst that happened counts.
enum class Status {
  fine = 0,
  findings = 1,  ///< a list has an error or is empty, or a prefix is none
  failed = 2     ///< wrong usage, or something that cannot be read or written
};

/// What a message is about: the program, or a file (or an argument), and a line of it unless that
/// is 0.
class Subject {
 public:
  Subject() = default;
  Subject(std::string_view name, std::size_t line = 0) : name_(name), line_(line), isNamed_(true) {}
  Subject(std::string const& name, std::size_t line = 0) : Subject(std::string_view(name), line) {}
  Subject(char const* name) : Subject(std::string_view(name)) {}

  /// "NAME:LINE", as people can read it whatever the name is.
  std::string text() const;

 private:
  std::string_view name_;
  std::size_t line_ = 0;
  bool isNamed_ = false;
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

/// Where a command writes: answers to standard output, which is buffered and checked, messages to
/// standard error. flush() and lineDone() throw OutputLost. Keeps the exit status. Control
/// characters are escaped in messages, and in answers on a terminal: what is in a file must not
/// steer it.
class Console : public ConfigText::Sink {
 public:
  explicit Console(int out = STDOUT_FILENO, int err = STDERR_FILENO)
      : out_(out), err_(err), isOutTerminal_(isatty(out) == 1) {}
  /// One line of JSON, all of it ASCII. Bytes that are not UTF-8 are replaced.
  void jsonLine(nlohmann::ordered_json const& value);

  /// "SUBJECT: MESSAGE", behind what was answered before.
  void finding(Subject const& subject, std::string_view message);
  void failure(Subject const& subject, std::string_view message);
  void warning(Subject const& subject, std::string_view message);

  /// Notes the file that is worked on, for a failure that knows of none.
  void workOn(std::string_view file) { workedOn_ = file; }
  Subject workedOn() const { return workedOn_.empty() ? Subject() : Subject(workedOn_); }

  /// Whether a person reads the messages as they come.
  bool isErrorTerminal() const noexcept { return isatty(err_) == 1; }
  /// Writes to standard error as it stands: for what moves on a terminal.
  void paint(std::string_view text) const;

  Status status() const noexcept { return status_; }

 protected:
  void write(std::string_view text) override;

 private:
  void message(Status status, Subject const& subject, std::string_view kind,
               std::string_view message);

  int const out_;
  int const err_;
  bool const isOutTerminal_;
  std::string workedOn_;
  Status status_ = Status::fine;
};

}  // namespace Tool
