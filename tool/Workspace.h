#pragma once

#include <optional>
#include <string>

#include "config_text/ConfigTree.h"
#include "tool/Console.h"
#include "tool/Options.h"
#include "tool/PendingEdits.h"

namespace Tool {

using ConfigText::ConfigTree;

/// A configuration and its pending edits, as the files have them.
struct Workspace {
  ConfigFile file;
  std::optional<PendingEdits> edits;  ///< when they were asked for and there is a file of them
  std::string fingerprint;            ///< of the file when it was read
  std::string head;  ///< the comments in front of the first line that says something
  ConfigTree tree;   ///< the running configuration

  /// Writes the tree into the file and removes the edits, which are in the tree.
  void save();
};

/// Reads a configuration; what is wrong in it is reported, and then there is nothing. A file that
/// does not exist is an empty configuration if it may be missing, and else a FileError.
std::optional<Workspace> openWorkspace(ConfigFile file, std::optional<PendingEdits> edits,
                                       bool mayBeMissing, Console& console);

/// A session in the name of the user, with the pending edits applied; null when one of them was
/// refused, which is reported. `handlers` are those of its commit: see Manager.
Orb::Ptr<Cli::Session::Session> openSession(Workspace const& workspace,
                                            Orb::Ptr<Orb::Entity> const& handlers,
                                            Console& console);

/// Commits a session. That memory ran out is thrown, since it says nothing of the configuration.
Cli::Session::CommitReport commitOf(Cli::Session::Session& session);

/// The running configuration or, for --candidate, what it would be with the pending edits. With the
/// handlers of a commit, versions rise as by one; without, none does.
std::optional<ConfigTree> readConfig(Options const& options, Console& console,
                                     Orb::Ptr<Orb::Entity> const& handlers = nullptr);

/// Whether any line is an edit.
bool hasEdits(std::optional<PendingEdits> const& edits);

}  // namespace Tool
