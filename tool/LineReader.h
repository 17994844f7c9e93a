#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace Tool {

/// Reads lines of any length from a file descriptor. The last one need not end in a newline.
class LineReader {
 public:
  explicit LineReader(int fd) : fd_(fd), buffer_(kFirstSize) {}

  /// Whether the next line is here already: next() would not wait for input.
  bool isReady() const noexcept { return isEnd_ || newline() != nullptr; }
  /// The next line, without its newline: good until the next call. False at the end of the input,
  /// and after an error.
  bool next(std::string_view& line);

  /// The number of the line that next() gave last, from 1.
  std::size_t number() const noexcept { return number_; }
  /// The error number of a read that failed; 0 when none did.
  int error() const noexcept { return error_; }

 private:
  static constexpr std::size_t kFirstSize = std::size_t{1} << 18;

  char const* newline() const noexcept;
  void fill();

  int const fd_;
  std::vector<char> buffer_;
  std::size_t begin_ = 0;    // what was read and not given out yet
  std::size_t end_ = 0;      //
  std::size_t scanned_ = 0;  // no newline between begin_ and here
  std::size_t number_ = 0;
  bool isEnd_ = false;
  int error_ = 0;
};

}  // namespace Tool
