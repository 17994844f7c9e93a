#include "tool/Console.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>
#include <utility>

#include "platform/orb/base/Text.h"

namespace Tool {

namespace {

/// Writes all of the text; returns the error number, or 0.
int writeAll(int fd, std::string_view text) {
  while (!text.empty()) {
    ssize_t const written = ::write(fd, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return written < 0 ? errno : EIO;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

constexpr std::size_t kMostOfMessage = 2000;
constexpr std::size_t kMostOfName = 300;

}  // namespace

std::string Subject::text() const {
  std::string text = !isNamed_       ? "route-policy"
                     : name_.empty() ? "''"
                                     : Orb::messageText(name_, kMostOfName);
  if (line_ != 0) text.append(":").append(std::to_string(line_));
  return text;
}

OutputLost::OutputLost(int error)
    : std::runtime_error(std::string("cannot write: ") + std::strerror(error)),
      isReaderGone_(error == EPIPE) {}

void Console::jsonLine(nlohmann::ordered_json const& value) {
  text() += value.dump(-1, ' ', true, nlohmann::ordered_json::error_handler_t::replace);
  text() += '\n';
  lineDone();
}

void Console::write(std::string_view text) {
  std::string visible;
  if (isOutTerminal_) {
    Orb::writeVisible(visible, text, "\n\t");
    text = visible;
  }
  if (int const error = writeAll(out_, text)) throw OutputLost(error);
}

void Console::finding(Subject const& subject, std::string_view message) {
  this->message(Status::findings, subject, "", message);
}

void Console::failure(Subject const& subject, std::string_view message) {
  this->message(Status::failed, subject, "", message);
}

void Console::warning(Subject const& subject, std::string_view message) {
  this->message(Status::fine, subject, "warning: ", message);
}

void Console::paint(std::string_view text) const { writeAll(err_, text); }

void Console::message(Status status, Subject const& subject, std::string_view kind,
                      std::string_view message) {
  status_ = std::max(status_, status);
  std::string line = subject.text();
  line.append(": ").append(kind).append(Orb::messageText(message, kMostOfMessage)).append("\n");
  try {
    flush();
  } catch (OutputLost const&) {
    paint(line);
    throw;
  }
  paint(line);
}

}  // namespace Tool
