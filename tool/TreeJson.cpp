#include "tool/TreeJson.h"

#include <nlohmann/json.hpp>

#include "platform/orb/base/Enum.h"
#include "tool/TreeWalk.h"

namespace Tool {

namespace {

using Json = nlohmann::json;
using Orb::AttributeKind;

std::string jsonString(std::string_view text) {
  return Json(text).dump(-1, ' ', true, Json::error_handler_t::replace);
}

/// Members for the attributes or fields of `holder`.
void writeMembers(JsonObject& object, std::span<Orb::AttributeInfo const> rows, void const* holder,
                  Console& console) {
  for (Orb::AttributeInfo const& a : rows) {
    object.member(a.name);
    writeJson(a, a.object(holder), console);
  }
}

/// An only child is not told by a key: its name comes first.
void writeOnlyChild(Orb::Entity const* child, Console& console) {
  if (!child) {
    console.text() += "null";
    return;
  }
  JsonObject object(console);
  auto const* const named = dynamic_cast<Orb::NamedEntity const*>(child);
  if (named && !Orb::findAttribute(child->type().attributes, "name")) {
    object.member("name");
    console.text() += jsonString(named->name());
  }
  writeJsonMembers(object, *child, console);
}

/// The text form tells what it is: nothing but a number has one that is a number in JSON.
std::string jsonOfText(Orb::ValueType const& type, std::string const& text) {
  if (!Orb::enumType(type.name)) {
    if (text == "True") return "true";
    if (text == "False") return "false";
    if (text == "None") return "null";
    if (Json::parse(text, nullptr, false).is_number()) return text;
  }
  return jsonString(text);
}

}  // namespace

void JsonObject::member(std::string_view name) {
  if (!isEmpty_) console_.text() += ',';
  console_.lineDone();
  isEmpty_ = false;
  console_.text().append(jsonString(name)).append(":");
}

void writeJsonMembers(JsonObject& object, Orb::Entity const& entity, Console& console) {
  writeMembers(object, entity.type().attributes, &entity, console);
}

void writeJson(Orb::Entity const& entity, Console& console) {
  JsonObject object(console);
  writeJsonMembers(object, entity, console);
}

void writeJson(Orb::AttributeInfo const& attribute, void const* object, Console& console) {
  Orb::AttributeOps const& ops = *attribute.ops;
  if (ops.kind == AttributeKind::child) {
    writeOnlyChild(ops.child(object, nullptr), console);
  } else if (ops.kind == AttributeKind::children) {
    JsonObject members(console);
    for (OwnedEntity const& owned : ownedEntities(attribute, object)) {
      members.member(owned.key);
      writeJson(*owned.entity, console);
    }
  } else if (ops.visit) {
    ops.visit(object, [&](void const* value) { writeJson(*ops.value, value, console); });
  } else if (ops.differ && ops.value) {
    JsonObject members(console);
    ops.differ(nullptr, object, [&](Orb::MemberDifference const& member) {
      members.member(plainText(*ops.key, member.key));
      writeJson(*ops.value, member.after, console);
    });
  } else {  // shared objects: they belong to others
    std::string text;
    ops.text(object, text);
    console.text() += jsonString(text);
  }
}

void writeJson(Orb::ValueType const& type, void const* value, Console& console) {
  if (!type.fields.empty()) {
    JsonObject object(console);
    return writeMembers(object, type.fields, value, console);
  }
  std::string text;
  type.write(text, value);
  bool const isString = text.starts_with('\'');
  console.text() += isString ? jsonString(plainText(type, value)) : jsonOfText(type, text);
}

void writeJson(Orb::PathTarget const& target, Console& console) {
  if (target.entity) {
    writeJson(*target.entity, console);
  } else if (target.attribute) {
    writeJson(*target.attribute, target.object, console);
  } else {
    writeJson(*target.type, target.value, console);
  }
}

}  // namespace Tool
