#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/orb/base/Types.h"

/// AS paths as text: the numbers from the neighbour's to the origin's, parted by one blank.
namespace Routing::AsPath {

/// How AS numbers are written (RFC 5396).
enum class Notation : Orb::U8 {
  asplain,  ///< decimal: 65538
  asdot,    ///< HIGH.LOW for numbers above 65535: 1.2; decimal below
};

/// Replaces `text` with the path's. Allocates only when the text outgrows its capacity.
ROUTEPOLICY_EXPORT void pathText(std::string& text, std::span<Orb::U32 const> path,
                                 Notation notation);

/// Replaces `path` with the numbers of a text, in either notation, parted by blanks. Throws an
/// Orb::ParseException.
ROUTEPOLICY_EXPORT void readPath(std::string_view text, std::vector<Orb::U32>& path);

}  // namespace Routing::AsPath
