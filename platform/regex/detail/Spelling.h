#pragma once

#include <span>

#include "platform/regex/detail/Budget.h"

namespace Routing::AsPath::detail {

/// More intervals than this are refused: of one spelling.
inline constexpr std::size_t kMaxIntervals = 4096;

/// The numbers up to `most` whose decimal form, without leading zeros, one of the texts is that the
/// items spell one behind the other. REQUIRES: the items are digits (PatternTree::isDigits()).
/// Throws Refused when they spell no such number, or may spell nothing at all, or too many
/// intervals, or when it takes more work than the budget has left.
NumberSet numbersSpelled(PatternTree const& tree, std::span<NodeId const> items, Orb::U32 most,
                         Budget& budget);

}  // namespace Routing::AsPath::detail
