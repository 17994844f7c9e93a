#pragma once

#include <cctype>
#include <cstdio>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include "platform/orb/base/Types.h"

namespace Acl::detail {

struct CloseFile {
  void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};
using OwnedFile = std::unique_ptr<std::FILE, CloseFile>;

/// The lines of a source file that are not blank, from where the file stands: read as fgets() reads
/// them, each without its last character. No other thread may read from the file meanwhile.
class SourceLines {
 public:
  /// `buffer` bounds what is read at a time; it outlives this.
  SourceLines(std::FILE& file, std::span<char> buffer) : file_(file), buffer_(buffer) {}

  /// The next line, in the buffer, where it may be changed; null at the end of the file and on an
  /// error.
  char* next();
  /// The number, from 1, of the line of the file that next() gave, or gave a piece of.
  Orb::U64 number() const noexcept { return number_; }
  /// The error number when the file could not be read, else 0.
  int error() const noexcept { return error_; }

 private:
  std::size_t read();

  std::FILE& file_;
  std::span<char> const buffer_;
  Orb::U64 newlines_ = 0;
  Orb::U64 number_ = 0;
  int error_ = 0;
};

/// Cuts a line into its words, at its blanks: tabs are part of a word.
void splitLine(char* line, std::vector<char*>& words);

inline bool isSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }
inline bool isWord(char const* word, char const* expected) {
  return std::strcmp(word, expected) == 0;
}

}  // namespace Acl::detail
