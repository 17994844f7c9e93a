#include "list_import/detail/SourceLines.h"

#include <cerrno>
#include <cstring>

#include "list_import/SourceFile.h"

namespace Acl {

bool isEmptyLine(char const* line) {
  while (detail::isSpace(*line)) ++line;
  return *line == '\0';
}

namespace detail {

void splitLine(char* line, std::vector<char*>& words) {
  words.clear();
  char* rest = nullptr;
  for (char* word = strtok_r(line, " ", &rest); word; word = strtok_r(nullptr, " ", &rest)) {
    words.push_back(word);
  }
}

char* SourceLines::next() {
  while (std::size_t const length = read()) {
    number_ = newlines_ + 1;
    if (buffer_[length - 1] == '\n') ++newlines_;
    buffer_[length - 1] = '\0';
    if (!isEmptyLine(buffer_.data())) return buffer_.data();
  }
  return nullptr;
}

/// Reads as fgets() does, and returns how much: a line may hold NULs. 0 at the end of the file and
/// on an error, which loses what was read of the line.
std::size_t SourceLines::read() {
  std::FILE* const file = &file_;  // in a register: what is stored into the line may be anything
  std::size_t const most = buffer_.size() - 1;
  char* const line = buffer_.data();
  std::size_t length = 0;
  while (length < most) {
    int const c = getc_unlocked(file);
    if (c == EOF) break;
    line[length++] = static_cast<char>(c);
    if (c == '\n') break;
  }
  if (!ferror_unlocked(file)) return length;
  error_ = errno;
  return 0;
}

}  // namespace detail
}  // namespace Acl
