#pragma once

#include <stdexcept>
#include <string>
#include <utility>

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
  std::pair<std::string_view, std::string> const texts[] = {
      {"bool", now == "True" ? "False" : "True"},
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
      {"Ipa::Ip6Prefix", "2001:db8:" + number + "::/48"}};
  for (auto const& [name, text] : texts) {
    if (name == type.name && text != now) return text;
  }
  throw std::logic_error("no text for the type " + std::string(type.name));
}

/// The text of a value that differs from `now` in every field; all the same `key` where that is
/// the first field's. Fields rise, so that a range has its ends in order. Without `now` it is any.
inline std::string otherValue(Orb::ValueType const& type, Orb::ValueRef now, unsigned n,
                              std::string const& key = {}) {
  if (type.fields.empty()) return otherText(type, now ? now.text() : std::string(), n);
  std::string text = "Value('" + std::string(type.name) + "', ** {";
  for (std::size_t i = 0; i < type.fields.size(); ++i) {
    Orb::ValueType const& fieldType = *type.fields[i].valueType();
    std::string fieldText;
    auto const choose = [&](Orb::ValueRef field) {
      bool const isKey = i == 0 && field && field.text() == key;
      fieldText = isKey ? key : otherValue(fieldType, field, n++);
    };
    now ? now.fields()[i].visitValue(choose) : choose({});
    text += (i == 0 ? "'" : ", '") + std::string(type.fields[i].name) + "': " + fieldText;
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
    auto const choose = [&](Orb::ValueRef now) {
      if (type.readText) text = otherValue(type, now, n, key);
    };
    target.member ? choose(target.member) : target.attribute->visitValue(choose);
  });
  if (type.readText) return Orb::attributeTextIs(root, path, text);
  bool isKey = !key.empty() &&
               Orb::attributeText(root, path + '.' + std::string(type.fields.front().name)) == key;
  for (Orb::AttributeInfo const& field : type.fields) {
    if (!isKey && field.isWritable)
      fillAttribute(root, path + '.' + std::string(field.name), field, n++);
    isKey = false;
  }
}

inline void fillEntity(Orb::Entity& root, std::string const& prefix, Orb::TypeInfo const& type,
                       unsigned n) {
  for (Orb::AttributeInfo const& a : type.attributes) {
    if (a.isWritable) fillAttribute(root, prefix + std::string(a.name), a, n++);
  }
}

inline void fillAttribute(Orb::Entity& root, std::string const& path, Orb::AttributeInfo const& a,
                          unsigned n) {
  if (!a.ownsEntities && !a.hasMembers) return fillValue(root, path, *a.valueType(), {}, n);
  for (unsigned const i : {n, n + 1}) {
    std::string const key = a.keyType() ? otherValue(*a.keyType(), {}, i) : std::string();
    std::string const member = key.empty() ? path : path + '[' + key + ']';
    Orb::Ptr<Orb::Entity> const made = Orb::attributeIs(root, member);
    if (a.ownsEntities) return fillEntity(root, member + '.', made->type(), n);
    fillValue(root, member, *a.valueType(), key, i);
  }
}

}  // namespace detail

/// Gives every attribute that can be written, in every entity, a value that is not its default:
/// two members to every collection of values, one entity wherever entities are owned. A type
/// that is not known here is a std::logic_error, and an attribute that does not take its value
/// throws as it does. REQUIRES: nothing is set in `root`.
inline void fillTree(Orb::Entity& root) { detail::fillEntity(root, {}, root.type(), 1); }

}  // namespace TestSupport
