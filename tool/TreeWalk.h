#pragma once

#include <string>
#include <vector>

#include "platform/orb/model/TypeInfo.h"

/// What the writers of trees share: all of it comes from the attribute tables.
namespace Tool {

/// The text form of a value or key; a string is without quotes and escapes.
std::string plainText(Orb::ValueType const& type, void const* value);

/// An entity that another one owns by key.
struct OwnedEntity {
  std::string key;  ///< plainText()
  Orb::Entity const* entity;
};
/// What an attribute of children owns, by ascending key: numbers by their value.
std::vector<OwnedEntity> ownedEntities(Orb::AttributeInfo const& attribute, void const* object);

/// Visits each counter below an entity, with its path and its value's text, in their order.
void eachCounter(Orb::Entity const& root,
                 Orb::FunctionRef<void(std::string const& path, std::string const& value)> visit);

}  // namespace Tool
