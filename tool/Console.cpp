#include "tool/Console.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

namespace Tool {

namespace {

/// Writes all of the text; returns the error number, or 0.
int writeAll(int fd, std::string_view text) {
  while (!text.empty()) {
    ssize_t const written = ::write(fd, text.data(), text.size());
    if (written < 0 && errno != EINTR) return errno;
    if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

}  // namespace

OutputLost::OutputLost(int error)
    : std::runtime_error(std::string("cannot write: ") + std::strerror(error)),
      isReaderGone_(error == EPIPE) {}

void Console::jsonLine(nlohmann::ordered_json const& value) {
  text() += value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  text() += '\n';
  lineDone();
}

void Console::write(std::string_view text) {
  if (int const error = writeAll(out_, text)) throw OutputLost(error);
}

void Console::finding(std::string_view place, std::string_view message) {
  this->message(Status::findings, place, "", message);
}

void Console::failure(std::string_view place, std::string_view message) {
  this->message(Status::failed, place, "", message);
}

void Console::warning(std::string_view place, std::string_view message) {
  this->message(Status::fine, place, "warning: ", message);
}

void Console::paint(std::string_view text) const { writeAll(err_, text); }

void Console::message(Status status, std::string_view place, std::string_view kind,
                      std::string_view message) {
  status_ = std::max(status_, status);
  flush();
  std::string line(place.empty() ? "route-policy" : place);
  line.append(": ").append(kind).append(message).append("\n");
  paint(line);
}

}  // namespace Tool
