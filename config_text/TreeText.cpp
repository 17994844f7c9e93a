#include "config_text/TreeText.h"

#include "config_text/TreeWalk.h"

namespace ConfigText {

namespace {

using Orb::AttributeKind;
using Orb::AttributeRef;
using Orb::MemberDifference;
using Orb::ValueRef;

constexpr unsigned kIndent = 4;

/// A name as it is when it is one plain word, else its text form.
std::string wordOf(std::string_view name) {
  bool isPlain = !name.empty();
  for (char const c : name) isPlain = isPlain && c > ' ' && c != '\'' && c != '\\' && c != 0x7f;
  return isPlain ? std::string(name) : Orb::toText(Orb::String(name));
}

/// Whether a value is written as one text, and not part by part.
bool isWhole(ValueRef value) { return value.fields().empty() || value.hasPlainForm(); }

/// A key in brackets.
std::string keyOf(ValueRef key) {
  if (isWhole(key)) return "[" + key.plainText() + "]";
  std::string text;
  for (AttributeRef const field : key.fields()) {
    text.append(text.empty() ? "[" : ", ").append(field.name()).append(" = ");
    field.writeText(text);
  }
  return text + "]";
}

/// Appends "NAME = VALUE" for each field of a value in which the two sides differ, parted by
/// commas; a member that only one side has is compared with a new one. `prefix` stands before the
/// names.
void writeFields(std::string& out, std::string const& prefix, AttributeRef of,
                 MemberDifference const& member) {
  if (!member.before) {
    return of.visitNewMember(member.key, [&](ValueRef fresh) {
      writeFields(out, prefix, of, {member.key, fresh, member.after});
    });
  }
  auto const before = member.before.fields();
  auto const after = member.after.fields();
  for (std::size_t i = 0; i < after.size(); ++i) {
    AttributeRef const field = after[i];
    field.differencesFrom(before[i], [&](MemberDifference const& part) {
      std::string name = prefix + std::string(field.name());
      if (part.key) name += keyOf(part.key);
      if (!isWhole(part.after)) return writeFields(out, name + ".", field, part);
      out.append(out.empty() ? "" : ", ").append(name).append(" = ").append(part.after.plainText());
    });
  }
}

void writeEntity(Orb::Entity const& entity, Sink& sink, unsigned depth) {
  Orb::Ptr<Orb::Entity const> const blank = entity.type().make({});
  auto const defaults = attributesOf(*blank);
  std::size_t i = 0;
  for (AttributeRef const a : attributesOf(entity)) {
    AttributeRef const byDefault = defaults[i++];
    if (a.kind() == AttributeKind::children) {
      for (OwnedEntity const& owned : ownedEntities(a)) {
        writeTreeText(a.name(), owned.key, *owned.entity, sink, depth);
      }
    } else if (a.ownsEntities()) {
      a.eachOwned([&](ValueRef key, Orb::Entity const& child) {
        writeTreeText(a.name(), key ? plainText(key) : std::string(), child, sink, depth);
      });
    } else {
      writeAttributeText(a, byDefault, sink, depth);
    }
  }
}

}  // namespace

void writeTreeText(std::string_view attribute, std::string_view key, Orb::Entity const& entity,
                   Sink& sink, unsigned depth) {
  std::string& out = sink.text();
  out.append(depth * std::size_t{kIndent}, ' ').append(attribute);
  out.append(" ").append(wordOf(key)).append("\n");
  sink.lineDone();
  writeEntity(entity, sink, depth + 1);
}

void writeAttributeText(AttributeRef attribute, AttributeRef blank, Sink& sink, unsigned depth) {
  if (attribute.kind() == AttributeKind::counter) return;
  attribute.differencesFrom(blank, [&](MemberDifference const& member) {
    std::string& out = sink.text();
    out.append(depth * std::size_t{kIndent}, ' ').append(attribute.name());
    if (member.key) out += keyOf(member.key);
    if (isWhole(member.after)) {
      out.append(" = ").append(member.after.plainText());
    } else {
      std::string fields;
      writeFields(fields, {}, attribute, member);
      if (!fields.empty()) out.append(": ").append(fields);
    }
    out += '\n';
    sink.lineDone();
  });
}

}  // namespace ConfigText
