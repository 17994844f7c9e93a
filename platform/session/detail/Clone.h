#pragma once

#include "platform/orb/model/AttributeRef.h"

/// Private copies of entities, which nobody watches yet: counters are copied too, values as they
/// are, unchecked, and nobody is notified. What was copied has no mark: it is known as a copy.
namespace Cli::Session::detail {

/// A copy of `from` for a place in `to`, which does not hold it yet.
Orb::Ptr<Orb::Entity> cloneFor(Orb::MutableAttributeRef to, Orb::ValueRef key,
                               Orb::Entity const& from);

/// Makes one stored attribute equal to that of another entity. REQUIRES: it owns nothing yet.
void cloneAttribute(Orb::MutableAttributeRef to, Orb::AttributeRef from);

}  // namespace Cli::Session::detail
