#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

namespace Tool {

/// A list file on its way to the parser of imports, watched for what that would pass over without
/// a word: a NUL, behind which a line is not read, and a last line without its newline. Standard
/// input is read where it stands.
class ListSource {
 public:
  /// What cannot be opened has an error.
  explicit ListSource(std::string const& file);
  ListSource(ListSource const&) = delete;
  ListSource& operator=(ListSource const&) = delete;
  ~ListSource();

  /// Null when there was an error. Reading fails in front of a NUL.
  std::FILE* stream() const noexcept { return stream_.get(); }
  /// The error number of what failed; 0 when nothing did.
  int error() const noexcept { return error_; }
  /// The line, counted from 1, that has a NUL; 0 when none has so far.
  std::size_t lineWithNul() const noexcept { return isAtNul_ ? newlines_ + 1 : 0; }
  /// Whether all was read, and it ends within a line that says something.
  bool isLastLineCut() const noexcept;

 private:
  struct Close {
    void operator()(std::FILE* stream) const noexcept { std::fclose(stream); }
  };

  long read(char* buffer, std::size_t size);

  int fd_;
  int error_ = 0;
  bool isAtEnd_ = false;
  bool isAtNul_ = false;
  bool endsAtNul_ = false;  // the next read fails
  std::size_t newlines_ = 0;
  char last_ = '\n';
  std::unique_ptr<std::FILE, Close> stream_;
};

}  // namespace Tool
