#include "platform/orb/base/Error.h"
#include "tool/Commands.h"
#include "tool/Workspace.h"

namespace Tool {

namespace {

/// Checks the edits on top of those that are pending, and adds them: all or none.
void addEdits(Options const& options, bool areRemovals, Console& console) {
  ConfigFile file(options.config);
  auto edits = PendingEdits::open(file, PendingEdits::Access::create);
  auto workspace = openWorkspace(std::move(file), std::move(edits), true, console);
  if (!workspace) return;
  auto const session = openSession(*workspace, nullptr, console);
  if (!session) return;
  std::string lines;
  std::size_t number = 0;
  bool isFine = true;
  for (std::string const& word : options.words) {
    ++number;
    ConfigText::ConfigEdit const edit{areRemovals, word};
    try {
      edit.apply(*session);
      lines.append(edit.line()).append("\n");
    } catch (Orb::RangeException const& error) {
      console.finding((areRemovals ? "path " : "edit ") + std::to_string(number), error.what());
      isFine = false;
    }
  }
  if (isFine) workspace->edits->append(lines);
}

}  // namespace

void setConfig(Options const& options, Console& console) { addEdits(options, false, console); }

void unsetConfig(Options const& options, Console& console) { addEdits(options, true, console); }

}  // namespace Tool
