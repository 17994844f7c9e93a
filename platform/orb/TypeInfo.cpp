#include "platform/orb/TypeInfo.h"

#include "platform/orb/Error.h"
#include "platform/orb/detail/Registry.h"

namespace Orb {

AttributeInfo const& TypeInfo::attribute(std::string_view attributeName) const {
  for (AttributeInfo const& a : attributes) {
    if (a.name == attributeName) return a;
  }
  throw RangeException(std::string(name) + " attribute " + toText(String(attributeName)) +
                       " is unknown and not allowed");
}

TypeInfo const* entityType(std::string_view fullName) {
  return detail::Registry<TypeInfo>::instance().find(fullName);
}

TypeRegistration::TypeRegistration(TypeInfo const& type) : type_(type) {
  detail::Registry<TypeInfo>::instance().add(type_);
}

TypeRegistration::~TypeRegistration() { detail::Registry<TypeInfo>::instance().remove(type_); }

std::string attributeText(Entity const& entity, std::string_view attributeName) {
  AttributeInfo const& a = entity.type().attribute(attributeName);
  std::string out;
  a.ops->text(a.object(entity), out);
  return out;
}

std::string inspect(Entity const& entity) {
  TypeInfo const& type = entity.type();
  std::string out = type.name;
  for (AttributeInfo const& a : type.attributes) {
    ((out += "\n  ") += a.name) += " = ";
    a.ops->text(a.object(entity), out);
  }
  return out;
}

}  // namespace Orb
