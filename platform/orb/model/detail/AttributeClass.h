#pragma once

#include "platform/orb/model/TypeInfo.h"

/// What the classes of attribute objects (Attribute.h) can do, with their types erased: tables of
/// functions, one table a class. AttributeRef.cpp alone calls them; everybody else has the handles
/// of AttributeRef.h.
namespace Orb::detail {

/// An attribute of an entity that is about to be changed, or a field of a value.
struct Place {
  void* attribute;
  Entity* owner;  ///< null for a field
  AttrId id;
};

/// A key under which two attributes do not hold the same, and what they hold: null where one side
/// has nothing.
using VisitDifference = FunctionRef<void(void const* key, void const* before, void const* after)>;
using VisitMember = FunctionRef<void(void const* key, void const* member)>;
using VisitOwned = FunctionRef<void(void const* key, Entity& entity)>;
using VisitOwnedDifference =
    FunctionRef<void(void const* key, Entity* before, Entity const* after)>;

/// A single value. What cannot be changed has no `set`.
struct ScalarOps {
  void (*visit)(void const* attribute, Visit visit);
  /// Throws what is wrong with a value that is not allowed; null where all are.
  void (*check)(void const* value);
  /// Stores by the mutator.
  void (*set)(Place const& place, void const* value);
  /// Makes it equal to another by the mutator, but checks before it stores; whether it changed.
  bool (*copy)(Place const& place, void const* from);
};

/// Values by key.
struct MemberOps {
  bool keyIsApart;  ///< the member does not hold its key: texts show the key beside it
  bool (*empty)(void const* attribute);
  void (*each)(void const* attribute, VisitMember visit);
  /// Whether there is a member; it is visited.
  bool (*find)(void const* attribute, void const* key, Visit visit);
  /// Visits what a new member is under that key.
  void (*fresh)(void const* key, Visit visit);
  // By the mutators.
  void (*set)(Place const& place, void const* key, void const* member);
  bool (*erase)(Place const& place, void const* key);
  void (*clear)(Place const& place);
  /// Visits what differs; `before` may be null for one that holds nothing. `visit` may change
  /// either side.
  void (*differ)(void const* before, void const* after, VisitDifference visit);
};

/// Owned entities. The key is null where a single entity has no name.
struct OwnedOps {
  void (*each)(void const* attribute, VisitOwned visit);
  /// The entity under `key`, or null. A null key stands for the single one.
  Entity* (*find)(void const* attribute, void const* key);
  /// A new entity for that place, which does not hold it yet.
  Ptr<Entity> (*create)(Place const& place, void const* key);
  // By the mutators; a null key stands for all, or for the single one.
  /// Puts such an entity into its place.
  void (*insert)(Place const& place, Entity& entity);
  /// Whether there was one.
  bool (*erase)(Place const& place, void const* key);
  /// Puts an entity into an attribute object; nobody is notified.
  void (*adopt)(void* attribute, Entity& entity);
  /// Visits whatever either side owns; `before` may be null for one that owns nothing.
  void (*differ)(void const* before, void const* after, VisitOwnedDifference visit);
};

struct AttributeClass {
  AttributeKind kind;
  bool isWritable;  ///< by name
  std::string_view typeName;
  ValueType const* key;
  ValueType const* value;
  // One of the following, and of shared objects none.
  ScalarOps const* scalar;
  MemberOps const* members;
  OwnedOps const* owned;

  /// Appends the text form of shared objects; null for all else.
  void (*sharedText)(void const* attribute, std::string& out);
  // Of what is stored, and owned or not shared; nobody is notified and nothing is checked.
  void (*assign)(void* to, void const* from);  ///< null for owned entities
  void (*swap)(void* a, void* b) noexcept;
};

constexpr AttributeInfo makeInfo(std::string_view name, AttributeClass const& objectClass,
                                 void const* (*object)(void const* holder)) {
  AttributeKind const kind = objectClass.kind;
  return {name,
          &objectClass,
          object,
          kind,
          objectClass.isWritable,
          kind == AttributeKind::children || kind == AttributeKind::child,
          kind == AttributeKind::collection && objectClass.isWritable,
          kind == AttributeKind::scalar || kind == AttributeKind::counter};
}

}  // namespace Orb::detail
