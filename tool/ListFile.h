#pragma once

#include <cstdio>

#include "policy_config/AclListConfig.h"
#include "tool/ListFindings.h"

namespace Tool {

/// Reads a list file in which no line is longer than `longest`, and reports what is wrong with it:
/// a list without entries, too. `import` is called with its lines and the name of the list, which
/// is that of the file.
ListFindings readListFile(
    ListPlace const& file, std::size_t longest, Options const& options, Console& console,
    Orb::FunctionRef<ListFindings(std::FILE& source, Orb::Name const& name)> import);

/// Imports a list file as the routing process does.
template <class Kind>
ReadList<Kind> readListFile(Kind const& kind, std::string const& file, Options const& options,
                            Console& console) {
  ReadList<Kind> read{ListPlace::ofFile(file)};
  read.findings = readListFile(read.place, Kind::kLongestLine, options, console,
                               [&](std::FILE& source, Orb::Name const& name) {
                                 auto const list = kind.newList(
                                     *Orb::make<Acl::AclListConfig>("route-policy"), name);
                                 read.list = list;
                                 return kind.import(source, options.onDuplicate, *list);
                               });
  return read;
}

}  // namespace Tool
