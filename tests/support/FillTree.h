#pragma once

#include <stdexcept>
#include <string>

#include "platform/orb/base/Enum.h"
#include "platform/orb/model/Path.h"

/// Fills a tree of entities with values, by the attribute tables alone.
namespace TestSupport {

namespace detail {

/// A text of a type that is not `now`; different for different small `n`.
inline std::string otherText(Orb::ValueType const& type, std::string const& now, unsigned n) {
  std::string const number = std::to_string(n);
  if (Orb::EnumType const* const enumeration = Orb::enumType(type.name)) {
    std::size_t const count = enumeration->enumerators.size();
    auto const pick = [&](std::size_t i) { return enumeration->enumerators[i % count].name; };
    return std::string(pick(n) == now ? pick(n + 1) : pick(n));
  }
  struct Plain {
    std::string_view type;
    std::string text;
  };
  for (Plain const& plain : {Plain{"bool", now == "True" ? "False" : "True"},
                             {"U8", std::to_string(n % 15 + 1)},  // no number of turns is higher
                             {"U32", number},
                             {"float", number + ".5"},
                             {"Orb::String", R"('it\'s = [)" + number + "].'"},
                             {"Orb::Name", R"('name\\.)" + number + "='"},
                             {"Keel::MaybeU63", number},
                             {"Ipa::IpAddr", "10.0.0." + number},
                             {"Ipa::Ip6Addr", "2001:db8::" + number},
                             {"Ipa::IpGenAddr", "2001:db8::" + number},
                             {"Ipa::Prefix", "10." + number + ".0.0/16"},
                             {"Ipa::Ip6Prefix", "2001:db8:" + number + "::/48"}}) {
    if (plain.type == type.name && plain.text != now) return plain.text;
  }
  throw std::logic_error("no text for the type " + std::string(type.name));
}

inline std::string textOf(Orb::ValueType const& type, void const* value) {
  std::string text;
  if (value) type.write(text, value);
  return text;
}

/// The text of a value that differs from `value` in every field; all the same the first one when
/// that is `key`. Fields rise, so that a range has its ends in order. A null `value` is any.
inline std::string otherValue(Orb::ValueType const& type, void const* value, unsigned n,
                              std::string const& key = {}) {
  if (type.fields.empty()) return otherText(type, textOf(type, value), n);
  std::string text = "Value('" + std::string(type.name) + "', ** {";
  for (Orb::AttributeInfo const& field : type.fields) {
    Orb::ValueType const& fieldType = *field.ops->value;
    std::string fieldText;
    auto const choose = [&](void const* now) {
      bool const isKey = &field == type.fields.data() && now && textOf(fieldType, now) == key;
      fieldText = isKey ? key : otherValue(fieldType, now, n++);
    };
    value ? field.ops->visit(field.object(value), choose) : choose(nullptr);
    text += (text.ends_with('{') ? "'" : ", '") + std::string(field.name) + "': " + fieldText;
  }
  return text + "})";
}

inline void fillAttribute(Orb::Entity& root, std::string const& path, Orb::AttributeInfo const& a,
                          unsigned n);

/// Sets what stands at `path`: at once, or field by field where the type has no reader.
inline void fillValue(Orb::Entity& root, std::string const& path, Orb::ValueType const& type,
                      std::string const& key, unsigned n) {
  std::string text;
  Orb::visitPath(root, path, [&](Orb::PathTarget const& target) {
    auto const choose = [&](void const* now) {
      if (type.read) text = otherValue(type, now, n, key);
    };
    target.value ? choose(target.value) : target.attribute->ops->visit(target.object, choose);
  });
  if (type.read) return Orb::attributeTextIs(root, path, text);
  bool isKey = !key.empty() &&
               Orb::attributeText(root, path + '.' + std::string(type.fields.front().name)) == key;
  for (Orb::AttributeInfo const& field : type.fields) {
    if (!isKey && field.isWritable())
      fillAttribute(root, path + '.' + std::string(field.name), field, n++);
    isKey = false;
  }
}

inline void fillEntity(Orb::Entity& root, std::string const& prefix, Orb::TypeInfo const& type,
                       unsigned n) {
  for (Orb::AttributeInfo const& a : type.attributes) {
    if (a.isWritable()) fillAttribute(root, prefix + std::string(a.name), a, n++);
  }
}

inline void fillAttribute(Orb::Entity& root, std::string const& path, Orb::AttributeInfo const& a,
                          unsigned n) {
  if (!a.ops->childIs && !a.ops->editMember) return fillValue(root, path, *a.ops->value, {}, n);
  for (unsigned const i : {n, n + 1}) {
    std::string const key = a.ops->key ? otherValue(*a.ops->key, nullptr, i) : std::string();
    std::string const member = key.empty() ? path : path + '[' + key + ']';
    Orb::Ptr<Orb::Entity> const made = Orb::attributeIs(root, member);
    if (a.ops->childIs) return fillEntity(root, member + '.', made->type(), n);
    fillValue(root, member, *a.ops->value, key, i);
  }
}

}  // namespace detail

/// Gives every attribute that can be written, in every entity, a value that is not its default:
/// two members to every collection of values, one entity wherever entities are owned. A type
/// that is not known here is a std::logic_error, and an attribute that does not take its value
/// throws as it does. REQUIRES: nothing is set in `root`.
inline void fillTree(Orb::Entity& root) { detail::fillEntity(root, {}, root.type(), 1); }

}  // namespace TestSupport
