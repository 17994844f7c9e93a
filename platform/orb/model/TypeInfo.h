#pragma once

#include <span>
#include <string>
#include <string_view>

#include "platform/orb/base/Binary.h"
#include "platform/orb/base/FunctionRef.h"
#include "platform/orb/base/Text.h"
#include "platform/orb/model/Entity.h"

/// The run-time form of entity and value types: one row for each attribute or field, in
/// declaration order. The tables follow from the declarations (Declare.h): nothing else lists
/// attributes. What generic code does with an attribute of an entity that is there, it does
/// through the handles of AttributeRef.h; what it asks of a type alone stands here.
namespace Orb {

struct AttributeInfo;
namespace detail {
struct AttributeClass;
/// The text of an entity that is not there.
inline constexpr std::string_view kNoEntity = "None";
/// The name of a type of shared objects, if it has one.
template <class E>
constexpr std::string_view targetName() {
  if constexpr (requires { E::typeName; }) return E::typeName;
  return {};
}
}  // namespace detail

enum class AttributeKind : U8 {
  key,         ///< what the owner knows the entity by; never changes
  scalar,      ///< one value
  counter,     ///< a value that writers raise to show readers that something was rewritten
  derived,     ///< computed from other attributes; read-only
  reference,   ///< a shared object that belongs to others; changed by code alone
  collection,  ///< values or shared objects by key
  children,    ///< owned entities by key
  child,       ///< one owned entity, or none
};
/// "scalar", "counter", ...
ROUTEPOLICY_EXPORT std::string_view kindName(AttributeKind kind) noexcept;

/// Calls that generic code hands down; the value is good until the call returns.
using Visit = FunctionRef<void(void const* value)>;
using Edit = FunctionRef<void(void* value)>;

/// The run-time form of a type of values: plain ones, enumerations, and those that ORB_VALUE and
/// ORB_FLAGS declare. There is one of each type, so that two types are the same when their
/// addresses are.
struct ValueType {
  std::string_view name;  ///< "U32", "Acl::PrefixEntry"
  void (*writeText)(std::string& out, void const* value);
  /// Takes a text form off the front and visits the value that it is. Null when the text form does
  /// not read back: the type holds a collection.
  void (*readText)(TextReader& in, Visit visit);
  /// Appends the plain form (Value.h); null when there is none.
  void (*writePlain)(std::string& out, void const* value);
  /// As readText, and takes the plain form too.
  void (*readTyped)(TextReader& in, Visit visit);
  /// The same for the binary form, which every type reads back.
  void (*writeBinary)(std::string& out, void const* value);
  void (*readBinary)(BinaryReader& in, Visit visit);
  bool (*same)(void const* a, void const* b);
  /// Makes one the copy of the other.
  void (*assign)(void* to, void const* from);
  /// Lets `edit` change a copy of the value, and checks and visits that.
  void (*edited)(void const* value, Edit edit, Visit visit);
  std::span<AttributeInfo const> fields;
  /// Differences are reported field by field: the type does not read back, or is a set of flags.
  bool differsByField;
};

/// An attribute of an entity type, or a field of a value type.
struct AttributeInfo {
  std::string_view name;
  detail::AttributeClass const* objectClass;
  /// The attribute object in an entity, or the field in a value.
  void const* (*object)(void const* holder);
  AttributeKind kind;
  bool isWritable;     ///< can be changed by name
  bool ownsEntities;   ///< one, or any number by key
  bool hasMembers;     ///< is a collection of values
  bool isStoredValue;  ///< is a single value that is stored, and not computed or a key

  /// The full name of the type of the value, of the members, or of the owned or shared entities.
  ROUTEPOLICY_EXPORT std::string_view typeName() const noexcept;
  /// The type of the keys of members and of owned entities; null where there are none.
  ROUTEPOLICY_EXPORT ValueType const* keyType() const noexcept;
  /// The type of the value or of the members; null for entities and shared objects.
  ROUTEPOLICY_EXPORT ValueType const* valueType() const noexcept;
  /// Whether it is a single value of any sort.
  bool isValue() const noexcept {
    return isStoredValue || kind == AttributeKind::derived || kind == AttributeKind::key;
  }
};

struct TypeInfo {
  std::string_view name;  ///< the full name, such as "Acl::PrefixList"
  std::span<AttributeInfo const> attributes;
  /// A new entity of this type with nothing set, under that name if it has one; null for types
  /// that are made by their owner alone.
  Ptr<Entity> (*make)(Name const& name);
  bool ownsEntities;  ///< whether any attribute does
  /// Those that are stored in the entity itself: values, collections of values, owned entities.
  std::span<AttrId const> stored;
};

/// The attribute of that name among `attributes`, or null.
ROUTEPOLICY_EXPORT AttributeInfo const* findAttribute(std::span<AttributeInfo const> attributes,
                                                      std::string_view name) noexcept;

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

/// The type's name and, a line each, "  name = text" for every attribute in order.
ROUTEPOLICY_EXPORT std::string inspect(Entity const& entity);

}  // namespace Orb
