#include "config_text/TreeJson.h"

#include <algorithm>

#include "config_text/TreeWalk.h"
#include "platform/orb/base/Enum.h"

namespace ConfigText {

namespace {

using Orb::AttributeKind;
using Orb::AttributeRef;
using Orb::ValueRef;

/// Members for the attributes or fields of a range.
void writeMembers(JsonObject& object, Orb::AttributeRange<AttributeRef> const& attributes,
                  Sink& sink) {
  for (AttributeRef const a : attributes) {
    object.member(a.name());
    writeJson(a, sink);
  }
}

/// A single entity has no key beside it: its name is its first member.
void writeSingle(ValueRef key, Orb::Entity const& entity, Sink& sink) {
  JsonObject object(sink);
  if (key && !Orb::findAttribute(entity.type().attributes, "name")) {
    object.member("name");
    writeJsonString(sink.text(), plainText(key));
  }
  writeJsonMembers(object, entity, sink);
}

/// Whether a text is a number of JSON: the text forms of numbers are, but for inf and nan.
bool isNumber(std::string_view text) {
  std::size_t const first = text.starts_with('-') ? 1 : 0;
  return text.size() > first && text[first] >= '0' && text[first] <= '9' &&
         text.find_first_not_of("0123456789.e+-") == text.npos;
}

/// The text form shows what it is: enumerators are names, and an address has dots or colons.
void writePlain(std::string& out, ValueRef value) {
  std::string const text = value.text();
  if (!Orb::enumType(value.type().name)) {
    if (text == "True") return void(out += "true");
    if (text == "False") return void(out += "false");
    if (text == "None") return void(out += "null");
    bool const isAddress = std::count(text.begin(), text.end(), '.') > 1;
    if (isNumber(text) && !isAddress) return void(out += text);
  }
  writeJsonString(out, plainText(value));
}

/// What is at the front of a text that is not empty: a UTF-8 sequence (RFC 3629), or bytes that
/// are none, as many as could begin one, so that a sequence cut short is replaced once.
struct Sequence {
  std::size_t length;
  bool isCharacter;
};
Sequence sequenceAt(std::string_view text) {
  auto const byte = [&](std::size_t i) { return static_cast<Orb::U8>(text[i]); };
  Orb::U8 const lead = byte(0);
  std::size_t const length = lead < 0x80   ? 1
                             : lead < 0xc2 ? 0
                             : lead < 0xe0 ? 2
                             : lead < 0xf0 ? 3
                             : lead < 0xf5 ? 4
                                           : 0;
  if (length == 0) return {1, false};
  // The second byte excludes overlong forms, halves of surrogate pairs, and all beyond U+10FFFF.
  Orb::U8 least = lead == 0xe0 ? 0xa0 : lead == 0xf0 ? 0x90 : 0x80;
  Orb::U8 most = lead == 0xed ? 0x9f : lead == 0xf4 ? 0x8f : 0xbf;
  for (std::size_t i = 1; i < length; ++i) {
    if (i == text.size() || byte(i) < least || byte(i) > most) return {i, false};
    least = 0x80;
    most = 0xbf;
  }
  return {length, true};
}

/// The character of a sequence.
Orb::U32 codePoint(std::string_view sequence) {
  auto const lead = static_cast<Orb::U8>(sequence.front());
  if (sequence.size() == 1) return lead;
  Orb::U32 code = lead & (0x7fU >> sequence.size());
  for (char const c : sequence.substr(1)) code = code << 6 | (static_cast<Orb::U8>(c) & 0x3fU);
  return code;
}

/// One unit of UTF-16, as JSON escapes it.
void writeUnit(std::string& out, Orb::U32 unit) {
  constexpr char kDigits[] = "0123456789abcdef";
  out += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) out += kDigits[unit >> shift & 0xf];
}

void writeCharacter(std::string& out, Orb::U32 code) {
  if (code == '"' || code == '\\') {
    (out += '\\') += static_cast<char>(code);
  } else if (code == '\n') {
    out += "\\n";
  } else if (code >= 0x20 && code < 0x7f) {
    out += static_cast<char>(code);
  } else if (code < 0x10000) {
    writeUnit(out, code);
  } else {  // a pair of surrogates
    writeUnit(out, 0xd800 + ((code - 0x10000) >> 10));
    writeUnit(out, 0xdc00 + ((code - 0x10000) & 0x3ff));
  }
}

}  // namespace

void JsonObject::member(std::string_view name) {
  if (!isEmpty_) sink_.text() += ',';
  sink_.lineDone();
  isEmpty_ = false;
  writeJsonString(sink_.text(), name);
  sink_.text() += ':';
}

void writeJsonString(std::string& out, std::string_view text) {
  constexpr Orb::U32 kReplacement = 0xfffd;
  out += '"';
  while (!text.empty()) {
    Sequence const next = sequenceAt(text);
    writeCharacter(out, next.isCharacter ? codePoint(text.substr(0, next.length)) : kReplacement);
    text.remove_prefix(next.length);
  }
  out += '"';
}

void writeJsonMembers(JsonObject& object, Orb::Entity const& entity, Sink& sink) {
  writeMembers(object, attributesOf(entity), sink);
}

void writeJson(Orb::Entity const& entity, Sink& sink) {
  JsonObject object(sink);
  writeJsonMembers(object, entity, sink);
}

void writeJson(AttributeRef attribute, Sink& sink) {
  if (attribute.kind() == AttributeKind::child) {
    if (!attribute.owned()) {
      sink.text() += "null";
    } else {
      attribute.eachOwned(
          [&](ValueRef key, Orb::Entity const& entity) { writeSingle(key, entity, sink); });
    }
  } else if (attribute.ownsEntities()) {
    JsonObject members(sink);
    for (OwnedEntity const& owned : ownedEntities(attribute)) {
      members.member(owned.key);
      writeJson(*owned.entity, sink);
    }
  } else if (attribute.isValue()) {
    attribute.visitValue([&](ValueRef value) { writeJson(value, sink); });
  } else if (attribute.hasMembers()) {
    JsonObject members(sink);
    attribute.eachMember([&](ValueRef key, ValueRef member) {
      members.member(plainText(key));
      writeJson(member, sink);
    });
  } else {  // shared objects: they belong to others
    std::string text;
    attribute.writeText(text);
    writeJsonString(sink.text(), text);
  }
}

void writeJson(ValueRef value, Sink& sink) {
  if (value.fields().empty()) return writePlain(sink.text(), value);
  JsonObject object(sink);
  writeMembers(object, value.fields(), sink);
}

void writeJson(Orb::PathTarget const& target, Sink& sink) {
  if (target.entity) {
    writeJson(*target.entity, sink);
  } else if (target.attribute) {
    writeJson(*target.attribute, sink);
  } else {
    writeJson(target.member, sink);
  }
}

}  // namespace ConfigText
