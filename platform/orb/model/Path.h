#pragma once

#include "platform/orb/model/TypeInfo.h"

/// Reading and changing a tree of entities by name. A path leads from an entity through owned
/// entities to an attribute, a member of a collection, or a field of a value:
///
///   routeMap['RM-IN'].mapEntry[10].localPref       an attribute of a child of a child
///   prefixList['P'].prefixEntry[10].ge             a field of a member
///   mapEntry[10].communityAddReplace['C'].flag     a single child, asked for by its name
///
/// Keys stand in brackets in their text form; the name of a single child may be left out once it
/// is there. What fails is a RangeException that names the path, or a ParseException when a key or
/// a value does not read; nothing has been changed then, but for what a mutator stores before it
/// checks or tells of. Owned entities and members on the way are made when something is set in
/// them.
namespace Orb {

/// What a path leads to. Exactly one of `entity`, `attribute` and `type` is set.
struct PathTarget {
  Entity const* entity = nullptr;            ///< an owned entity
  AttributeInfo const* attribute = nullptr;  ///< an attribute as a whole, of `object`
  void const* object = nullptr;
  ValueType const* type = nullptr;  ///< a member of a collection of values, of `value`
  void const* value = nullptr;
};

/// Calls `visit` with what `path` leads to; it is good until that returns.
ROUTEPOLICY_EXPORT void visitPath(Entity const& root, std::string_view path,
                                  FunctionRef<void(PathTarget const& target)> visit);

/// Follows `path` through the types alone, from an entity of type `root`: whether there is anything
/// in a tree does not count. The full name of the type of the owned entity that it leads to, or an
/// empty one when that is something else. Throws for a path that no tree has.
ROUTEPOLICY_EXPORT std::string_view ownedTypeAt(TypeInfo const& root, std::string_view path);

/// Follows `path` through the types in the same way, and visits each single owned entity that it
/// names by a key: the path up to its attribute, and the text of the key.
ROUTEPOLICY_EXPORT void visitKeysOfSingles(
    TypeInfo const& root, std::string_view path,
    FunctionRef<void(std::string_view attribute, std::string_view key)> visit);

/// The text form of what `path` leads to; of an entity, what inspect() says.
ROUTEPOLICY_EXPORT std::string attributeText(Entity const& root, std::string_view path);
/// Whether counters may be set: where a tree is restored, not where it is edited.
enum class CounterAccess { set, refuse };
/// Sets what `path` leads to from its text form.
ROUTEPOLICY_EXPORT void attributeTextIs(Entity& root, std::string_view path, std::string_view text,
                                        CounterAccess counters = CounterAccess::set);
/// Makes the member or the owned entity that `path` leads to, unless it is there; the entity, or
/// null for a member.
ROUTEPOLICY_EXPORT Ptr<Entity> attributeIs(Entity& root, std::string_view path);
/// Removes the member or the owned entity that `path` leads to, or all members of a collection;
/// gives a single value of an entity its default back. Whether there was anything to remove.
ROUTEPOLICY_EXPORT bool attributeDel(Entity& root, std::string_view path);

/// "PATH=TEXT" taken apart, or a path alone. A '=' inside a quoted key is part of the path.
struct Assignment {
  std::string_view path;
  std::string_view text;
  bool hasText;
};
ROUTEPOLICY_EXPORT Assignment splitAssignment(std::string_view line) noexcept;

}  // namespace Orb
