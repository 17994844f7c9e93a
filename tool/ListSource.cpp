#include "tool/ListSource.h"

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>

#include "tool/Options.h"
#include "tool/RegularFile.h"

namespace Tool {

ListSource::ListSource(std::string const& file, std::size_t longest)
    : fd_(file == kStandardInput ? STDIN_FILENO : patiently([&] {
        return ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
      })),
      longest_(longest) {
  if (fd_ < 0) {
    error_ = errno;
    return;
  }
  cookie_io_functions_t functions{};
  functions.read = [](void* self, char* buffer, std::size_t size) -> ssize_t {
    return static_cast<ListSource*>(self)->read(buffer, size);
  };
  stream_.reset(::fopencookie(this, "r", functions));
  if (!stream_) error_ = errno;
}

ListSource::~ListSource() {
  if (fd_ > STDERR_FILENO) ::close(fd_);
}

bool ListSource::isLastLineCut() const noexcept {
  return isAtEnd_ && std::isspace(static_cast<unsigned char>(last_)) == 0;
}

/// Hands out what stands in front of a NUL, and fails when that is asked for.
long ListSource::read(char* buffer, std::size_t size) {
  if (endsAtNul_) {
    isAtNul_ = true;
    errno = EILSEQ;
    return -1;
  }
  ssize_t const got = patiently([&] { return ::read(fd_, buffer, size); });
  if (got < 0) error_ = errno;
  isAtEnd_ = got == 0;
  if (got <= 0) return got;
  char const* const all = buffer + got;
  char const* const end = std::find(static_cast<char const*>(buffer), all, '\0');
  endsAtNul_ = end != all;
  countLines(buffer, end);
  if (end != buffer) last_ = end[-1];
  if (end == buffer) return read(buffer, size);
  return end - buffer;
}

void ListSource::countLines(char const* begin, char const* end) noexcept {
  for (;;) {
    char const* const newline = std::find(begin, end, '\n');
    length_ += static_cast<std::size_t>(newline - begin);
    if (length_ > longest_ && longLine_ == 0) longLine_ = newlines_ + 1;
    if (newline == end) return;
    ++newlines_;
    length_ = 0;
    begin = newline + 1;
  }
}

}  // namespace Tool
