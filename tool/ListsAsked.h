#pragma once

#include "tool/ListFile.h"
#include "tool/ListKind.h"
#include "tool/Workspace.h"

namespace Tool {

/// The lists of a configuration, and its settings in the place of those of the command line. The
/// versions of what the pending edits change are those that a commit would give it.
struct ConfiguredLists {
  ConfigTree tree;
  Options options;

  Acl::AclListConfig const& config() const;
};
/// Nothing when the configuration cannot be read, which is reported.
std::optional<ConfiguredLists> readLists(Options const& options, Console& console);

/// One list of a configuration, with what is wrong with it, which is reported.
template <class Kind>
ReadList<Kind> readConfigured(Kind const& kind, Acl::AclListConfig const& config,
                              Orb::Name const& name, Options const& options, Console& console) {
  ReadList<Kind> read{ListPlace::inConfig(Kind::kLists, name.view(), Kind::kEntries),
                      Kind::list(config, name)};
  if (!read.list) {
    read.findings.fault = ListFault{"there is no such list"};
  } else if (Kind::entries(*read.list).empty()) {
    read.findings.fault = ListFault{"the list is empty"};
  } else {
    read.findings = kind.findings(*read.list);
  }
  read.place.report(read.findings, options, console);
  return read;
}

/// Calls act(kind, read) with each list that the options ask for, read and reported on, whatever
/// it comes from, and writes what that answers: list files, lists of a configuration by their
/// names, or all of a kind, by ascending name, or all.
template <class Do>
void eachList(Options const& options, Console& console, Do const& act) {
  if (options.config.empty()) {
    return withKind(*options.kind, options, [&]<class Kind>(Kind const& kind) {
      if constexpr (kHasFiles<Kind>) {
        for (std::string const& file : options.files) {
          act(kind, readListFile(kind, file, options, console));
          console.flush();
        }
      }
    });
  }
  auto const lists = readLists(options, console);
  if (!lists) return;
  for (ListKind const each : kListKinds) {
    if (options.kind && *options.kind != each) continue;
    withKind(each, lists->options, [&](auto const& kind) {
      auto const actOn = [&](Orb::Name const& name) {
        act(kind, readConfigured(kind, lists->config(), name, options, console));
        console.flush();
      };
      for (std::string const& name : options.names) actOn(name);
      if (!options.names.empty()) return;
      for (auto const& list : kind.lists(lists->config())) actOn(list->name());
    });
  }
}

}  // namespace Tool
