#include "tool/ConfigFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

namespace Tool {

namespace fs = std::filesystem;

namespace {

constexpr char kRead[] = "cannot be read: ";
constexpr char kWritten[] = "cannot be written: ";

/// A system call that is begun again when a signal ends it.
template <class Call>
auto patiently(Call const& call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

Descriptor openFile(std::string const& path, int flags, mode_t mode = 0) {
  return Descriptor(patiently([&] { return ::open(path.c_str(), flags | O_CLOEXEC, mode); }));
}

std::string readAll(Descriptor const& fd, std::string const& path) {
  constexpr std::size_t kChunk = std::size_t{1} << 16;
  std::string text;
  std::size_t size = 0;
  while (true) {
    text.resize(size + kChunk);
    ssize_t const got = patiently([&] { return ::read(fd.get(), text.data() + size, kChunk); });
    if (got < 0) throw FileError(path, kRead, errno);
    size += static_cast<std::size_t>(got);
    if (got > 0) continue;
    text.resize(size);
    return text;
  }
}

bool writeAll(Descriptor const& fd, std::string_view text) {
  while (!text.empty()) {
    ssize_t const written = patiently([&] { return ::write(fd.get(), text.data(), text.size()); });
    if (written < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

std::string folderOf(std::string const& path) {
  std::string const folder = fs::path(path).parent_path().string();
  return folder.empty() ? "." : folder;
}

/// Sees to it that a rename or a removal outlives a crash. Some file systems cannot sync a folder:
/// that is no reason to call what was done undone.
void syncFolderOf(std::string const& path) {
  Descriptor const folder = openFile(folderOf(path), O_RDONLY | O_DIRECTORY);
  if (folder.isOpen()) ::fsync(folder.get());
}

/// What a file may be used for by whom, if it exists.
struct Permissions {
  explicit Permissions(std::string const& path) { isKnown = ::stat(path.c_str(), &about) == 0; }
  /// The mode of a new file in its place or beside it, before the mask of the process.
  mode_t mode() const noexcept { return isKnown ? about.st_mode & 07777U : 0666U; }

  bool isKnown;
  struct stat about {};
};

mode_t processMask() {
  mode_t const mask = ::umask(0);
  ::umask(mask);
  return mask;
}

/// Gives a new file, which is ours alone, the mode of the one whose place it takes.
bool adoptPermissions(Descriptor const& fd, Permissions const& old) {
  if (!old.isKnown) return ::fchmod(fd.get(), old.mode() & ~processMask()) == 0;
  bool const isOwned = ::fchown(fd.get(), old.about.st_uid, old.about.st_gid) == 0;
  // With another owner, the bits that run a program as its owner are not ours to give.
  return ::fchmod(fd.get(), isOwned ? old.mode() : old.mode() & 0777U) == 0;
}

}  // namespace

FileError::FileError(std::string file, std::string const& failed, int error)
    : std::runtime_error(failed + std::strerror(error)), file_(std::move(file)) {}

Descriptor::Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

Descriptor::~Descriptor() { close(); }

bool Descriptor::close() noexcept {
  int const fd = std::exchange(fd_, -1);
  return fd < 0 || ::close(fd) == 0;
}

ConfigFile::ConfigFile(std::string const& path) : path_(path) {
  std::error_code error;
  if (!fs::is_symlink(path, error) || !fs::is_regular_file(path, error)) return;
  fs::path const target = fs::canonical(path, error);
  if (!error) path_ = target.string();
}

std::optional<std::string> ConfigFile::text() const {
  Descriptor const fd = openFile(path_, O_RDONLY);
  if (!fd.isOpen() && errno == ENOENT) return std::nullopt;
  if (!fd.isOpen()) throw FileError(path_, kRead, errno);
  return readAll(fd, path_);
}

void ConfigFile::textIs(std::string_view text) const {
  std::string fresh = path_ + ".XXXXXX";
  Descriptor fd(::mkostemp(fresh.data(), O_CLOEXEC));
  if (!fd.isOpen()) throw FileError(path_, kWritten, errno);
  bool const isWritten = writeAll(fd, text) && adoptPermissions(fd, Permissions(path_)) &&
                         ::fsync(fd.get()) == 0 && fd.close() &&
                         ::rename(fresh.c_str(), path_.c_str()) == 0;
  if (!isWritten) {
    int const error = errno;
    ::unlink(fresh.c_str());
    throw FileError(path_, kWritten, error);
  }
  syncFolderOf(path_);
}

std::optional<PendingEdits> PendingEdits::open(ConfigFile const& file, Access access) {
  std::string const path = file.editsPath();
  bool const isRead = access == Access::read;
  int const flags = (isRead ? O_RDONLY : O_RDWR) | (access == Access::create ? O_CREAT : 0);
  while (true) {
    Descriptor fd = openFile(path, flags, Permissions(file.path()).mode() & 0666U);
    if (!fd.isOpen() && errno == ENOENT && access != Access::create) return std::nullopt;
    if (!fd.isOpen()) throw FileError(path, isRead ? kRead : kWritten, errno);
    if (patiently([&] { return ::flock(fd.get(), isRead ? LOCK_SH : LOCK_EX); }) != 0) {
      throw FileError(path, "cannot be locked: ", errno);
    }
    struct stat mine {};
    struct stat there {};
    bool const isThere = ::fstat(fd.get(), &mine) == 0 && ::stat(path.c_str(), &there) == 0 &&
                         mine.st_dev == there.st_dev && mine.st_ino == there.st_ino;
    if (isThere) return PendingEdits(path, std::move(fd), !isRead);
  }
}

PendingEdits::PendingEdits(std::string path, Descriptor fd, bool isMine)
    : path_(std::move(path)), fd_(std::move(fd)), isMine_(isMine), text_(readAll(fd_, path_)) {}

PendingEdits::~PendingEdits() {
  if (isMine_ && fd_.isOpen() && text_.empty()) ::unlink(path_.c_str());
}

void PendingEdits::append(std::string_view lines) {
  std::string added = text_.empty() || text_.ends_with('\n') ? "" : "\n";
  added.append(lines);
  bool const isWritten = writeAll(fd_, added) && ::fsync(fd_.get()) == 0;
  if (!isWritten) {
    int const error = errno;
    bool const isUndone = ::ftruncate(fd_.get(), static_cast<off_t>(text_.size())) == 0;
    throw FileError(path_, isUndone ? kWritten : "is written in part only: ", error);
  }
  text_ += added;
}

void PendingEdits::remove() {
  if (::unlink(path_.c_str()) != 0) throw FileError(path_, "cannot be removed: ", errno);
  fd_.close();
  syncFolderOf(path_);
}

}  // namespace Tool
