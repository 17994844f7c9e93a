#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tool/ConfigFile.h"
#include "tool/RegularFile.h"

namespace Tool {

/// The pending edits of a configuration, locked from open() to the end: others wait.
///
///  1. The lock is on the file itself and goes with the process, so that no lock is left behind.
///     Who replaces or removes the file holds its lock, and a file that replaces it is locked
///     before it is seen. Who gets the lock of a file that has left its name meanwhile begins
///     again.
///  2. The file is replaced as a whole, so that the edits of one command are in it together or not
///     at all, whenever the process or the machine stops. A last line without a newline is an edit
///     like any other: a person wrote it.
///  3. A commit changes two files. Before it puts the new configuration in its place, it adds to
///     the edits a mark: a comment with the fingerprints of the configuration before and after.
///     Should it stop there, the next reader sees which of the two the configuration is: the edits
///     above the mark are still pending, or they are in force.
///  4. Only the holder of the lock makes new files, so those that a new holder finds were left by
///     a stopped process. Whether they are locked is checked all the same: a person may have
///     removed the edits, and with them the lock, while a process is still at work.
class PendingEdits {
 public:
  enum class Access {
    read,    ///< a shared lock
    change,  ///< an exclusive lock, like the rest
    create,  ///< the file is made when it is not there
    drop     ///< whether the edits are in force does not matter
  };

  /// Waits for the lock. Nothing when the file does not exist. FileError, except to drop them, when
  /// a commit was stopped and the configuration is neither the one before nor the one after.
  static std::optional<PendingEdits> open(ConfigFile const& file, Access access);
  PendingEdits(PendingEdits&&) noexcept = default;
  PendingEdits& operator=(PendingEdits const&) = delete;
  /// A file that holds no text any more, or got none, is removed.
  ~PendingEdits();

  std::string const& path() const noexcept { return path_; }
  /// What is pending: lines, comments among them.
  std::string const& text() const noexcept { return text_; }
  /// Adds lines, each with its newline.
  void append(std::string_view lines);
  /// Puts the text of the configuration with the edits in its place and removes them. `before` is
  /// the fingerprint of what they were applied to.
  void commit(std::string const& before, std::string_view text);
  void remove();

 private:
  PendingEdits(ConfigFile file, Descriptor fd, Access access);

  bool isMine() const noexcept { return access_ != Access::read; }
  void settle();
  void requireName() const;
  void textIs(std::string_view text);

  ConfigFile file_;
  std::string path_;
  Descriptor fd_;
  Access access_;
  std::string text_;
};

}  // namespace Tool
