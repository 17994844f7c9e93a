#pragma once

#include <sys/stat.h>

#include <cerrno>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

/// Regular files by name: reading one, and putting another text in its place. What is something
/// else (a device, a FIFO, a folder) is refused at once and never waited for. Errors are
/// FileErrors.
namespace Tool {

/// A file that cannot be read or written; the reason is what().
class FileError : public std::runtime_error {
 public:
  /// `failed` is kRead or kWritten, or such; `error` is the system's number.
  FileError(std::string file, std::string const& failed, int error);
  FileError(std::string file, std::string const& reason);
  std::string const& file() const noexcept { return file_; }

 private:
  std::string file_;
};

inline constexpr char kRead[] = "cannot be read: ";
inline constexpr char kWritten[] = "cannot be written: ";

/// A system call that is begun again when a signal ends it.
template <class Call>
auto patiently(Call const& call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

/// Owns an open file descriptor.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) noexcept : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept;
  Descriptor& operator=(Descriptor&& other) noexcept;
  ~Descriptor();

  bool isOpen() const noexcept { return fd_ >= 0; }
  int get() const noexcept { return fd_; }

 private:
  int fd_;
};

/// Throws when there is something else than a regular file. `failed` begins the message.
void requireRegularIfThere(std::string const& path, char const* failed);

/// Opens a regular file, which is not a symbolic link either. Not open when there is none, unless
/// `flags` makes it then.
Descriptor openRegular(std::string const& path, int flags, char const* failed, mode_t mode = 0);

/// The whole text of a file, which is at most 1 GiB.
std::string readText(Descriptor const& fd, std::string const& path);

/// Sees to it that renames and removals in the folder of `path` outlive a crash, where the file
/// system can do that.
void syncFolderOf(std::string const& path);

/// Who may use a new file for what: those who may use the file whose place it takes.
class Permissions {
 public:
  /// Of the file at `path`; when there is none, what the process gives to new files.
  static Permissions of(std::string const& path);
  bool isKnown() const noexcept { return about_.has_value(); }
  /// The same without the bits that run a program.
  Permissions ofText() const;
  mode_t mode() const noexcept;
  /// Gives them to a file of ours. Where the owner or the group cannot be given, nobody gets more
  /// than they had. False when that fails.
  bool giveTo(Descriptor const& fd) const noexcept;

 private:
  std::optional<struct stat> about_;
};

/// A text that is on the disk, in a file beside the one whose place it is to take: whole or not at
/// all. Who reads that one meanwhile, or after a crash, finds the old text or the new one.
class Replacement {
 public:
  Replacement(std::string path, std::string_view text, Permissions const& permissions);
  Replacement(Replacement const&) = delete;
  Replacement& operator=(Replacement const&) = delete;
  /// Removes the file unless it has taken its place.
  ~Replacement();

  /// Takes the place. The file is returned open, and has been locked (flock) from the beginning.
  Descriptor takePlace();

  /// Removes what was left beside the file at `path` by processes that did not end by themselves:
  /// what has a name as only a Replacement has, and is not locked.
  static void removeAbandoned(std::string const& path);

 private:
  std::string const path_;
  std::string fresh_;  // the name of the file; empty once it has taken its place
  Descriptor fd_;
};

}  // namespace Tool
