#pragma once

#include "platform/session/detail/OwnedPlace.h"

/// Others have changed what a session has touched: its candidate is brought up to date, entity by
/// entity. An entity that the session has not changed becomes what is running now; one that it has
/// changed stays as it is, and wins when the session commits.
namespace Cli::Session::detail {

/// `base` is what the candidate began with, `running` what is there now, each null where there was
/// or is none. Whether both the session and others have changed one entity, each in its own way.
bool mergeOwned(Orb::Entity const* base, Orb::Entity const* running, OwnedPlace const& candidate);

/// The same for one attribute of three entities of one type.
bool mergeAttribute(Orb::AttrId attribute, Orb::Entity const& base, Orb::Entity const& running,
                    Orb::Entity& candidate);

}  // namespace Cli::Session::detail
