#pragma once

#include <vector>

#include "list_import/AsPathEntries.h"
#include "list_import/SourceFile.h"
#include "platform/regex/RegexHelper.h"

/// The lines of an AS-path source file. A line is
///   permit|deny EXPRESSION [any|igp|egp|incomplete]
/// with its words parted by blanks (tabs are part of a word), so an expression has none.
namespace Acl {

/// Why a source file, or a line of one, was refused: for callers with messages of their own.
enum class AsPathSourceFault : Orb::U8 {
  none,        ///< it was not
  unreadable,  ///< the file could not be opened or read
  empty,       ///< no line of the file has a word
  badRegex,    ///< neither engine accepts the expression
  badLine,     ///< any other fault of a line
};

/// Turns lines into entries of a staging set.
class ROUTEPOLICY_EXPORT AsPathEntryParser {
 public:
  /// `entries` must outlive the parser. `onDuplicate` is what to do with a line that repeats the
  /// expression of an earlier one, byte for byte; `isPosixMode` says which engine is in use.
  AsPathEntryParser(AsPathEntries& entries, UrlImportDuplicateOperation onDuplicate,
                    bool isPosixMode);

  /// Parses one line, which it cuts into its words. 0 when the line was accepted or ignored as a
  /// duplicate; 1 when it was accepted, but the engine in use does not accept the expression; -1
  /// with the reason in `error` when not: the entries are as before then.
  int parse(char* line, Orb::String& error);
  /// Why the last line was refused; none when it was not, and before the first.
  AsPathSourceFault fault() const noexcept { return fault_; }
  /// The expression of the last line that had one.
  Orb::String const& userRegex() const noexcept { return userRegex_; }

 private:
  bool validate(AsPathEntry& entry, AsPathEntries::Record earlier) const;

  AsPathEntries& entries_;
  UrlImportDuplicateOperation const onDuplicate_;
  bool const isPosixMode_;
  Orb::Ptr<Routing::RouteMap::Helper> const helper_;
  AsPathSourceFault fault_ = AsPathSourceFault::none;
  Orb::String userRegex_;
  std::vector<char*> words_;  // of the current line; a member so that its memory is reused
};

}  // namespace Acl
