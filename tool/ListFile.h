#pragma once

#include <optional>
#include <string>

#include "policy_config/PrefixListFamily.h"
#include "tool/Console.h"
#include "tool/Options.h"

namespace Tool {

/// Why a list file is of no use.
struct ListFault {
  std::string message;
  Orb::U64 line = 0;          ///< counted from 1; 0 when it is no line's fault
  bool isUnreadable = false;  ///< the file's fault, not the list's
};

/// A list file, imported.
template <class Family>
struct ListFile {
  Orb::Ptr<Acl::AclListConfig> config;   ///< holds this one list
  Orb::Ptr<typename Family::List> list;  ///< named after the file; empty when there is a fault
  std::optional<ListFault> fault;
};

/// Imports a list file. A list without entries is a fault.
template <class Family>
ListFile<Family> readListFile(std::string const& file,
                              Acl::UrlImportDuplicateOperation onDuplicate);

/// The same for a command with one file, with the fault reported: nothing when there is one.
template <class Family>
std::optional<ListFile<Family>> openListFile(Options const& options, Console& console);

/// "FILE:LINE: MESSAGE".
void reportFault(std::string const& file, ListFault const& fault, Console& console);
/// Warns of what an import reads otherwise than its writer meant it.
void reportPitfalls(std::string const& file, Console& console);

extern template ListFile<Acl::Ipv4Family> readListFile(std::string const&,
                                                       Acl::UrlImportDuplicateOperation);
extern template ListFile<Acl::Ipv6Family> readListFile(std::string const&,
                                                       Acl::UrlImportDuplicateOperation);
extern template std::optional<ListFile<Acl::Ipv4Family>> openListFile(Options const&, Console&);
extern template std::optional<ListFile<Acl::Ipv6Family>> openListFile(Options const&, Console&);

}  // namespace Tool
