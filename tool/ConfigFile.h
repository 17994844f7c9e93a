#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Tool {

/// A file that cannot be read or written; the reason is what().
class FileError : public std::runtime_error {
 public:
  FileError(std::string file, std::string const& failed, int error);
  std::string const& file() const noexcept { return file_; }

 private:
  std::string file_;
};

/// An open file descriptor.
class Descriptor {
 public:
  explicit Descriptor(int fd) noexcept : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept;
  Descriptor& operator=(Descriptor const&) = delete;
  ~Descriptor();

  bool isOpen() const noexcept { return fd_ >= 0; }
  int get() const noexcept { return fd_; }
  /// Closes it now; what that says of what was written.
  bool close() noexcept;

 private:
  int fd_;
};

/// The file of a configuration. Errors are FileErrors.
class ConfigFile {
 public:
  /// A symbolic link stands for the file to which it leads.
  explicit ConfigFile(std::string const& path);

  std::string const& path() const noexcept { return path_; }
  /// Where its pending edits are.
  std::string editsPath() const { return path_ + ".edits"; }

  /// Its text; nothing when it does not exist.
  std::optional<std::string> text() const;
  /// Puts another text in its place, whole or not at all: whoever reads meanwhile, and whoever
  /// reads after a crash, finds the old text or the new one. Its mode stays, and its owner where
  /// the system lets us.
  void textIs(std::string_view text) const;

 private:
  std::string path_;
};

/// The pending edits of a configuration, locked from open() to the end: others wait. The lock is
/// on the file itself and goes with the process, so that nothing is left to be cleaned up. Whoever
/// removes the file holds its lock; whoever gets the lock of a file that was removed meanwhile
/// begins again.
class PendingEdits {
 public:
  enum class Access {
    read,    ///< beside others who read
    change,  ///< alone
    create   ///< alone, and the file is made when it is not there
  };

  /// Waits for the lock. Nothing when the file does not exist.
  static std::optional<PendingEdits> open(ConfigFile const& file, Access access);
  PendingEdits(PendingEdits&&) noexcept = default;
  PendingEdits& operator=(PendingEdits const&) = delete;
  /// A file that was made for edits and got none is removed.
  ~PendingEdits();

  std::string const& path() const noexcept { return path_; }
  std::string const& text() const noexcept { return text_; }
  /// Adds lines, each with its newline: all of them or none.
  void append(std::string_view lines);
  void remove();

 private:
  PendingEdits(std::string path, Descriptor fd, bool isMine);

  std::string path_;
  Descriptor fd_;
  bool const isMine_;  // nobody else has it: it may be changed
  std::string text_;
};

}  // namespace Tool
