#pragma once

#include <exception>
#include <string>
#include <string_view>

#include "config_text/Sink.h"
#include "platform/orb/model/Path.h"

/// Trees of entities as JSON (RFC 8259), from the attribute tables. An entity is an object of its
/// attributes in their order; a value type is an object of its fields, a collection one of its
/// members by their keys (plainText() in TreeWalk.h). Numbers are numbers, booleans are booleans,
/// an unset value is null, all else is a string. All of it is ASCII: other characters are escaped,
/// and what is not UTF-8 is replaced by U+FFFD, a sequence that is cut short by one.
namespace ConfigText {

/// "{", members, and "}" at the end of its life, unless an exception ends it.
class ROUTEPOLICY_EXPORT JsonObject {
 public:
  explicit JsonObject(Sink& sink) : sink_(sink) { sink_.text() += '{'; }
  ~JsonObject() noexcept(false) {
    if (std::uncaught_exceptions() == exceptions_) sink_.text() += '}';  // may throw
  }
  JsonObject(JsonObject const&) = delete;
  JsonObject& operator=(JsonObject const&) = delete;

  /// Begins a member, whose value is to be written next.
  void member(std::string_view name);

 private:
  Sink& sink_;
  int const exceptions_ = std::uncaught_exceptions();
  bool isEmpty_ = true;
};

/// Appends a JSON string.
ROUTEPOLICY_EXPORT void writeJsonString(std::string& out, std::string_view text);

/// Members for the attributes of an entity.
ROUTEPOLICY_EXPORT void writeJsonMembers(JsonObject& object, Orb::Entity const& entity, Sink& sink);

ROUTEPOLICY_EXPORT void writeJson(Orb::Entity const& entity, Sink& sink);
ROUTEPOLICY_EXPORT void writeJson(Orb::AttributeRef attribute, Sink& sink);
ROUTEPOLICY_EXPORT void writeJson(Orb::ValueRef value, Sink& sink);
ROUTEPOLICY_EXPORT void writeJson(Orb::PathTarget const& target, Sink& sink);

}  // namespace ConfigText
