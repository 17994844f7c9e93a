#include <nlohmann/json.hpp>

#include "tool/Commands.h"
#include "tool/Workspace.h"

namespace Tool {

namespace {

using Json = nlohmann::ordered_json;
using Kind = Orb::Difference::Kind;

void writeDifference(Orb::Difference const& d, Console& console) {
  std::string& out = console.text();
  out.append(d.kind == Kind::added ? "+ " : d.kind == Kind::removed ? "- " : "~ ").append(d.path);
  if (d.kind == Kind::changed) {
    out.append(": ").append(d.before).append(" -> ").append(d.after);
  } else if (d.hasText) {
    out.append(" = ").append(d.kind == Kind::added ? d.after : d.before);
  }
  out += '\n';
  console.lineDone();
}

Json jsonOf(Orb::Difference const& d) {
  Json json = {{"change", d.kind == Kind::added     ? "added"
                          : d.kind == Kind::removed ? "removed"
                                                    : "changed"},
               {"path", d.path}};
  if (d.hasText && d.kind != Kind::added) json["before"] = d.before;
  if (d.hasText && d.kind != Kind::removed) json["after"] = d.after;
  return json;
}

}  // namespace

void diffConfig(Options const& options, Console& console) {
  ConfigFile file(options.config);
  auto edits = PendingEdits::open(file, PendingEdits::Access::read);
  bool const hasSome = hasEdits(edits);
  auto const workspace = openWorkspace(std::move(file), std::move(edits), hasSome, console);
  if (!workspace) return;
  auto const session = openSession(*workspace, nullptr, console);
  if (!session) return;
  session->difference([&](Orb::Difference const& d) {
    if (options.json) return console.jsonLine(jsonOf(d));
    writeDifference(d, console);
  });
}

}  // namespace Tool
