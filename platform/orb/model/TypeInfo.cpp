#include "platform/orb/model/AttributeRef.h"

#include <algorithm>

#include "platform/orb/base/Registry.h"

namespace Orb {

std::string_view kindName(AttributeKind kind) noexcept {
  switch (kind) {
    case AttributeKind::key:
      return "key";
    case AttributeKind::scalar:
      return "scalar";
    case AttributeKind::counter:
      return "counter";
    case AttributeKind::derived:
      return "derived";
    case AttributeKind::reference:
      return "reference";
    case AttributeKind::collection:
      return "collection";
    case AttributeKind::children:
      return "children";
    case AttributeKind::child:
      return "child";
  }
  return {};
}

AttributeInfo const* findAttribute(std::span<AttributeInfo const> attributes,
                                   std::string_view name) noexcept {
  auto const found = std::find_if(attributes.begin(), attributes.end(),
                                  [&](AttributeInfo const& a) { return a.name == name; });
  return found == attributes.end() ? nullptr : &*found;
}

TypeInfo const* entityType(std::string_view fullName) {
  return detail::Registry<TypeInfo>::instance().find(fullName);
}

TypeRegistration::TypeRegistration(TypeInfo const& type) : type_(type) {
  detail::Registry<TypeInfo>::instance().add(type_);
}

TypeRegistration::~TypeRegistration() { detail::Registry<TypeInfo>::instance().remove(type_); }

std::string inspect(Entity const& entity) {
  std::string out(entity.type().name);
  for (AttributeRef const a : attributesOf(entity)) {
    ((out += "\n  ") += a.name()) += " = ";
    a.writeText(out);
  }
  return out;
}

}  // namespace Orb
