#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "config_text/ConfigTree.h"
#include "fuzz/Input.h"
#include "platform/orb/base/Error.h"
#include "platform/orb/model/Path.h"

// Attributes by their path. The input is lines "PATH=TEXT", "PATH" and "-PATH", which set, make and
// remove; the last one is checked in what those before it made. Whatever stands in it:
//  - what can be read has a type, by the same path; reading changes nothing;
//  - a change that is refused changes nothing;
//  - what was set reads back, and is set by what was read; what was made is there; what was removed
//    is not.

namespace {

using ConfigText::ConfigTree;

std::string linesOf(Orb::Entity const& root) {
  std::string lines;
  Orb::assignments(root, [&](std::string const& line) { lines.append(line).append("\n"); });
  return lines;
}

/// What `path` leads to: its text, and the entity when it is one. Nothing when it is refused.
struct Found {
  std::string text;
  Orb::Entity const* entity = nullptr;
};
std::optional<Found> read(Orb::Entity const& root, std::string_view path) {
  try {
    Found found{Orb::attributeText(root, path), nullptr};
    Orb::visitPath(root, path,
                   [&](Orb::PathTarget const& target) { found.entity = target.entity; });
    return found;
  } catch (Orb::RangeException const&) {
    return std::nullopt;
  }
}

void checkTypes(Orb::Entity& root, std::string_view path, std::optional<Found> const& found) {
  try {
    Orb::PathType const type = Orb::pathType(root.type(), path);
    if (!found || !found->entity) return;
    ORB_ASSERT(type.ownedType == found->entity->type().name);
    ORB_ASSERT(Orb::ownedAt(root, type.place).get() == found->entity);
  } catch (Orb::RangeException const&) {
    ORB_ASSERT(!found);
  }
}

void set(Orb::Entity& root, Orb::Assignment const& line) {
  line.hasText ? Orb::attributeTextIs(root, line.path, line.text)
               : void(Orb::attributeIs(root, line.path));
}

void checkSet(Orb::Entity& root, Orb::Assignment const& line) {
  std::string const before = linesOf(root);
  try {
    set(root, line);
  } catch (Orb::RangeException const&) {
    ORB_ASSERT(linesOf(root) == before);
    return;
  }
  std::string const after = linesOf(root);
  auto const found = read(root, line.path);
  // A single child may be made by its attribute alone, and is then read as that.
  ORB_ASSERT(found);
  line.hasText ? Orb::attributeTextIs(root, line.path, found->text)
               : void(Orb::attributeIs(root, line.path));
  ORB_ASSERT(linesOf(root) == after);
}

void checkRemoval(Orb::Entity& root, std::string_view path) {
  std::string const before = linesOf(root);
  try {
    bool const isRemoved = Orb::attributeDel(root, path);
    std::string const after = linesOf(root);
    ORB_ASSERT(isRemoved || after == before);
    ORB_ASSERT(!Orb::attributeDel(root, path) && linesOf(root) == after);
    checkTypes(root, path, read(root, path));
  } catch (Orb::RangeException const&) {
    ORB_ASSERT(linesOf(root) == before);
  }
}

void check(Orb::Entity& root, std::string_view line) {
  std::string const before = linesOf(root);
  bool const isRemoval = line.starts_with('-');
  Orb::Assignment const said = Orb::splitAssignment(isRemoval ? line.substr(1) : line);
  checkTypes(root, said.path, read(root, said.path));
  ORB_ASSERT(linesOf(root) == before);
  isRemoval ? checkRemoval(root, said.path) : checkSet(root, said);
}

}  // namespace

FUZZ_MOST_BYTES(512);

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::vector<std::string_view> lines;
  ConfigText::eachLine(Fuzz::textOf(data, size),
                       [&](std::size_t, std::string_view line) { lines.push_back(line); });
  if (lines.empty()) return 0;
  ConfigTree const tree;
  auto const rootOf = [&](std::string_view line) -> Orb::Entity& {
    return tree.rootOf(line.starts_with('-') ? line.substr(1) : line);
  };
  for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
    try {
      std::string_view const line = lines[i];
      line.starts_with('-') ? void(Orb::attributeDel(rootOf(line), line.substr(1)))
                            : set(rootOf(line), Orb::splitAssignment(line));
    } catch (Orb::RangeException const&) {
      continue;
    }
  }
  Orb::Entity* root = nullptr;
  try {
    root = &rootOf(lines.back());
  } catch (Orb::RangeException const&) {
    return 0;
  }
  check(*root, lines.back());
  return 0;
}
