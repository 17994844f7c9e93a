#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Tool {

/// The file of a configuration. Errors are FileErrors.
class ConfigFile {
 public:
  /// A symbolic link stands for the file to which it leads, through others if need be, and which
  /// need not exist.
  explicit ConfigFile(std::string const& path);

  std::string const& path() const noexcept { return path_; }
  /// Where its pending edits are.
  std::string editsPath() const { return path_ + ".edits"; }

  /// Its text; nothing when it does not exist.
  std::optional<std::string> text() const;

 private:
  std::string path_;
};

/// What differs between any two texts of a configuration: size and hash, or "none" for a
/// file that does not exist.
std::string fingerprintOf(std::optional<std::string_view> text);

}  // namespace Tool
