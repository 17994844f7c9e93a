#pragma once

#include "platform/orb/model/AttributeRef.h"

namespace Orb {

/// One difference between two trees of entities.
struct Difference {
  enum class Kind { added, removed, changed };

  Kind kind;
  std::string path;         ///< see Path.h
  std::string before;       ///< text forms; empty where there is nothing,
  std::string after;        ///< and for what has no text of its own: see hasText
  bool hasText;             ///< an owned entity, or a value that differs by its fields, has none:
                            ///< what it is made of follows, one difference each
  AttributeKind attribute;  ///< the kind of attribute that differs, or that has the member
};

/// Visits what differs between two entities of one type, in the order of their attributes. What
/// only one side has is reported with all that is not at its default in it. Keys, derived
/// attributes and references are left out. In their order, differences that are added or changed
/// are lines that make `after` of `before`: PATH=AFTER sets what hasText, PATH makes the rest.
/// Paths begin with `prefix`, the path of the two entities.
ROUTEPOLICY_EXPORT void differences(Entity const& before, Entity const& after,
                                    FunctionRef<void(Difference const& difference)> visit,
                                    std::string_view prefix = {});

/// The same for one attribute, of two entities of one type.
ROUTEPOLICY_EXPORT void attributeDifferences(AttributeRef before, AttributeRef after,
                                             FunctionRef<void(Difference const& difference)> visit);

/// Visits that an owned entity at `path` is there only before or only after (the other is null),
/// and what is in one that is added; or else the differences between the two.
ROUTEPOLICY_EXPORT void ownedDifferences(AttributeKind attribute, Entity const* before,
                                         Entity const* after,
                                         FunctionRef<void(Difference const& difference)> visit,
                                         std::string_view path);

/// Visits what makes a new entity the one given: "PATH=TEXT" for what is not at its default, and
/// "PATH" for owned entities and for members that are set field by field.
ROUTEPOLICY_EXPORT void assignments(Entity const& entity,
                                    FunctionRef<void(std::string const& line)> visit);

}  // namespace Orb
