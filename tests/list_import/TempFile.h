#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>  // mkstemp
#include <string>
#include <string_view>

/// A file with this content, for as long as it lives.
class TempFile {
 public:
  explicit TempFile(std::string_view content) {
    int const descriptor = mkstemp(path_);
    EXPECT_EQ(write(descriptor, content.data(), content.size()),
              static_cast<ssize_t>(content.size()));
    close(descriptor);
  }
  ~TempFile() { unlink(path_); }
  TempFile(TempFile const&) = delete;
  TempFile& operator=(TempFile const&) = delete;

  char const* path() const { return path_; }

 private:
  char path_[32] = "/tmp/tempFileXXXXXX";
};
