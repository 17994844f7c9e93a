#include "list_import/PrefixSource.h"

#include <cerrno>
#include <cstring>
#include <memory>

#include "list_import/detail/Format.h"
#include "platform/orb/loop/ActivityLock.h"

namespace Acl {

namespace {

using detail::formatted;
using Orb::U32;
using Orb::U64;

struct Close {
  void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

constexpr std::size_t kLineBuffer = 512;

PrefixSourceResult fileError(int error) {
  PrefixSourceResult result;
  // The words name another call than the one that failed, on purpose: scripts look for them.
  result.message = formatted("Error: fdopen: %s", std::strerror(error));
  result.error = result.message;
  result.fault = PrefixSourceFault::unreadable;
  result.errorNumber = error;
  return result;
}

/// Reads as fgets() does, and returns how much: a line may hold NULs. 0 at the end of the file and
/// on an error. No other thread may read from `source` meanwhile.
std::size_t readLine(std::FILE& source, char (&line)[kLineBuffer]) {
  std::size_t length = 0;
  while (length < kLineBuffer - 1) {
    int const c = getc_unlocked(&source);
    if (c == EOF) break;
    line[length++] = static_cast<char>(c);
    if (c == '\n') break;
  }
  return ferror_unlocked(&source) ? 0 : length;
}

}  // namespace

PrefixSourceException::~PrefixSourceException() = default;

template <class Family>
PrefixSourceResult readPrefixSource(std::FILE& source, PrefixEntryParser<Family>& parser) {
  PrefixSourceResult result;
  char line[kLineBuffer];
  U32 accepted = 0;
  U64 newlines = 0;
  while (std::size_t const length = readLine(source, line)) {
    U64 const lineNumber = newlines + 1;
    if (line[length - 1] == '\n') ++newlines;
    line[length - 1] = '\0';
    if (isEmptyLine(line)) continue;
    int status = 0;
    try {
      status = parser.parse(line, result.message);
    } catch (Orb::RangeException const& error) {
      throw PrefixSourceException(error, lineNumber);
    }
    if (status != 0) {
      result.error = formatted("%u: %s", accepted, result.message.c_str());
      result.fault = parser.fault();
      result.line = lineNumber;
      return result;
    }
    ++accepted;
  }
  return ferror_unlocked(&source) ? fileError(errno) : result;
}

template <class Family>
PrefixSourceResult readPrefixSource(Orb::String const& path, PrefixEntryParser<Family>& parser) {
  std::unique_ptr<std::FILE, Close> const source(std::fopen(path.c_str(), "r"));
  return source ? readPrefixSource(*source, parser) : fileError(errno);
}

template <class Family>
PrefixSourceResult importPrefixList(typename Family::List& list, Orb::String const& path,
                                    UrlImportDuplicateOperation onDuplicate) {
  Orb::Ptr<typename Family::List> const kept(&list);
  PfxEntries<Family> entries;
  PrefixSourceResult result;
  {
    Orb::ActivityUnlockAnchor const unlocked;
    PrefixEntryParser<Family> parser(entries, onDuplicate);
    result = readPrefixSource(path, parser);
  }
  if (!result.isError()) Family::entryIsEach(list, entries);
  return result;
}

#define LIST_IMPORT_SOURCE_(Family)                                                             \
  template PrefixSourceResult readPrefixSource<Family>(std::FILE&, PrefixEntryParser<Family>&); \
  template PrefixSourceResult readPrefixSource<Family>(Orb::String const&,                      \
                                                       PrefixEntryParser<Family>&);             \
  template PrefixSourceResult importPrefixList<Family>(Family::List&, Orb::String const&,       \
                                                       UrlImportDuplicateOperation)
LIST_IMPORT_SOURCE_(Ipv4Family);
LIST_IMPORT_SOURCE_(Ipv6Family);
#undef LIST_IMPORT_SOURCE_

}  // namespace Acl
