#pragma once

#include <optional>
#include <string>
#include <vector>

#include "policy_config/AsnConfig.h"
#include "policy_config/ListTypes.h"

namespace Tool {

/// The kinds of lists.
enum class ListKind { prefix, ipv6Prefix, asPath, community };
inline constexpr ListKind kListKinds[] = {ListKind::prefix, ListKind::ipv6Prefix, ListKind::asPath,
                                          ListKind::community};

/// What the command line asks for.
struct Options {
  enum class Command { check, show, match, compile, get, set, unset, diff, commit, abort };

  Command command = Command::check;
  bool json = false;

  // Of the commands on lists: files, or lists of a configuration.
  std::optional<ListKind> kind;    ///< of a file always; none for lists of all kinds
  std::vector<std::string> files;  ///< at least one; kStandardInput for standard input
  std::vector<std::string> names;  ///< of lists of a configuration; none for all of the kind
  std::vector<std::string> asked;  ///< of match; none when that comes on standard input
  bool strict = false;             ///< a list with a warning is of no use
  Acl::UrlImportDuplicateOperation onDuplicate = Acl::duplicateError;
  // Of AS-path lists; a configuration has the first two itself.
  Acl::RegexMode regexMode = Acl::regexModeDfa;
  Routing::AsnNotation notation = Routing::asnNotationAsplain;
  Acl::BGPOrigin origin = Acl::bgpIGP;  ///< of match: of routes that do not say theirs
  bool exact = false;                   ///< of match, of community lists: and no other community

  // Of the commands on a configuration.
  std::string config;              ///< its file; empty when the command works on list files
  std::vector<std::string> words;  ///< paths of get and unset, edits of set, names of show
  bool candidate = false;
};

/// The file name that stands for standard input.
inline constexpr char kStandardInput[] = "-";

}  // namespace Tool
