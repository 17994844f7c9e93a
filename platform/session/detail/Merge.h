#pragma once

#include "platform/session/detail/OwnedPlace.h"

/// Two sessions have touched the same entity, and one has committed it: the other's candidate is
/// brought up to date, entity by entity. An entity that the other has not changed becomes what is
/// running now; one that it has changed stays as it is, and wins when the other commits.
namespace Cli::Session::detail {

/// `base` is the entity before the commit, `running` after it, each null where there was or is
/// none; `candidate` is the other session's. Whether both sessions have changed one entity, each in
/// its own way.
bool mergeOwned(Orb::Entity const* base, Orb::Entity const* running, OwnedPlace const& candidate);

/// The same for one attribute, which owns nothing, of three entities of one type.
bool mergeAttribute(Orb::AttrId attribute, Orb::Entity const& base, Orb::Entity const& running,
                    Orb::Entity& candidate);

}  // namespace Cli::Session::detail
