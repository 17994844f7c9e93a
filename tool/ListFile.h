#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "policy_config/AclListConfig.h"
#include "tool/Console.h"
#include "tool/Options.h"
#include "tool/PatternFaults.h"

namespace Tool {

/// What is wrong with a list file or a line of it.
struct ListFault {
  std::string message;
  Orb::U64 line = 0;          ///< counted from 1; 0 when it is the fault of no line
  bool isUnreadable = false;  ///< the fault is the file's, not the list's
  PatternFaults pattern = {};
};

/// What the import of a list file gave.
struct ListFindings {
  std::optional<ListFault> fault;   ///< why the file is of no use
  std::vector<ListFault> warnings;  ///< the first of them
  std::size_t moreWarnings = 0;     ///< how many there are besides

  static constexpr std::size_t kMostWarnings = 100;

  bool hasWarnings() const noexcept { return !warnings.empty(); }
  /// Adds "warnings", if there are any.
  void addWarningsTo(nlohmann::ordered_json& json) const;
};

/// A list file, imported.
template <class Kind>
struct ListFile {
  Orb::Ptr<Acl::AclListConfig> config;  ///< holds this one list
  Orb::Ptr<typename Kind::List>
      list;  ///< named after the file; null or not whole when there is a fault
  ListFindings findings;

  bool isOfUse() const noexcept { return !findings.fault; }
};

/// Reads a list file, and reports what is wrong with it: a list without entries, too. `import` is
/// called with its lines and the configuration, in which it makes a list of that name.
ListFindings readListFile(
    std::string const& file, Options const& options, Console& console,
    Orb::FunctionRef<ListFindings(std::FILE& source, Orb::Name const& name)> import);

/// Imports a list file as the routing process does.
template <class Kind>
ListFile<Kind> readListFile(Kind const& kind, std::string const& file, Options const& options,
                            Console& console) {
  ListFile<Kind> read;
  read.config = Orb::make<Acl::AclListConfig>("route-policy");
  read.findings =
      readListFile(file, options, console, [&](std::FILE& source, Orb::Name const& name) {
        read.list = kind.newList(*read.config, name);
        return kind.import(source, options.onDuplicate, *read.list);
      });
  return read;
}

}  // namespace Tool
