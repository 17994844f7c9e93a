#include "tool/ConfigFile.h"

#include <fcntl.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <filesystem>

#include "tool/RegularFile.h"

namespace Tool {

namespace fs = std::filesystem;

namespace {

constexpr int kMostLinks = 40;  // as the system has it

/// Where a name leads. What leads to something else than a file is itself: it will be refused.
std::string targetOf(std::string const& path) {
  std::error_code error;
  fs::file_status const end = fs::status(path, error);
  if (fs::exists(end) && !fs::is_regular_file(end)) return path;
  fs::path at = path;
  for (int links = 0; fs::is_symlink(at, error); ++links) {
    if (links == kMostLinks) throw FileError(path, kRead, ELOOP);
    fs::path const to = fs::read_symlink(at, error);
    if (error) throw FileError(path, kRead, error.value());
    at = at.parent_path() / to;
  }
  return at.string();
}

}  // namespace

ConfigFile::ConfigFile(std::string const& path) : path_(targetOf(path)) {
  requireRegularIfThere(path_, kRead);
}

std::optional<std::string> ConfigFile::text() const {
  Descriptor const fd = openRegular(path_, O_RDONLY, kRead);
  return fd.isOpen() ? std::optional(readText(fd, path_)) : std::nullopt;
}

std::string fingerprintOf(std::optional<std::string_view> text) {
  if (!text) return "none";
  std::uint64_t hash = 0xcbf29ce484222325;  // FNV-1a
  for (char const c : *text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  char print[48];
  std::snprintf(print, sizeof print, "%zu-%016" PRIx64, text->size(), hash);
  return print;
}

}  // namespace Tool
