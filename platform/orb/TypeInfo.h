#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "platform/orb/Entity.h"
#include "platform/orb/Text.h"

/// The run-time form of an entity type: one row for each attribute, in declaration order. Generic
/// code works on these rows; operations are erased once for each class of attribute objects.
namespace Orb {

enum class AttributeKind : U8 {
  key,         ///< what the owner knows the entity by; never changes
  scalar,      ///< one value
  counter,     ///< a value that writers raise to tell readers that something was rewritten
  derived,     ///< computed from other attributes; read-only
  collection,  ///< values or shared objects by key
  children,    ///< owned entities by key
};

/// What generic code can do with one class of attribute objects.
struct AttributeOps {
  AttributeKind kind;
  /// Appends the text form of what the attribute holds.
  void (*text)(void const* attribute, std::string& out);
};

struct AttributeInfo {
  char const* name;
  AttributeOps const* ops;
  /// The attribute object of an entity, for the operations.
  void const* (*object)(Entity const& entity);
};

struct TypeInfo {
  char const* name;  ///< the full name, such as "Acl::PrefixList"
  std::span<AttributeInfo const> attributes;

  /// The attribute of that name; an unknown one is a RangeException that names type and attribute.
  ROUTEPOLICY_EXPORT AttributeInfo const& attribute(std::string_view attributeName) const;
};

/// The entity type registered under a full name, or null.
ROUTEPOLICY_EXPORT TypeInfo const* entityType(std::string_view fullName);

/// Registers an entity type for as long as it lives; the first one of a name counts.
class ROUTEPOLICY_EXPORT TypeRegistration {
 public:
  explicit TypeRegistration(TypeInfo const& type);
  ~TypeRegistration();
  TypeRegistration(TypeRegistration const&) = delete;
  TypeRegistration& operator=(TypeRegistration const&) = delete;

 private:
  TypeInfo const& type_;
};

/// The text form of one attribute of `entity`; an unknown one is a RangeException.
ROUTEPOLICY_EXPORT std::string attributeText(Entity const& entity, std::string_view attributeName);

/// The type's name and, a line each, "  name = text" for every attribute in order.
ROUTEPOLICY_EXPORT std::string inspect(Entity const& entity);

/// Appends "{ a, b }" for the members of a collection, "{}" for none; `write` appends one.
template <class Items, class Write>
void writeMembers(std::string& out, Items const& items, Write const& write) {
  char const* separator = "{ ";
  for (auto const& item : items) {
    out += std::exchange(separator, ", ");
    write(item);
  }
  out += items.empty() ? "{}" : " }";
}

namespace detail {

template <class A>
inline constexpr AttributeOps opsOf{A::kKind, [](void const* attribute, std::string& out) {
                                      static_cast<A const*>(attribute)->text(out);
                                    }};

template <class M>
struct MemberOf;
template <class C, class T>
struct MemberOf<T C::*> {
  using Class = C;
  using Type = T;
};

}  // namespace detail

/// A row that still knows its types; AttributeInfo is its erased form.
template <auto object>
struct Row {
  using Class = typename detail::MemberOf<decltype(object)>::Class;
  using Attribute = typename detail::MemberOf<decltype(object)>::Type;
  char const* name;
  constexpr operator AttributeInfo() const {
    return {name, &detail::opsOf<Attribute>, [](Entity const& entity) -> void const* {
              return &(static_cast<Class const&>(entity).*object);
            }};
  }
};

/// The row of an attribute that a getter computes; the entity itself stands in for its object.
template <auto getter, AttributeKind kind>
struct DerivedRow {
  using Class = typename detail::MemberOf<decltype(getter)>::Class;
  struct Attribute {
    static constexpr AttributeKind kKind = kind;
    using Key = void;
  };
  static constexpr AttributeOps kOps{kind, [](void const* entity, std::string& out) {
                                       writeText(out,
                                                 (static_cast<Class const*>(entity)->*getter)());
                                     }};
  char const* name;
  constexpr operator AttributeInfo() const {
    return {name, &kOps,
            [](Entity const& entity) -> void const* { return static_cast<Class const*>(&entity); }};
  }
};

/// The table of C; ORB_ENTITY_TYPE emits it in one source file.
template <class C>
TypeInfo const& typeInfoOf() {
  if constexpr (C::kAttributeCount == 0) {
    static constexpr TypeInfo kInfo{C::typeName, {}};
    return kInfo;
  } else {
    static constexpr auto kRows = []<std::size_t... i>(std::index_sequence<i...>) {
      return std::array<AttributeInfo, sizeof...(i)>{C::row(Id<typename C::Attr{i}>())...};
    }
    (std::make_index_sequence<C::kAttributeCount>());
    static constexpr TypeInfo kInfo{C::typeName, kRows};
    return kInfo;
  }
}

}  // namespace Orb
