#include <algorithm>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

#include "tool/Commands.h"
#include "tool/Workspace.h"

namespace Tool {

namespace {

using Json = nlohmann::ordered_json;
using Kind = Orb::Difference::Kind;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Takes the digits in front off a text.
std::string_view takeNumber(std::string_view& text) {
  std::string_view const number = text.substr(0, text.find_first_not_of("0123456789"));
  text.remove_prefix(number.size());
  return number;
}

/// Orders the texts of keys: a number in them by its value, unless it is part of a string.
struct KeyBefore {
  bool operator()(std::string_view a, std::string_view b) const {
    bool isQuoted = false;
    while (!a.empty() && !b.empty()) {
      if (!isQuoted && isDigit(a.front()) && isDigit(b.front())) {
        std::string_view const x = takeNumber(a);  // without needless zeros
        std::string_view const y = takeNumber(b);
        if (x.size() != y.size()) return x.size() < y.size();
        if (x != y) return x < y;
        continue;
      }
      if (a.front() != b.front()) return a.front() < b.front();
      if (a.front() == '\'') isQuoted = !isQuoted;
      a.remove_prefix(1);
      b.remove_prefix(1);
    }
    return a.empty() && !b.empty();
  }
};

/// The length of the first step of a path: a name, or a key in its brackets.
std::size_t stepLength(std::string_view path) {
  if (!path.starts_with('[')) return std::min(path.find_first_of(".["), path.size());
  bool isQuoted = false;
  int depth = 0;
  for (std::size_t i = 0; i < path.size(); ++i) {
    char const c = path[i];
    if (c == '\'') isQuoted = !isQuoted;
    if (c == '\\' && isQuoted) ++i;
    if (isQuoted) continue;
    depth += c == '[' ? 1 : c == ']' ? -1 : 0;
    if (depth == 0) return i + 1;
  }
  return path.size();
}

/// Differences in the order of a configuration: what leads to others before them, members by their
/// keys, attributes as they came, which is their order.
class Differences {
 public:
  explicit Differences(ConfigTree const& tree) {
    for (auto const& root : tree.roots()) {
      for (Orb::AttributeInfo const& a : root->type().attributes) top_.at(a.name);
    }
  }

  void add(Orb::Difference const& d) {
    Node* node = &top_;
    for (std::string_view rest = d.path; !rest.empty();) {
      std::string_view const step = rest.substr(0, stepLength(rest));
      node = &(step.starts_with('[') ? node->members[std::string(step)] : node->at(step));
      rest.remove_prefix(step.size());
      if (rest.starts_with('.')) rest.remove_prefix(1);
    }
    node->own.push_back(d);
  }

  void visit(Orb::FunctionRef<void(Orb::Difference const&)> visit) const { top_.visit(visit); }

 private:
  struct Node {
    std::vector<Orb::Difference> own;
    std::map<std::string, Node, KeyBefore> members;
    std::vector<std::pair<std::string, std::unique_ptr<Node>>> attributes;

    Node& at(std::string_view name) {
      for (auto const& [known, node] : attributes) {
        if (known == name) return *node;
      }
      return *attributes.emplace_back(name, std::make_unique<Node>()).second;
    }
    void visit(Orb::FunctionRef<void(Orb::Difference const&)> visit) const {
      for (Orb::Difference const& d : own) visit(d);
      for (auto const& [key, node] : members) node.visit(visit);
      for (auto const& [name, node] : attributes) node->visit(visit);
    }
  };

  Node top_;
};

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
  Differences differences(workspace->tree);
  session->difference([&](Orb::Difference const& d) { differences.add(d); });
  differences.visit([&](Orb::Difference const& d) {
    if (options.json) return console.jsonLine(jsonOf(d));
    writeDifference(d, console);
  });
}

}  // namespace Tool
