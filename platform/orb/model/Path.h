#pragma once

#include "platform/orb/model/AttributeRef.h"

/// Reading and changing a tree of entities by name. A path leads from an entity through owned
/// entities to an attribute, a member of a collection, or a field of a value:
///
///   routeMap['RM-IN'].mapEntry[10].localPref       an attribute of a child of a child
///   prefixList['P'].prefixEntry[10].ge             a field of a member
///   mapEntry[10].communityAddReplace['C'].flag     a single child, asked for by its name
///
/// Keys stand in brackets in their text form, or in the plain form where their type has one
/// (Value.h), as a whole value may; the name of a single child may be left out once it is there.
/// What fails is a RangeException that names the path, or a ParseException when a key or a value
/// does not read; nothing has been changed then. What an observer throws goes to the caller; the
/// change stands. Owned entities and members on the way are made when something is set in them.
namespace Orb {

/// What a path leads to. Exactly one of the three is set.
struct PathTarget {
  Entity const* entity = nullptr;           ///< an owned entity
  AttributeRef const* attribute = nullptr;  ///< an attribute as a whole
  ValueRef member = {};                     ///< a member of a collection of values
};

/// Calls `visit` with what `path` leads to; it is good until that returns.
ROUTEPOLICY_EXPORT void visitPath(Entity const& root, std::string_view path,
                                  FunctionRef<void(PathTarget const& target)> visit);

/// What follows from the types alone: whether there is anything in a tree does not count.
struct PathType {
  /// The full name of the type of the owned entity that the path leads to; empty when that is
  /// something else.
  std::string_view ownedType;
  /// The path as far as owned entities go, with the names of single children left out: equal for
  /// all paths into one place.
  std::string place;
  /// The names that the path gives to single children, in the order of the path. The first
  /// `placeSize` bytes of `place` lead to the child.
  struct Single {
    std::size_t placeSize;
    std::string_view name;  ///< in its text form, in the path
  };
  std::vector<Single> singles;
};
/// Throws for a path that no tree has.
ROUTEPOLICY_EXPORT PathType pathType(TypeInfo const& root, std::string_view path);

/// The first step of a path from an entity of type `root`: an attribute, and the text of the key
/// behind it; empty when there is none. Throws for an attribute or a key that is none.
struct FirstStep {
  AttrId attribute;
  std::string_view key;
};
ROUTEPOLICY_EXPORT FirstStep firstStep(TypeInfo const& root, std::string_view path);
/// The place in `roots` of the one that has the attribute with which a path begins.
ROUTEPOLICY_EXPORT std::size_t rootOf(std::span<Ptr<Entity> const> roots, std::string_view path);

/// The text form of what `path` leads to; of an entity, what inspect() says.
ROUTEPOLICY_EXPORT std::string attributeText(Entity const& root, std::string_view path);
/// Whether counters may be set: where a tree is restored, not where it is edited.
enum class CounterAccess { set, refuse };
/// Sets what `path` leads to from its text form. `owner`, if given, receives the entity of whose
/// attributes that is a part.
ROUTEPOLICY_EXPORT void attributeTextIs(Entity& root, std::string_view path, std::string_view text,
                                        CounterAccess counters = CounterAccess::set,
                                        Ptr<Entity>* owner = nullptr);
/// Makes the member or the owned entity that `path` leads to, unless it is there; the entity, or
/// null for a member, of which `owner`, if given, receives the entity that has it.
ROUTEPOLICY_EXPORT Ptr<Entity> attributeIs(Entity& root, std::string_view path,
                                           Ptr<Entity>* owner = nullptr);
/// Removes the member or the owned entity that `path` leads to, or all members of a collection;
/// gives a single value of an entity its default back. Whether there was anything to remove.
ROUTEPOLICY_EXPORT bool attributeDel(Entity& root, std::string_view path);

/// The owned entity at a place, as pathType() gives it; null when it is not there.
ROUTEPOLICY_EXPORT Ptr<Entity> ownedAt(Entity& root, std::string_view place);

/// "PATH=TEXT" taken apart, or a path alone. A '=' inside a quoted key is part of the path.
struct Assignment {
  std::string_view path;
  std::string_view text;
  bool hasText;
};
ROUTEPOLICY_EXPORT Assignment splitAssignment(std::string_view line) noexcept;

}  // namespace Orb
