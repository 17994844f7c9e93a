#include "platform/orb/Enum.h"

#include <map>
#include <mutex>
#include <ostream>

namespace Orb {

namespace {

/// All enumerations of the process by name. Made on first use, since registrations run before
/// main() in any order, and never destroyed, since they end after it in any order.
struct Registry {
  std::mutex mutex;
  std::map<std::string_view, EnumType const*> types;
};

Registry& registry() {
  static auto& instance = *new Registry;
  return instance;
}

}  // namespace

EnumType const* enumType(std::string_view fullName) {
  std::lock_guard const lock(registry().mutex);
  auto const found = registry().types.find(fullName);
  return found == registry().types.end() ? nullptr : found->second;
}

EnumRegistration::EnumRegistration(EnumType const& type) : type_(type) {
  std::lock_guard const lock(registry().mutex);
  registry().types.try_emplace(type.name, &type);
}

EnumRegistration::~EnumRegistration() {
  std::lock_guard const lock(registry().mutex);
  auto const found = registry().types.find(type_.name);
  if (found != registry().types.end() && found->second == &type_) registry().types.erase(found);
}

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
  throw RangeException(std::string(type.name) + " name " + toText(String(name)) + " not allowed");
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
