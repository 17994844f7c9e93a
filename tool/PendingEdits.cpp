#include "tool/PendingEdits.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <utility>

namespace Tool {

namespace {

constexpr std::string_view kMark = "# route-policy commit: ";  // BEFORE -> AFTER
constexpr std::string_view kArrow = " -> ";

/// The line of a mark.
struct Mark {
  std::size_t begin;
  std::size_t end;  // behind its newline
  std::string_view before;
  std::string_view after;
};

/// The last mark in a text. One stands at the end unless a person has added lines.
std::optional<Mark> markIn(std::string_view text) {
  std::size_t begin = text.rfind(kMark);
  while (begin != text.npos && begin != 0 && text[begin - 1] != '\n') {
    begin = text.rfind(kMark, begin - 1);
  }
  if (begin == text.npos) return std::nullopt;
  std::size_t const newline = text.find('\n', begin);
  std::string_view const line = text.substr(0, newline).substr(begin + kMark.size());
  std::size_t const arrow = line.find(kArrow);
  if (arrow == line.npos) return std::nullopt;
  return Mark{begin, newline == text.npos ? text.size() : newline + 1, line.substr(0, arrow),
              line.substr(arrow + kArrow.size())};
}

/// Whether an open file still has its name.
bool isNamed(Descriptor const& fd, std::string const& path) {
  struct stat mine {};
  struct stat there {};
  return ::fstat(fd.get(), &mine) == 0 && ::lstat(path.c_str(), &there) == 0 &&
         mine.st_dev == there.st_dev && mine.st_ino == there.st_ino;
}

std::string withLastNewline(std::string text) {
  if (!text.empty() && text.back() != '\n') text += '\n';
  return text;
}

}  // namespace

std::optional<PendingEdits> PendingEdits::open(ConfigFile const& file, Access access) {
  std::string const path = file.editsPath();
  bool const isRead = access == Access::read;
  bool const isMade = access == Access::create;
  int const flags = (isRead ? O_RDONLY : O_RDWR) | (isMade ? O_CREAT : 0);
  Permissions const permissions = Permissions::of(file.path()).ofText();
  while (true) {
    Descriptor fd = openRegular(path, flags, isRead ? kRead : kWritten, permissions.mode());
    if (!fd.isOpen()) return std::nullopt;
    if (patiently([&] { return ::flock(fd.get(), isRead ? LOCK_SH : LOCK_EX); }) != 0) {
      throw FileError(path, "cannot be locked: ", errno);
    }
    if (isNamed(fd, path)) return PendingEdits(file, std::move(fd), access);
  }
}

PendingEdits::PendingEdits(ConfigFile file, Descriptor fd, Access access)
    : file_(std::move(file)),
      path_(file_.editsPath()),
      fd_(std::move(fd)),
      access_(access),
      text_(readText(fd_, path_)) {
  settle();
  if (access_ == Access::change || access_ == Access::drop) {
    Replacement::removeAbandoned(file_.path());
    Replacement::removeAbandoned(path_);
  }
}

PendingEdits::~PendingEdits() {
  if (isMine() && fd_.isOpen() && text_.empty() && isNamed(fd_, path_)) ::unlink(path_.c_str());
}

/// Takes a mark off, and with it the edits that are in force.
void PendingEdits::settle() {
  auto const mark = markIn(text_);
  if (!mark) return;
  std::string const now = fingerprintOf(file_.text());
  if (now == mark->after) {
    if (isMine()) syncFolderOf(path_);  // before the edits may go
    text_.erase(0, mark->end);
  } else if (now == mark->before || access_ == Access::drop) {
    text_.erase(mark->begin, mark->end - mark->begin);
  } else {
    throw FileError(path_,
                    "a commit was stopped, and the configuration has been changed since: whether "
                    "these edits are in force is not known; drop them with abort, or keep them "
                    "and remove the line \"" +
                        std::string(kMark) + "...\"");
  }
}

void PendingEdits::requireName() const {
  if (!isNamed(fd_, path_)) {
    throw FileError(path_, "another program has removed or replaced it meanwhile");
  }
}

void PendingEdits::textIs(std::string_view text) {
  requireName();
  Permissions const ofFile = Permissions::of(file_.path());
  Replacement fresh(path_, text, (ofFile.isKnown() ? ofFile : Permissions::of(path_)).ofText());
  fd_ = fresh.takePlace();
}

void PendingEdits::append(std::string_view lines) {
  std::string const text = withLastNewline(text_).append(lines);
  textIs(text);
  text_ = text;
}

void PendingEdits::commit(std::string const& before, std::string_view text) {
  Replacement configuration(file_.path(), text, Permissions::of(file_.path()));
  std::string marked = withLastNewline(text_);
  marked.append(kMark).append(before).append(kArrow).append(fingerprintOf(text)).append("\n");
  textIs(marked);
  try {
    configuration.takePlace();
  } catch (FileError const&) {
    try {
      textIs(text_);
    } catch (FileError const&) {
      // Then the mark stays, and says that the edits are pending.
    }
    throw;
  }
  remove();
}

void PendingEdits::remove() {
  requireName();
  if (::unlink(path_.c_str()) != 0) throw FileError(path_, "cannot be removed: ", errno);
  fd_ = Descriptor();
  syncFolderOf(path_);
}

}  // namespace Tool
