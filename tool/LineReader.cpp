#include "tool/LineReader.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace Tool {

char const* LineReader::newline() const noexcept {
  return static_cast<char const*>(std::memchr(buffer_.data() + scanned_, '\n', end_ - scanned_));
}

bool LineReader::next(std::string_view& line) {
  char const* end = newline();
  while (!end && !isEnd_) {
    scanned_ = end_;
    fill();
    end = newline();
  }
  if (error_ || (!end && begin_ == end_)) return false;
  char const* const start = buffer_.data() + begin_;
  std::size_t const length = end ? static_cast<std::size_t>(end - start) : end_ - begin_;
  line = std::string_view(start, length);
  begin_ += length + (end ? 1 : 0);
  scanned_ = begin_;
  ++number_;
  return true;
}

/// Reads once, behind what is there: moved to the front, in twice the room if that is full.
void LineReader::fill() {
  if (begin_ > 0) {
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    scanned_ -= begin_;
    begin_ = 0;
  }
  if (end_ == buffer_.size()) buffer_.resize(2 * buffer_.size());
  ssize_t got = 0;
  do {
    got = ::read(fd_, buffer_.data() + end_, buffer_.size() - end_);
  } while (got < 0 && errno == EINTR);
  if (got < 0) error_ = errno;
  if (got <= 0) {
    isEnd_ = true;
  } else {
    end_ += static_cast<std::size_t>(got);
  }
}

}  // namespace Tool
