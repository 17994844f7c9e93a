#pragma once

#include <cstddef>
#include <cstdio>
#include <vector>

#include "list_import/AsPathEntryParser.h"
#include "platform/orb/base/FunctionRef.h"

/// Source files of AS-path lists: reading one into a staging set, and the import into a list.
namespace Acl {

/// An expression that was accepted, but that the engine in use does not accept.
struct AsPathSourceWarning {
  Orb::U64 line = 0;  ///< of the file, counted from 1
  Orb::String userRegex;
};

/// Its message counts the lines from 1, unlike those of prefix lists, on purpose.
struct AsPathSourceResult : SourceResult<AsPathSourceFault> {
  /// The expression that neither engine accepts; empty unless that is the fault.
  Orb::String userRegex;
  /// In the order of the file; none when the file could not be read.
  std::vector<AsPathSourceWarning> warnings;
};

/// The most characters of a line that are read as one line, without the newline.
inline constexpr std::size_t kLongestAsPathLine = 4094;

/// Reads a source file from where `source` stands; see SourceFile.h. A file without a line that
/// has a word is refused.
ROUTEPOLICY_EXPORT AsPathSourceResult readAsPathSource(std::FILE& source,
                                                       AsPathEntryParser& parser);

/// Reads source files and keeps a status object up to date meanwhile.
class ROUTEPOLICY_EXPORT AsPathLoader {
 public:
  /// Reads the file at `path` into `entries`. `warningOnly` of `status` is set with the first
  /// warning; an error, once the file is closed, clears it and sets `errorStr`.
  AsPathSourceResult operator()(Orb::String const& path, AsPathEntries& entries,
                                UrlImportDuplicateOperation onDuplicate, bool isPosixMode,
                                AsPathUrlLoadReturnStatus& status) const;
};

/// Imports the file at `path` into `list`, as importPrefixList() does. `status` is reset first, and
/// kept up to date while the file is read, with the activity lock released; nothing is added unless
/// it is without an error when the lock is held again.
ROUTEPOLICY_EXPORT AsPathSourceResult importAsPathList(AsPathList& list, Orb::String const& path,
                                                       UrlImportDuplicateOperation onDuplicate,
                                                       bool isPosixMode,
                                                       AsPathUrlLoadReturnStatus& status);

}  // namespace Acl
