#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

namespace Tool {

/// A list file on its way to the parser of imports, watched for what that would pass over without
/// a word: a NUL, behind which a line is not read, a line that is read in pieces, each of which
/// loses its last character, and a last line without its newline. Standard input is read where it
/// stands.
class ListSource {
 public:
  /// What cannot be opened has an error. A line of more than `longest` characters is too long.
  ListSource(std::string const& file, std::size_t longest);
  ListSource(ListSource const&) = delete;
  ListSource& operator=(ListSource const&) = delete;
  ~ListSource();

  /// Null when there was an error. Reading fails in front of a NUL.
  std::FILE* stream() const noexcept { return stream_.get(); }
  /// The error number of what failed; 0 when nothing did.
  int error() const noexcept { return error_; }
  /// The line, counted from 1, that has a NUL; 0 when none has so far.
  std::size_t lineWithNul() const noexcept { return isAtNul_ ? newlines_ + 1 : 0; }
  /// The line, counted from 1, that is the first too long one; 0 when none has been so far.
  std::size_t longLine() const noexcept { return longLine_; }
  /// Whether all was read, and it ends within a line that says something.
  bool isLastLineCut() const noexcept;

 private:
  struct Close {
    void operator()(std::FILE* stream) const noexcept { std::fclose(stream); }
  };

  long read(char* buffer, std::size_t size);
  void countLines(char const* begin, char const* end) noexcept;

  int fd_;
  std::size_t const longest_;
  int error_ = 0;
  bool isAtEnd_ = false;
  bool isAtNul_ = false;
  bool endsAtNul_ = false;  // the next read fails
  std::size_t newlines_ = 0;
  std::size_t length_ = 0;  // of the line so far
  std::size_t longLine_ = 0;
  char last_ = '\n';
  std::unique_ptr<std::FILE, Close> stream_;
};

}  // namespace Tool
