#include "tool/TreeWalk.h"

#include <algorithm>

namespace Tool {

namespace {

bool isNumber(std::string_view text) { return text.find_first_not_of("0123456789") == text.npos; }

/// Numbers come first; they are written without needless zeros, so the longer one is greater.
bool isBefore(OwnedEntity const& a, OwnedEntity const& b) {
  bool const isNumberA = isNumber(a.key);
  if (isNumberA != isNumber(b.key)) return isNumberA;
  if (isNumberA && a.key.size() != b.key.size()) return a.key.size() < b.key.size();
  return a.key < b.key;
}

using VisitCounter = Orb::FunctionRef<void(std::string const&, std::string const&)>;

void countersBelow(Orb::Entity const& entity, std::string const& prefix, VisitCounter visit) {
  for (Orb::AttributeInfo const& a : entity.type().attributes) {
    std::string const path = prefix + std::string(a.name);
    if (a.ops->kind == Orb::AttributeKind::counter) {
      std::string value;
      a.ops->text(a.object(&entity), value);
      visit(path, value);
    } else if (a.ops->child) {
      a.ops->differ(nullptr, a.object(&entity), [&](Orb::MemberDifference const& member) {
        std::string below = path;
        if (member.key) a.ops->key->write(below += '[', member.key);
        below += member.key ? "]." : ".";
        countersBelow(*static_cast<Orb::Entity const*>(member.after), below, visit);
      });
    }
  }
}

}  // namespace

std::string plainText(Orb::ValueType const& type, void const* value) {
  std::string text;
  type.write(text, value);
  if (!text.starts_with('\'')) return text;
  Orb::String plain;
  Orb::fromText(plain, text);
  return plain.str();
}

std::vector<OwnedEntity> ownedEntities(Orb::AttributeInfo const& attribute, void const* object) {
  std::vector<OwnedEntity> owned;
  attribute.ops->differ(nullptr, object, [&](Orb::MemberDifference const& member) {
    owned.push_back({plainText(*attribute.ops->key, member.key),
                     static_cast<Orb::Entity const*>(member.after)});
  });
  std::sort(owned.begin(), owned.end(), isBefore);
  return owned;
}

void eachCounter(Orb::Entity const& root, VisitCounter visit) { countersBelow(root, {}, visit); }

}  // namespace Tool
