#include "tool/RegularFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

namespace Tool {

namespace {

constexpr std::size_t kMostBytes = std::size_t{1} << 30;
constexpr std::size_t kChunk = std::size_t{1} << 16;

// A new file is called PATH.XXXXXX and then this, so that nobody takes another file for one.
constexpr std::string_view kFresh = ".route-policy-new";
constexpr std::size_t kRandom = 6;

void requireRegular(struct stat const& about, std::string const& path, char const* failed) {
  if (S_ISDIR(about.st_mode)) throw FileError(path, failed, EISDIR);
  if (!S_ISREG(about.st_mode)) throw FileError(path, std::string(failed) + "not a regular file");
}

struct stat aboutOf(Descriptor const& fd, std::string const& path, char const* failed) {
  struct stat about {};
  if (::fstat(fd.get(), &about) != 0) throw FileError(path, failed, errno);
  return about;
}

bool writeAll(Descriptor const& fd, std::string_view text) {
  while (!text.empty()) {
    ssize_t const written = patiently([&] { return ::write(fd.get(), text.data(), text.size()); });
    if (written <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

std::string folderOf(std::string const& path) {
  std::size_t const slash = path.rfind('/');
  return slash == path.npos ? "." : path.substr(0, slash + 1);
}

bool isFreshName(std::string_view name, std::string_view of) {
  return name.size() == of.size() + 1 + kRandom + kFresh.size() && name.starts_with(of) &&
         name[of.size()] == '.' && name.ends_with(kFresh);
}

/// Removes a file if no process has it locked, and it is what such a file is.
void removeUnlocked(std::string const& path) noexcept {
  Descriptor const fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  struct stat about {};
  bool const isOurs = fd.isOpen() && ::fstat(fd.get(), &about) == 0 && S_ISREG(about.st_mode) &&
                      about.st_nlink == 1;
  if (isOurs && ::flock(fd.get(), LOCK_EX | LOCK_NB) == 0) ::unlink(path.c_str());
}

mode_t processMask() noexcept {
  mode_t const mask = ::umask(0);
  ::umask(mask);
  return mask;
}

}  // namespace

FileError::FileError(std::string file, std::string const& failed, int error)
    : FileError(std::move(file), failed + std::strerror(error)) {}
FileError::FileError(std::string file, std::string const& reason)
    : std::runtime_error(reason), file_(std::move(file)) {}

Descriptor::Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(fd_, other.fd_);
  return *this;
}
Descriptor::~Descriptor() {
  if (isOpen()) ::close(fd_);
}

void requireRegularIfThere(std::string const& path, char const* failed) {
  struct stat about {};
  if (::lstat(path.c_str(), &about) == 0) requireRegular(about, path, failed);
}

Descriptor openRegular(std::string const& path, int flags, char const* failed, mode_t mode) {
  // Looked at before it is opened, since to open a device may do something; and after, since
  // another file may have its name by then. O_NONBLOCK: a FIFO is not waited for.
  requireRegularIfThere(path, failed);
  int const all = flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
  Descriptor fd(patiently([&] { return ::open(path.c_str(), all, mode); }));
  if (!fd.isOpen() && errno == ENOENT && !(flags & O_CREAT)) return fd;
  if (!fd.isOpen()) throw FileError(path, failed, errno);
  requireRegular(aboutOf(fd, path, failed), path, failed);
  return fd;
}

std::string readText(Descriptor const& fd, std::string const& path) {
  auto const requireSize = [&](std::size_t size) {
    if (size > kMostBytes) throw FileError(path, std::string(kRead) + "it is larger than 1 GiB");
  };
  auto const size = static_cast<std::size_t>(aboutOf(fd, path, kRead).st_size);
  requireSize(size);
  // What the file says of its size is true of most: with one byte more, its end shows at once.
  std::string text(size + 1, '\0');
  for (std::size_t end = 0;;) {
    ssize_t const got =
        patiently([&] { return ::read(fd.get(), text.data() + end, text.size() - end); });
    if (got < 0) throw FileError(path, kRead, errno);
    end += static_cast<std::size_t>(got);
    requireSize(end);
    if (got == 0) {
      text.resize(end);
      return text;
    }
    if (end == text.size()) text.resize(end + kChunk);
  }
}

void syncFolderOf(std::string const& path) {
  // Some file systems cannot sync a folder: that is no reason to call what was done undone.
  Descriptor const folder(patiently(
      [&] { return ::open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
  if (folder.isOpen()) ::fsync(folder.get());
}

Permissions Permissions::of(std::string const& path) {
  Permissions permissions;
  struct stat about {};
  if (::lstat(path.c_str(), &about) == 0) permissions.about_ = about;
  return permissions;
}

Permissions Permissions::ofText() const {
  Permissions permissions = *this;
  if (permissions.about_) permissions.about_->st_mode &= 0666U;
  return permissions;
}

mode_t Permissions::mode() const noexcept {
  return about_ ? about_->st_mode & 07777U : 0666U & ~processMask();
}

bool Permissions::giveTo(Descriptor const& fd) const noexcept {
  if (!about_) return ::fchmod(fd.get(), mode()) == 0;
  bool const hasOwner = ::fchown(fd.get(), about_->st_uid, about_->st_gid) == 0;
  bool const hasGroup = hasOwner || ::fchown(fd.get(), static_cast<uid_t>(-1), about_->st_gid) == 0;
  // Of another owner or group, the bits that say what those may do are not ours to give.
  mode_t const given = mode() & (hasOwner ? 07777U : 0777U) & (hasGroup ? 07777U : 07707U);
  return ::fchmod(fd.get(), given) == 0;
}

Replacement::Replacement(std::string path, std::string_view text, Permissions const& permissions)
    : path_(std::move(path)), fresh_(path_ + '.' + std::string(kRandom, 'X')) {
  fresh_.append(kFresh);
  fd_ = Descriptor(::mkostemps(fresh_.data(), static_cast<int>(kFresh.size()), O_CLOEXEC));
  if (!fd_.isOpen()) throw FileError(path_, kWritten, errno);
  bool const isWritten = ::flock(fd_.get(), LOCK_EX | LOCK_NB) == 0 && writeAll(fd_, text) &&
                         permissions.giveTo(fd_) && ::fsync(fd_.get()) == 0;
  if (isWritten) return;
  int const error = errno;
  ::unlink(fresh_.c_str());
  throw FileError(path_, kWritten, error);
}

Replacement::~Replacement() {
  if (!fresh_.empty()) ::unlink(fresh_.c_str());
}

Descriptor Replacement::takePlace() {
  requireRegularIfThere(path_, kWritten);
  if (::rename(fresh_.c_str(), path_.c_str()) != 0) throw FileError(path_, kWritten, errno);
  fresh_.clear();
  syncFolderOf(path_);
  return std::move(fd_);
}

void Replacement::removeAbandoned(std::string const& path) {
  std::string const folder = folderOf(path);
  std::string const name = path.substr(path.rfind('/') + 1);  // npos + 1 is 0
  struct Close {
    void operator()(DIR* stream) const noexcept { ::closedir(stream); }
  };
  // Not by std::filesystem, whose iterators end the process when memory runs out.
  std::unique_ptr<DIR, Close> const entries(::opendir(folder.c_str()));
  if (!entries) return;
  while (dirent const* const entry = ::readdir(entries.get())) {  // NOLINT(concurrency-mt-unsafe)
    if (isFreshName(entry->d_name, name)) removeUnlocked(folder + '/' + entry->d_name);
  }
}

}  // namespace Tool
