#include "tool/TreeText.h"

#include "tool/TreeWalk.h"

namespace Tool {

namespace {

using Orb::AttributeKind;

constexpr unsigned kIndent = 4;

std::string textOf(Orb::ValueType const& type, void const* value) {
  std::string text;
  type.write(text, value);
  return text;
}

/// A name as it is when it is one plain word, else its text form.
std::string wordOf(std::string_view name) {
  bool isPlain = !name.empty();
  for (char const c : name) isPlain = isPlain && c > ' ' && c != '\'' && c != '\\' && c != 0x7f;
  return isPlain ? std::string(name) : Orb::toText(Orb::String(name));
}

/// A key in brackets: one of several parts is told part by part.
std::string keyOf(Orb::ValueType const& type, void const* key) {
  if (type.fields.empty()) return "[" + textOf(type, key) + "]";
  std::string text;
  for (Orb::AttributeInfo const& field : type.fields) {
    text.append(text.empty() ? "[" : ", ").append(field.name).append(" = ");
    field.ops->text(field.object(key), text);
  }
  return text + "]";
}

/// Appends "NAME = VALUE" for each field of a value in which the two sides differ, parted by
/// commas; a member that only one side has is compared with a new one. `prefix` stands before the
/// names.
void writeFields(std::string& out, std::string const& prefix, Orb::AttributeOps const& ops,
                 Orb::MemberDifference const& member) {
  if (!member.before) {
    return ops.freshMember(member.key, [&](void const* fresh) {
      writeFields(out, prefix, ops, {member.key, fresh, member.after});
    });
  }
  for (Orb::AttributeInfo const& field : ops.value->fields) {
    if (!field.ops->differ) continue;
    field.ops->differ(field.object(member.before), field.object(member.after),
                      [&](Orb::MemberDifference const& part) {
                        std::string name = prefix + std::string(field.name);
                        if (part.key) name += keyOf(*field.ops->key, part.key);
                        if (!field.ops->value->fields.empty()) {
                          return writeFields(out, name + ".", *field.ops, part);
                        }
                        out.append(out.empty() ? "" : ", ").append(name).append(" = ");
                        field.ops->value->write(out, part.after);
                      });
  }
}

void writeEntity(Orb::Entity const& entity, Console& console, unsigned depth) {
  auto const blank = entity.type().make({});
  for (Orb::AttributeInfo const& a : entity.type().attributes) {
    void const* const object = a.object(&entity);
    if (a.ops->kind == AttributeKind::children) {
      for (OwnedEntity const& owned : ownedEntities(a, object)) {
        writeTreeText(a.name, owned.key, *owned.entity, console, depth);
      }
    } else if (a.ops->kind == AttributeKind::child) {
      Orb::Entity const* const child = a.ops->child(object, nullptr);
      auto const* const named = dynamic_cast<Orb::NamedEntity const*>(child);
      if (child) {
        writeTreeText(a.name, named ? named->name().view() : std::string_view(), *child, console,
                      depth);
      }
    } else {
      writeAttributeText(a, *blank, entity, console, depth);
    }
  }
}

}  // namespace

void writeTreeText(std::string_view attribute, std::string_view key, Orb::Entity const& entity,
                   Console& console, unsigned depth) {
  std::string& out = console.text();
  out.append(depth * std::size_t{kIndent}, ' ').append(attribute);
  out.append(" ").append(wordOf(key)).append("\n");
  console.lineDone();
  writeEntity(entity, console, depth + 1);
}

void writeAttributeText(Orb::AttributeInfo const& attribute, Orb::Entity const& blank,
                        Orb::Entity const& entity, Console& console, unsigned depth) {
  Orb::AttributeOps const& ops = *attribute.ops;
  if (!ops.differ || ops.kind == AttributeKind::counter) return;
  ops.differ(attribute.object(&blank), attribute.object(&entity),
             [&](Orb::MemberDifference const& member) {
               std::string& out = console.text();
               out.append(depth * std::size_t{kIndent}, ' ').append(attribute.name);
               if (member.key) out += keyOf(*ops.key, member.key);
               if (ops.value->fields.empty()) {
                 ops.value->write(out += " = ", member.after);
               } else {
                 std::string fields;
                 writeFields(fields, {}, ops, member);
                 if (!fields.empty()) out.append(": ").append(fields);
               }
               out += '\n';
               console.lineDone();
             });
}

}  // namespace Tool
