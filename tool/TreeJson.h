#pragma once

#include <exception>
#include <string>
#include <string_view>

#include "platform/orb/model/Path.h"
#include "tool/Console.h"

/// Trees of entities as JSON, from the attribute tables. An entity is an object of its attributes
/// in their order; a value type is an object of its fields, a collection one of its members by
/// their keys. Numbers and booleans are such, what is unset is null, all else is strings. Written
/// as it goes: a list may be long.
namespace Tool {

/// "{", members, and "}" at the end of its life, unless that is an exception's doing.
class JsonObject {
 public:
  explicit JsonObject(Console& console) : console_(console) { console_.text() += '{'; }
  ~JsonObject() noexcept(false) {
    if (std::uncaught_exceptions() == exceptions_) console_.text() += '}';  // may throw
  }
  JsonObject(JsonObject const&) = delete;
  JsonObject& operator=(JsonObject const&) = delete;

  /// Begins a member, whose value is to be written next.
  void member(std::string_view name);

 private:
  Console& console_;
  int const exceptions_ = std::uncaught_exceptions();
  bool isEmpty_ = true;
};

/// Members for the attributes of an entity.
void writeJsonMembers(JsonObject& object, Orb::Entity const& entity, Console& console);

void writeJson(Orb::Entity const& entity, Console& console);
void writeJson(Orb::AttributeInfo const& attribute, void const* object, Console& console);
void writeJson(Orb::ValueType const& type, void const* value, Console& console);
void writeJson(Orb::PathTarget const& target, Console& console);

}  // namespace Tool
