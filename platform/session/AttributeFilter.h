#pragma once

#include "platform/orb/model/Attribute.h"

namespace Cli::Session {

/// Names attributes that are not copied. An empty one lets all through.
class ROUTEPOLICY_EXPORT AttributeFilter : public Orb::Entity {
 public:
  ORB_ENTITY(AttributeFilter, "Cli::Session::AttributeFilter", attribute);
  AttributeFilter() = default;

  /// The names, each with a flag that means nothing: a name that is there is not copied.
  ORB_MAP(attribute, Orb::String, bool);
};

}  // namespace Cli::Session
