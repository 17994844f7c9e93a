#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "config_text/ConfigTree.h"
#include "fuzz/Input.h"
#include "platform/orb/base/Error.h"
#include "platform/orb/model/Attribute.h"
#include "policy_status/GenPrefixEntry.h"

// The readers of binary forms. The first line of the input names a type, "Acl::PrefixEntry", or an
// attribute of a type of entities, "Acl::PrefixList.prefixEntry"; bytes follow.
//  - Of a type they are two values, one behind the other. What is accepted is what the writer
//    gives, and is refused when it is cut short; two values are the same exactly when their bytes
//    are; a value that has a text form comes back from it.
//  - Of an attribute they are its content. What is accepted comes back from the writer; what is
//    not leaves the attribute as it was.

namespace {

using Orb::AttributeInfo;
using Orb::BinaryReader;
using Orb::ValueRef;
using Orb::ValueType;

/// All types that a configuration is made of, by name.
class Types {
 public:
  Types() {
    ConfigText::ConfigTree const tree;
    for (auto const& root : tree.roots()) addEntity(root->type());
    add(Orb::valueRef(Routing::RouteMap::GenPrefixEntry()).type());
    add(Orb::valueRef(Routing::RouteMap::SeqPrefix()).type());
    add(Orb::valueRef(Ipa::IpGenAddr()).type());
    add(Orb::valueRef(Orb::U16()).type());
    add(Orb::valueRef(Orb::U64()).type());
  }
  ValueType const* value(std::string_view name) const { return in(values_, name); }
  Orb::TypeInfo const* entity(std::string_view name) const { return in(entities_, name); }

 private:
  template <class T>
  using ByName = std::map<std::string_view, T const*>;
  template <class T>
  static T const* in(ByName<T> const& all, std::string_view name) {
    auto const found = all.find(name);
    return found == all.end() ? nullptr : found->second;
  }

  void add(ValueType const& type) {
    if (!values_.try_emplace(type.name, &type).second) return;
    for (AttributeInfo const& field : type.fields) addTypesOf(field);
  }
  void addEntity(Orb::TypeInfo const& type) {
    if (!entities_.try_emplace(type.name, &type).second) return;
    for (AttributeInfo const& a : type.attributes) addTypesOf(a);
  }
  void addTypesOf(AttributeInfo const& a) {
    if (auto const* const type = a.valueType()) add(*type);
    if (auto const* const type = a.keyType()) add(*type);
    if (auto const* const type = a.ownsEntities ? Orb::entityType(a.typeName()) : nullptr) {
      addEntity(*type);
    }
  }

  ByName<ValueType> values_;
  ByName<Orb::TypeInfo> entities_;
};

/// A text that does not read is a finding, and no refused input.
void checkText(ValueType const& type, void const* value) noexcept {
  std::string text;
  type.writeText(text, value);
  if (!type.readText) return;
  Orb::TextReader in(text);
  // The text of what is no number has its sign alone, and not its other bits.
  bool const isNan = type.name == "float" && text.ends_with("nan");
  type.readText(in, [&](void const* read) { ORB_ASSERT(isNan || type.same(read, value)); });
  in.end();
}

void checkCut(ValueType const& type, std::string_view form) {
  BinaryReader in(form.substr(0, Fuzz::chosen(form, form.size())));
  bool isRead = true;
  try {
    type.readBinary(in, [](void const*) {});
  } catch (Orb::ParseException const&) {
    isRead = false;
  }
  ORB_ASSERT(!isRead);
}

/// Calls `visit` with a value taken off the front, and with its form; false when it is refused.
template <class Do>
void take(ValueType const& type, BinaryReader& in, Do const& visit) {
  std::string_view const bytes = in.rest();
  type.readBinary(in, [&](void const* value) {
    std::string form;
    type.writeBinary(form, value);
    ORB_ASSERT(form == bytes.substr(0, bytes.size() - in.rest().size()));
    visit(value, form);
  });
}

void checkValues(ValueType const& type, std::string_view bytes) {
  BinaryReader in(bytes);
  try {
    take(type, in, [&](void const* a, std::string const& formOfA) {
      checkText(type, a);
      checkCut(type, formOfA);
      take(type, in, [&](void const* b, std::string const& formOfB) {
        ORB_ASSERT(type.same(a, b) == (formOfA == formOfB));
      });
    });
  } catch (Orb::RangeException const&) {  // a ParseException, or a value that its check refuses
    return;
  }
}

void checkAttribute(Orb::TypeInfo const& type, Orb::AttrId id, std::string_view bytes) {
  auto const made = [&] { return type.make(Orb::Name("name")); };
  Orb::Ptr<Orb::Entity> const entity = made();
  if (!entity) return;
  auto const attribute = Orb::attributeOf(*entity, id);
  BinaryReader in(bytes);
  try {
    attribute.readBinary(in);
  } catch (Orb::RangeException const&) {
    Orb::Ptr<Orb::Entity> const fresh = made();
    ORB_ASSERT(!attribute.differsFrom(attributeOf(std::as_const(*fresh), id)));
    return;
  }
  std::string form;
  attribute.writeBinary(form);
  ORB_ASSERT(attribute.hasMembers() || form == bytes.substr(0, bytes.size() - in.rest().size()));
  Orb::Ptr<Orb::Entity> const again = made();
  BinaryReader all(form);
  attributeOf(*again, id).readBinary(all);
  all.end();
  ORB_ASSERT(!attribute.differsFrom(attributeOf(std::as_const(*again), id)));
}

}  // namespace

FUZZ_MOST_BYTES(512);

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static Types const types;
  std::string_view const input = Fuzz::textOf(data, size);
  std::size_t const end = input.find('\n');
  if (end == input.npos) return 0;
  std::string_view const name = input.substr(0, end);
  std::string_view const bytes = input.substr(end + 1);
  if (auto const* const type = types.value(name)) checkValues(*type, bytes);
  std::size_t const dot = name.find('.');
  auto const* const entity = dot == name.npos ? nullptr : types.entity(name.substr(0, dot));
  if (!entity) return 0;
  auto const* const a = Orb::findAttribute(entity->attributes, name.substr(dot + 1));
  if (!a || !a->isWritable || !(a->isStoredValue || a->hasMembers)) return 0;
  checkAttribute(*entity, static_cast<Orb::AttrId>(a - entity->attributes.data()), bytes);
  return 0;
}
