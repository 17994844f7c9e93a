#pragma once

#include "platform/orb/model/Entity.h"

namespace Keel {

/// Base of the status objects that notify of their changes: an entity that has no key, and that can
/// copy the content of another of its type.
class ROUTEPOLICY_EXPORT BaseNotifyingType : public Orb::Entity {
 public:
  ~BaseNotifyingType() override;

  /// Makes this hold a copy of what `other` holds, so that either can change without the other.
  /// REQUIRES: both are of the same final class.
  virtual void clone(BaseNotifyingType const& other) = 0;
};

}  // namespace Keel
