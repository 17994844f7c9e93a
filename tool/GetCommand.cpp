#include "config_text/TreeJson.h"
#include "platform/orb/base/Error.h"
#include "tool/Commands.h"
#include "tool/Workspace.h"

namespace Tool {

namespace {

/// What an owned entity is made of, as lines of a configuration.
void writeLines(Orb::Entity const& entity, std::string_view path, Console& console) {
  auto const line = [&](Orb::Difference const& d) {
    console.text().append(d.path);
    if (d.hasText) console.text().append("=").append(d.after);
    console.text() += '\n';
    console.lineDone();
  };
  Orb::ownedDifferences(Orb::AttributeKind::children, nullptr, &entity, line, path);
}

void getPath(ConfigTree const& tree, std::string_view path, bool isJson, Console& console) {
  Orb::Entity const& root = tree.rootOf(path);
  if (!isJson) {
    bool isEntity = false;
    Orb::visitPath(root, path, [&](Orb::PathTarget const& target) {
      isEntity = target.entity != nullptr;
      if (isEntity) writeLines(*target.entity, path, console);
    });
    if (isEntity) return;
    console.text() += Orb::attributeText(root, path);
  } else {
    Orb::visitPath(root, path,
                   [&](Orb::PathTarget const& target) { ConfigText::writeJson(target, console); });
  }
  console.text() += '\n';
  console.lineDone();
}

void getAll(ConfigTree const& tree, bool isJson, Console& console) {
  if (isJson) {
    {
      ConfigText::JsonObject object(console);
      for (auto const& root : tree.roots()) ConfigText::writeJsonMembers(object, *root, console);
    }
    console.text() += '\n';
    return;
  }
  tree.eachAssignment([&](std::string const& line) {
    console.text().append(line).append("\n");
    console.lineDone();
  });
}

}  // namespace

void getConfig(Options const& options, Console& console) {
  auto const tree = readConfig(options, console);
  if (!tree) return;
  if (options.words.empty()) return getAll(*tree, options.json, console);
  std::size_t number = 0;
  for (std::string const& path : options.words) {
    ++number;
    try {
      getPath(*tree, path, options.json, console);
    } catch (Orb::RangeException const& error) {
      console.finding("path " + std::to_string(number), error.what());
    }
  }
}

}  // namespace Tool
