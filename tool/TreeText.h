#pragma once

#include <string_view>

#include "platform/orb/model/TypeInfo.h"
#include "tool/Console.h"

/// Trees of entities for the eye, from the attribute tables: what is not at its default, a line
/// each, and what an entity owns below it and indented. Counters, keys and what is computed from
/// other attributes are left out.
namespace Tool {

/// An entity that is owned: "ATTRIBUTE KEY", and its lines.
void writeTreeText(std::string_view attribute, std::string_view key, Orb::Entity const& entity,
                   Console& console, unsigned depth = 0);

/// The lines of an attribute that owns no entities; `blank` holds its default.
void writeAttributeText(Orb::AttributeInfo const& attribute, Orb::Entity const& blank,
                        Orb::Entity const& entity, Console& console, unsigned depth = 0);

}  // namespace Tool
