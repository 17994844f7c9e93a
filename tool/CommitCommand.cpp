#include <map>
#include <nlohmann/json.hpp>
#include <unordered_map>

#include "config_copy/RouteMapCopy.h"
#include "config_text/TreeWalk.h"
#include "policy_config/DynamicPrefixList.h"
#include "tool/Commands.h"
#include "tool/Workspace.h"

namespace Tool {

namespace {

using Json = nlohmann::ordered_json;
using Kind = Orb::Difference::Kind;

/// The counters of a tree by path, in their order.
using Counters = std::vector<std::pair<std::string, std::string>>;

Counters countersOf(ConfigTree const& tree) {
  Counters counters;
  for (auto const& root : tree.roots()) {
    ConfigText::eachCounter(*root, [&](std::string const& path, std::string const& value) {
      counters.emplace_back(path, value);
    });
  }
  return counters;
}

struct Move {
  std::string path;
  std::string before;
  std::string after;
};

/// The counters that a commit moved. Those of what is gone are not among them.
std::vector<Move> movesBetween(Counters const& before, Counters const& after) {
  std::unordered_map<std::string_view, std::string_view> const old(before.begin(), before.end());
  std::vector<Move> moves;
  for (auto const& [path, value] : after) {
    auto const found = old.find(path);
    std::string const was(found == old.end() ? "0" : found->second);
    if (was != value) moves.push_back({path, was, value});
  }
  return moves;
}

void writeText(Cli::Session::CommitReport const& report, std::vector<Move> const& moves,
               Console& console) {
  for (auto const& item : report.items) {
    console.text().append(item.path).append(": ").append(outcomeName(item.outcome)).append("\n");
    console.lineDone();
  }
  for (Move const& move : moves) {
    console.text().append(move.path).append(": ").append(move.before).append(" -> ");
    console.text().append(move.after).append("\n");
    console.lineDone();
  }
}

Json jsonOf(Cli::Session::CommitReport const& report, std::vector<Move> const& moves) {
  Json items = Json::array();
  for (auto const& item : report.items) {
    items.push_back({{"path", item.path}, {"outcome", outcomeName(item.outcome)}});
  }
  Json versions = Json::array();
  for (Move const& move : moves) {
    versions.push_back({{"path", move.path},
                        {"before", std::stoul(move.before)},
                        {"after", std::stoul(move.after)}});
  }
  Json json = {{"ok", report.isComplete()}, {"items", items}, {"versions", versions}};
  if (!report.isComplete()) json["error"] = report.error;
  return json;
}

/// The versions of the dynamic prefix lists, by path.
std::map<std::string, Orb::U32> dynamicVersions(ConfigTree const& tree) {
  constexpr std::string_view kLists = "dynamicPrefixList";
  using Routing::DynamicPrefixList::Config;
  std::map<std::string, Orb::U32> versions;
  for (auto const& list : static_cast<Config const&>(tree.rootOf(kLists)).dynamicPrefixList()) {
    versions[std::string(kLists) + '[' + Orb::toText(list->dplName()) + ']'] = list->version();
  }
  return versions;
}

/// No commit raises the version of a dynamic list, and without another one a router goes on as it
/// was.
void warnOfVersions(Cli::Session::CommitReport const& report,
                    std::map<std::string, Orb::U32> const& before,
                    std::map<std::string, Orb::U32> const& after, Console& console) {
  for (auto const& item : report.items) {
    using Outcome = Cli::Session::CommitItem::Outcome;
    auto const now = after.find(item.path);
    if (item.outcome == Outcome::unchanged || now == after.end()) continue;
    auto const was = before.find(item.path);
    if (now->second == 0) {
      console.warning(item.path, "a router leaves it out until its version is set");
    } else if (was != before.end() && was->second == now->second) {
      console.warning(item.path, "a router follows once its version is set to another number");
    }
  }
}

void nothingPending(Options const& options, Console& console) {
  if (options.json) return console.jsonLine(jsonOf(Cli::Session::CommitReport(), {}));
  console.text() += "nothing is pending\n";
}

}  // namespace

void commitConfig(Options const& options, Console& console) {
  ConfigFile file(options.config);
  auto edits = PendingEdits::open(file, PendingEdits::Access::change);
  if (!hasEdits(edits)) return nothingPending(options, console);
  auto workspace = openWorkspace(std::move(file), std::move(edits), true, console);
  if (!workspace) return;
  auto const handlers = Orb::make<Routing::RouteMap::RouteMapCopyHandlerDir>("route-policy");
  auto const session = openSession(*workspace, handlers, console);
  if (!session) return;
  Counters const before = countersOf(workspace->tree);
  auto const versions = dynamicVersions(workspace->tree);
  auto const report = commitOf(*session);
  std::vector<Move> moves;
  if (report.isComplete()) {
    moves = movesBetween(before, countersOf(workspace->tree));
    workspace->save();  // first: what is reported is on the disk
  }
  if (options.json) {
    console.jsonLine(jsonOf(report, moves));
  } else {
    writeText(report, moves, console);
  }
  warnOfVersions(report, versions, dynamicVersions(workspace->tree), console);
  if (!report.isComplete()) console.finding(workspace->file.path(), report.error);
}

void abortConfig(Options const& options, Console& console) {
  auto edits = PendingEdits::open(ConfigFile(options.config), PendingEdits::Access::drop);
  std::size_t count = 0;
  if (edits) ConfigText::eachLine(edits->text(), [&](std::size_t, std::string_view) { ++count; });
  if (edits) edits->remove();
  if (options.json) return console.jsonLine({{"dropped", count}});
  if (count == 0) {
    console.text() += "nothing is pending\n";
  } else {
    console.text().append(std::to_string(count));
    console.text().append(count == 1 ? " edit dropped\n" : " edits dropped\n");
  }
}

}  // namespace Tool
