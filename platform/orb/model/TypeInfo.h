#pragma once

#include <span>
#include <string>
#include <string_view>

#include "platform/orb/base/FunctionRef.h"
#include "platform/orb/base/Text.h"
#include "platform/orb/model/Entity.h"

/// The run-time form of entity and value types: one row for each attribute or field, in
/// declaration order. All that is done by name stands on these rows: paths (Path.h), differences
/// (Difference.h), copies. Operations are erased once for each class of attribute objects, and
/// the tables follow from the declarations (Declare.h): nothing else lists attributes.
namespace Orb {

struct AttributeInfo;

enum class AttributeKind : U8 {
  key,         ///< what the owner knows the entity by; never changes
  scalar,      ///< one value
  counter,     ///< a value that writers raise to tell readers that something was rewritten
  derived,     ///< computed from other attributes; read-only
  reference,   ///< a shared object that belongs to others; changed by code alone
  collection,  ///< values or shared objects by key
  children,    ///< owned entities by key
  child,       ///< one owned entity, or none
};
/// "scalar", "counter", ...
ROUTEPOLICY_EXPORT std::string_view kindName(AttributeKind kind) noexcept;

/// The run-time form of a type of values: plain ones, enumerations, and those that ORB_VALUE and
/// ORB_FLAGS declare. Functions that a type has no use for are null.
struct ValueType {
  std::string_view name;  ///< "U32", "Acl::PrefixEntry"
  void (*write)(std::string& out, void const* value);
  /// Null when the text form does not read back: the type holds a collection.
  void (*read)(TextReader& in, void* value);
  /// Takes a text form off the front and forgets it; null like `read`.
  void (*skip)(TextReader& in);
  /// Throws what the type says of a value that breaks its invariant.
  void (*check)(void const* value);
  std::span<AttributeInfo const> fields;
  /// Differences are told field by field: the type does not read back, or is a set of flags.
  bool isToldByField;
};

/// An attribute of an entity that is about to be changed, or a field of a value.
struct Place {
  void* attribute;
  Entity* owner;  ///< null for a field
  AttrId id;
};

/// A key that one of two attributes has alone, or under which they differ.
struct MemberDifference {
  void const* key;     ///< of the attribute's key type; null for what has no key
  void const* before;  ///< the member (an Entity const where entities are owned), or null
  void const* after;   ///< the same
};

using Visit = FunctionRef<void(void const* value)>;
using Edit = FunctionRef<void(void* value)>;
/// Makes one owned entity the copy of another; whether that changed it.
using CopyChild = FunctionRef<bool(Entity& to, Entity const& from)>;
using DifferVisit = FunctionRef<void(MemberDifference const& difference)>;

/// What generic code can do with one class of attribute objects. What a class does not support is
/// null. Keys are taken as text off the front of a reader; one that does not read is a
/// ParseException.
struct AttributeOps {
  AttributeKind kind;
  std::string_view type;   ///< of the value, of the members, or of the owned entities
  ValueType const* key;    ///< the type of the members' keys, or of the owned entity's; else null
  ValueType const* value;  ///< null for entities and shared objects

  /// Appends the text form of what the attribute holds.
  void (*text)(void const* attribute, std::string& out);

  // Single values.
  void (*visit)(void const* attribute, Visit visit);
  /// Changes a copy of the value and stores that by the mutator.
  void (*edit)(Place const& place, Edit edit);

  // Members of a collection of values.
  /// Whether there is a member; it is visited.
  bool (*visitMember)(void const* attribute, TextReader& key, Visit visit);
  /// Visits what a new member is under that key, of the attribute's key type.
  void (*freshMember)(void const* key, Visit visit);
  /// Changes a copy of the member, or of a new one, and stores that by the mutator.
  void (*editMember)(Place const& place, TextReader& key, Edit edit);

  // Members of any collection, and owned entities. A null `key` stands for the single one that is
  // there, or for all.
  /// Whether there was one.
  bool (*delMember)(Place const& place, TextReader* key);

  // Owned entities; a null `key` stands for the single one.
  /// The entity, or null.
  Entity* (*child)(void const* attribute, TextReader* key);
  /// The entity, made when it is not there; null when a key is needed for that and there is none.
  Ptr<Entity> (*childIs)(Place const& place, TextReader* key);

  // The attribute as a whole.
  /// Makes a single value the one of another attribute as it is, unchecked and without notice;
  /// whether it changed.
  bool (*take)(void* attribute, void const* from);
  /// Makes it the copy of another; whether anything changed.
  bool (*copy)(Place const& place, void const* from, CopyChild copyChild);
  /// Visits what differs; owned entities that both sides have are always visited. A null `before`
  /// stands for one that holds nothing.
  void (*differ)(void const* before, void const* after, DifferVisit visit);
};

struct AttributeInfo {
  std::string_view name;
  AttributeOps const* ops;
  /// The attribute object, for the operations; `holder` is the Entity, or the value.
  void const* (*object)(void const* holder);

  /// Whether it can be changed by name.
  bool isWritable() const noexcept { return ops->edit || ops->editMember || ops->childIs; }
};

struct TypeInfo {
  std::string_view name;  ///< the full name, such as "Acl::PrefixList"
  std::span<AttributeInfo const> attributes;
  /// A new entity of this type with nothing set, under that name if it has one; null for types
  /// that are made by their owner alone.
  Ptr<Entity> (*make)(Name const& name);
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
