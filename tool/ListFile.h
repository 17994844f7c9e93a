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
  Orb::U64 line = 0;          ///< counted from 1; 0 when it is the fault of no line
  bool isUnreadable = false;  ///< the fault is the file's, not the list's
};

/// A list file, imported.
template <class Family>
struct ListFile {
  Orb::Ptr<Acl::AclListConfig> config;   ///< holds this one list
  Orb::Ptr<typename Family::List> list;  ///< named after the file; empty when there is a fault
  std::optional<ListFault> fault;
};

/// Imports a list file as the routing process does, and reports what is wrong with it: a list
/// without entries, too.
template <class Family>
ListFile<Family> readListFile(std::string const& file, Acl::UrlImportDuplicateOperation onDuplicate,
                              Console& console);

extern template ListFile<Acl::Ipv4Family> readListFile(std::string const&,
                                                       Acl::UrlImportDuplicateOperation, Console&);
extern template ListFile<Acl::Ipv6Family> readListFile(std::string const&,
                                                       Acl::UrlImportDuplicateOperation, Console&);

}  // namespace Tool
