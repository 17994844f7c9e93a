#pragma once

#include <string>
#include <vector>

#include "platform/orb/model/AttributeRef.h"

/// What the writers of trees share.
namespace ConfigText {

/// The plain form of a value or key, else its text form; a string is without quotes and escapes.
ROUTEPOLICY_EXPORT std::string plainText(Orb::ValueRef value);

/// Whether one key comes before another: numbers first, by their value, then by the text.
ROUTEPOLICY_EXPORT bool isKeyBefore(std::string_view a, std::string_view b) noexcept;

/// An entity that another one owns by key.
struct OwnedEntity {
  std::string key;  ///< plainText()
  Orb::Entity const* entity;
};
/// What an attribute of children owns, by ascending key.
ROUTEPOLICY_EXPORT std::vector<OwnedEntity> ownedEntities(Orb::AttributeRef attribute);

/// Visits each counter below an entity, with its path and its value's text.
ROUTEPOLICY_EXPORT void eachCounter(
    Orb::Entity const& root,
    Orb::FunctionRef<void(std::string const& path, std::string const& value)> visit);

}  // namespace ConfigText
