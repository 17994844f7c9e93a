#pragma once

#include <cstdio>

#include "list_import/PrefixEntryParser.h"
#include "platform/orb/base/Error.h"

/// Source files of prefix lists: reading one into a staging set, and the import into a list.
namespace Acl {

/// How the reading of a source file ended.
struct PrefixSourceResult {
  /// What the command line prints: "COUNT: MESSAGE" with the number of lines accepted before, or
  /// why the file could not be read. Empty when the whole file was accepted.
  Orb::String error;
  /// The message alone.
  Orb::String message;
  /// Why it ended so; none when the whole file was accepted.
  PrefixSourceFault fault = PrefixSourceFault::none;
  /// The system's error number when the file could not be opened or read, else 0.
  int errorNumber = 0;
  /// The line of the file that was refused, counted from 1 as an editor counts; 0 when none was,
  /// also when the file could not be read.
  Orb::U64 line = 0;

  bool isError() const noexcept { return fault != PrefixSourceFault::none; }
  /// The file could not be opened or read.
  bool isFileError() const noexcept { return fault == PrefixSourceFault::unreadable; }
};

/// A value on a line of a source file that its type does not allow: an IPv4 address with bits
/// beyond its length. Has the type's text, and the line, counted from 1.
class ROUTEPOLICY_EXPORT PrefixSourceException : public Orb::RangeException {
 public:
  PrefixSourceException(Orb::RangeException const& cause, Orb::U64 line)
      : RangeException(cause), line_(line) {}
  ~PrefixSourceException() override;

  Orb::U64 line() const noexcept { return line_; }

 private:
  Orb::U64 line_;
};

/// Reads lines from where `source` stands to its end, or to the first that is refused. Blank lines
/// are skipped. On purpose, since existing files are read so:
///  - at most 511 characters are read at a time, so a longer line is several;
///  - what was read loses its last character, the newline or not: a last line without one is cut,
///    and so is each piece of a line that is too long;
///  - a line ends at a NUL.
/// Throws a PrefixSourceException for a line that the parser throws for.
template <class Family>
PrefixSourceResult readPrefixSource(std::FILE& source, PrefixEntryParser<Family>& parser);

/// The same for the file at `path`.
template <class Family>
PrefixSourceResult readPrefixSource(Orb::String const& path, PrefixEntryParser<Family>& parser);

/// Imports the file at `path` into `list`: reads it with the activity lock released, if the
/// calling thread holds it, takes the lock again, and adds the entries in the order of the file.
/// The list keeps what it had, replaces what has the same number, and is as before when the file
/// is refused, reading it throws, or there is no memory for all entries; nothing of it but the
/// entries changes. The list stays alive meanwhile, should another thread remove it.
///
/// Observers never see a part of a file: they are notified when all entries are in the list, of
/// each number that changed, in the order of the file. One that throws stops nothing; what was
/// thrown first is thrown when all have been notified.
template <class Family>
PrefixSourceResult importPrefixList(typename Family::List& list, Orb::String const& path,
                                    UrlImportDuplicateOperation onDuplicate);

#define LIST_IMPORT_SOURCE_(Family)                                               \
  extern template ROUTEPOLICY_EXPORT PrefixSourceResult readPrefixSource<Family>( \
      std::FILE&, PrefixEntryParser<Family>&);                                    \
  extern template ROUTEPOLICY_EXPORT PrefixSourceResult readPrefixSource<Family>( \
      Orb::String const&, PrefixEntryParser<Family>&);                            \
  extern template ROUTEPOLICY_EXPORT PrefixSourceResult importPrefixList<Family>( \
      Family::List&, Orb::String const&, UrlImportDuplicateOperation)
LIST_IMPORT_SOURCE_(Ipv4Family);
LIST_IMPORT_SOURCE_(Ipv6Family);
#undef LIST_IMPORT_SOURCE_

}  // namespace Acl
