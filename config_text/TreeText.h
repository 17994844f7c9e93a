#pragma once

#include <string_view>

#include "config_text/Sink.h"
#include "platform/orb/model/AttributeRef.h"

/// Trees of entities for the eye, from the attribute tables: what is not at its default, a line
/// each, and what an entity owns below it and indented; values in their plain form where they have
/// one. Counters, keys and what is computed from
/// other attributes are left out.
namespace ConfigText {

/// An entity that is owned: "ATTRIBUTE KEY", and its lines.
ROUTEPOLICY_EXPORT void writeTreeText(std::string_view attribute, std::string_view key,
                                      Orb::Entity const& entity, Sink& sink, unsigned depth = 0);

/// The lines of an attribute that owns no entities; `blank`, the same attribute of another entity,
/// holds its default.
ROUTEPOLICY_EXPORT void writeAttributeText(Orb::AttributeRef attribute, Orb::AttributeRef blank,
                                           Sink& sink, unsigned depth = 0);

}  // namespace ConfigText
