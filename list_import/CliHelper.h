#pragma once

#include <string>

#include "policy_config/AsPathList.h"
#include "policy_config/PrefixList.h"

namespace Acl {

/// The prefix-list functions of the command line. They are static, and the type has no attributes:
/// an instance serves callers that look the type up by its name.
class ROUTEPOLICY_EXPORT CliHelper : public Orb::Entity {
 public:
  ORB_ENTITY(CliHelper, "Acl::CliHelper");

  /// The directory in which the command line puts source files before it imports them.
  static Orb::String prefixListEntryLocalDir(bool isIpv6);

  /// Imports the file at `path` into the list; see importPrefixList() in PrefixSource.h. Returns
  /// the empty text, or why the file was refused; the list is as it was then. The activity lock is
  /// released while the file is read. Throws an Orb::RangeException, with the list as it was, for
  /// an IPv4 address with bits beyond its length.
  static Orb::String loadPrefixListEntries(PrefixList& list, Orb::String const& path,
                                           UrlImportDuplicateOperation onDuplicate);
  static Orb::String loadIpv6PrefixListEntries(Ipv6PrefixList& list, Orb::String const& path,
                                               UrlImportDuplicateOperation onDuplicate);

  /// Makes the entries of `destination` those of `source`, and changes nothing else of it; when
  /// there is no memory it is as before. Observers are notified when that is done: of each number
  /// that was there, then of each that is. A list that is its own source stays as it is.
  static void copyPrefixListEntries(PrefixList const& source, PrefixList& destination);
  static void copyIpv6PrefixListEntries(Ipv6PrefixList const& source, Ipv6PrefixList& destination);

  /// Writes the list's text to a new file that the caller removes, and returns its path. Empty,
  /// with no file left behind, when that cannot be done: also for a name that does not fit a path
  /// of 127 characters, or that holds a "/" or a NUL.
  static Orb::String showPrefixList(PrefixList const& list);
  static Orb::String showIpv6PrefixList(Ipv6PrefixList const& list);

  /// Parses one line of a source file by itself, as IPv6 if it holds a ":"; see
  /// DebugParsePrefixEntry.
  static Orb::String debugParsePrefixListEntry(Orb::String const& line);
};

/// The AS-path-list functions of the command line.
class ROUTEPOLICY_EXPORT AsPathCliHelper : public Orb::Entity {
 public:
  ORB_ENTITY(AsPathCliHelper, "Acl::AsPathCliHelper");

  /// The directory in which the command line puts source files before it imports them.
  static Orb::String asPathListEntryLocalDir();
  /// The word for an origin on the command line; the enumerator's name where there is none.
  static Orb::String getBgpOriginCliStr(BGPOrigin origin);

  /// Imports the file at `path` into the list, and leaves in `status` what became of that; see
  /// importAsPathList() in AsPathSource.h. `isPosixMode` says which engine is in use. The activity
  /// lock is released while the file is read.
  static void loadAsPathListEntries(AsPathList& list, Orb::String const& path,
                                    UrlImportDuplicateOperation onDuplicate, bool isPosixMode,
                                    AsPathUrlLoadReturnStatus& status);
  /// Removes every entry of the list.
  static void delAsPathListEntries(AsPathList& list);
  /// As CliHelper::copyPrefixListEntries().
  static void copyAsPathListEntries(AsPathList const& source, AsPathList& destination);

  /// As CliHelper::showPrefixList(). Entries that the engine in use does not accept are marked.
  static Orb::String showAsPathList(AsPathList const& list, bool isPosixMode);

  /// Parses one line of a source file by itself, as the first of an empty set: "Entry: ..." with
  /// its description, also when the engine in use does not accept it, or the parser's message.
  static Orb::String debugParseAsPathListEntry(Orb::String const& line, bool isPosixMode);
};

/// The text of a list as the command line shows it: its header, where it came from, its entries.
/// Without the entries when its import failed.
ROUTEPOLICY_EXPORT std::string prefixListText(PrefixList const& list);
ROUTEPOLICY_EXPORT std::string prefixListText(Ipv6PrefixList const& list);
ROUTEPOLICY_EXPORT std::string asPathListText(AsPathList const& list, bool isPosixMode);

}  // namespace Acl
