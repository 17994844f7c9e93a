#pragma once

#include "platform/orb/base/String.h"

/// What the source files of every kind of list have in common.
///
/// A file is read line by line, to its end or to the first line that is refused; blank lines are
/// skipped. On purpose, since existing files are read so:
///  - so many characters are read at a time, and no more (511 of a prefix list, with the newline),
///    so a longer line is several;
///  - what was read loses its last character, the newline or not: a last line without one is cut,
///    and so is each piece of a line that is too long;
///  - a line ends at a NUL.
namespace Acl {

/// Whether every character is white space.
ROUTEPOLICY_EXPORT bool isEmptyLine(char const* line);

/// How the reading of a source file ended. `Fault` is the kind's enumeration of reasons, with
/// `none` and `unreadable` among them.
template <class Fault>
struct SourceResult {
  /// What the command line prints: "NUMBER: MESSAGE" with the number of the line among those that
  /// are not blank, from the first one that the kind of source has, or why the file could not be
  /// read. Empty when the whole file was accepted.
  Orb::String error;
  /// The message alone.
  Orb::String message;
  /// Why it ended so; none when the whole file was accepted.
  Fault fault = Fault::none;
  /// The system's error number when the file could not be opened or read, else 0.
  int errorNumber = 0;
  /// The line of the file that was refused, counted from 1 as an editor counts; 0 when none was,
  /// also when the file could not be read.
  Orb::U64 line = 0;

  bool isError() const noexcept { return fault != Fault::none; }
  /// The file could not be opened or read.
  bool isFileError() const noexcept { return fault == Fault::unreadable; }
};

}  // namespace Acl
