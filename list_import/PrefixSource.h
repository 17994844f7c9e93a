#pragma once

#include <cstddef>
#include <cstdio>

#include "list_import/PrefixEntryParser.h"
#include "platform/orb/base/Error.h"

/// Source files of prefix lists: reading one into a staging set, and the import into a list.
namespace Acl {

/// Its message counts the lines from 0.
using PrefixSourceResult = SourceResult<PrefixSourceFault>;

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

/// The most characters of a line that are read as one line, without the newline.
inline constexpr std::size_t kLongestPrefixLine = 510;

/// Reads a source file from where `source` stands; see SourceFile.h. Throws a
/// PrefixSourceException for a line that the parser throws for.
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
