#include "platform/orb/base/Enum.h"

#include <ostream>

#include "platform/orb/base/Registry.h"
#include "platform/orb/base/Text.h"

namespace Orb {

EnumType const* enumType(std::string_view fullName) {
  return detail::Registry<EnumType>::instance().find(fullName);
}

EnumRegistration::EnumRegistration(EnumType const& type) : type_(type) {
  detail::Registry<EnumType>::instance().add(type_);
}

EnumRegistration::~EnumRegistration() { detail::Registry<EnumType>::instance().remove(type_); }

namespace detail {

std::string_view enumeratorName(EnumType const& type, U32 value) noexcept {
  for (Enumerator const& e : type.enumerators) {
    if (e.value == value) return e.name;
  }
  return {};
}

U32 enumeratorOf(EnumType const& type, U32 value) {
  if (!enumeratorName(type, value).empty()) return value;
  throw RangeException(std::string(type.name) + " value " + std::to_string(value) + " not allowed");
}

U32 enumeratorOf(EnumType const& type, std::string_view name) {
  for (Enumerator const& e : type.enumerators) {
    if (e.name == name) return e.value;
  }
  throw RangeException(std::string(type.name) + " name " + quotedForMessage(name) + " not allowed");
}

U32 readEnumerator(TextReader& in, EnumType const& type) {
  try {
    return enumeratorOf(type, in.word());
  } catch (RangeException const& error) {
    throw ParseException({}, error.what());
  }
}

U32 readEnumerator(BinaryReader& in, EnumType const& type) {
  U32 value = 0;
  readBinary(in, value);
  try {
    return enumeratorOf(type, value);
  } catch (RangeException const& error) {
    throw ParseException({}, error.what());
  }
}

void writeEnumerator(std::string& out, EnumType const& type, U32 value) {
  std::string_view const name = enumeratorName(type, value);
  name.empty() ? writeText(out, value) : void(out += name);
}

std::ostream& writeEnumerator(std::ostream& out, EnumType const& type, U32 value) {
  std::string text;
  writeEnumerator(text, type, value);
  return out << text;
}

}  // namespace detail
}  // namespace Orb
