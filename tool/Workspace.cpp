#include "tool/Workspace.h"

#include <cstdlib>
#include <exception>
#include <new>

namespace Tool {

namespace {

void reportFaults(std::string const& file, std::vector<ConfigText::LineFault> const& faults,
                  Console& console) {
  for (ConfigText::LineFault const& fault : faults) {
    console.finding({file, fault.line}, fault.reason);
  }
}

std::string headOf(std::string_view text) {
  std::size_t end = text.npos;
  ConfigText::eachLine(text, [&](std::size_t, std::string_view line) {
    if (end != text.npos) return;
    auto const at = static_cast<std::size_t>(line.data() - text.data());
    std::size_t const newline = text.substr(0, at).rfind('\n');
    end = newline == text.npos ? 0 : newline + 1;
  });
  std::string head(text.substr(0, end));
  if (!head.empty() && head.back() != '\n') head += '\n';
  return head;
}

}  // namespace

void Workspace::save() {
  std::string text = head;
  tree.eachAssignment([&](std::string const& line) { text.append(line).append("\n"); });
  edits->commit(fingerprint, text);
}

std::optional<Workspace> openWorkspace(ConfigFile file, std::optional<PendingEdits> edits,
                                       bool mayBeMissing, Console& console) {
  console.workOn(file.path());
  auto const text = file.text();
  if (!text && !mayBeMissing) throw FileError(file.path(), kRead, ENOENT);
  Workspace workspace{std::move(file), std::move(edits), fingerprintOf(text), {}, {}};
  if (!text) return workspace;
  auto const faults = workspace.tree.load(*text);
  reportFaults(workspace.file.path(), faults, console);
  if (!faults.empty()) return std::nullopt;
  workspace.head = headOf(*text);
  return workspace;
}

Orb::Ptr<Cli::Session::Session> openSession(Workspace const& workspace,
                                            Orb::Ptr<Orb::Entity> const& handlers,
                                            Console& console) {
  char const* const user = std::getenv("USER");  // NOLINT(concurrency-mt-unsafe)
  auto session = Orb::make<Cli::Session::Manager>(workspace.tree.roots(), handlers)
                     ->open(user && *user ? user : "route-policy");
  if (!workspace.edits) return session;
  auto const faults = ConfigText::applyEdits(*session, workspace.edits->text());
  reportFaults(workspace.edits->path(), faults, console);
  return faults.empty() ? session : nullptr;
}

Cli::Session::CommitReport commitOf(Cli::Session::Session& session) {
  auto report = session.commit();
  try {
    if (report.cause) std::rethrow_exception(report.cause);
  } catch (std::bad_alloc const&) {
    throw;
  } catch (...) {
    // The report says it.
  }
  return report;
}

std::optional<ConfigTree> readConfig(Options const& options, Console& console,
                                     Orb::Ptr<Orb::Entity> const& handlers) {
  ConfigFile file(options.config);
  auto edits =
      options.candidate ? PendingEdits::open(file, PendingEdits::Access::read) : std::nullopt;
  bool const hasSome = hasEdits(edits);
  auto workspace = openWorkspace(std::move(file), std::move(edits), hasSome, console);
  if (!workspace) return std::nullopt;
  if (options.candidate) {
    // A commit to this process's own copy.
    auto const session = openSession(*workspace, handlers, console);
    if (!session) return std::nullopt;
    auto const report = commitOf(*session);
    if (!report.isComplete()) {
      console.finding({workspace->edits->path()}, report.error);
      return std::nullopt;
    }
  }
  return std::move(workspace->tree);
}

bool hasEdits(std::optional<PendingEdits> const& edits) {
  bool hasAny = false;
  if (edits)
    ConfigText::eachLine(edits->text(), [&](std::size_t, std::string_view) { hasAny = true; });
  return hasAny;
}

}  // namespace Tool
