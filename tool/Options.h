#pragma once

#include <string>
#include <vector>

#include "policy_config/ListTypes.h"

namespace Tool {

/// What the command line asks for.
struct Options {
  enum class Command { check, show, match, compile };

  Command command = Command::check;
  std::vector<std::string> files;     ///< at least one; kStandardInput for standard input
  std::vector<std::string> prefixes;  ///< of match; none when they come on standard input
  bool ipv6 = false;
  bool json = false;
  Acl::UrlImportDuplicateOperation onDuplicate = Acl::duplicateError;
};

/// The file name that stands for standard input.
inline constexpr char kStandardInput[] = "-";

}  // namespace Tool
