#include "config_text/TreeWalk.h"

#include <algorithm>

namespace ConfigText {

namespace {

bool isDigits(std::string_view text) { return text.find_first_not_of("0123456789") == text.npos; }

using VisitCounter = Orb::FunctionRef<void(std::string const&, std::string const&)>;

void countersBelow(Orb::Entity const& entity, std::string const& prefix, VisitCounter visit) {
  for (Orb::AttributeRef const a : attributesOf(entity)) {
    std::string const path = prefix + std::string(a.name());
    if (a.kind() == Orb::AttributeKind::counter) {
      a.visitValue([&](Orb::ValueRef value) { visit(path, value.text()); });
    } else if (a.ownsEntities()) {
      a.eachOwned([&](Orb::ValueRef key, Orb::Entity const& owned) {
        std::string below = path;
        if (key) key.writeText(below += '[');
        below += key ? "]." : ".";
        countersBelow(owned, below, visit);
      });
    }
  }
}

}  // namespace

std::string plainText(Orb::ValueRef value) {
  std::string text = value.plainText();
  if (!text.starts_with('\'')) return text;
  Orb::String plain;
  Orb::fromText(plain, text);
  return plain.str();
}

bool isKeyBefore(std::string_view a, std::string_view b) noexcept {
  bool const isNumberA = isDigits(a);
  if (isNumberA != isDigits(b)) return isNumberA;
  // Numbers are written without needless zeros, so the longer one is greater.
  if (isNumberA && a.size() != b.size()) return a.size() < b.size();
  return a < b;
}

std::vector<OwnedEntity> ownedEntities(Orb::AttributeRef attribute) {
  std::vector<OwnedEntity> owned;
  attribute.eachOwned([&](Orb::ValueRef key, Orb::Entity const& entity) {
    owned.push_back({plainText(key), &entity});
  });
  std::sort(owned.begin(), owned.end(),
            [](OwnedEntity const& a, OwnedEntity const& b) { return isKeyBefore(a.key, b.key); });
  return owned;
}

void eachCounter(Orb::Entity const& root, VisitCounter visit) { countersBelow(root, {}, visit); }

}  // namespace ConfigText
