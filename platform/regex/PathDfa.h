#pragma once

#include <cstddef>

#include "platform/orb/base/Types.h"

/// The DFA helper library: patterns over AS numbers.

// NOLINTBEGIN(readability-identifier-naming): these names are given

/// A compiled pattern. Equal patterns share what is compiled as long as one of them is held.
struct rd_dfa;

/// Compiles a pattern. Null when it is invalid or passes the bounds of size: 10,000 states or 1 MB.
/// To be freed with rd_free_dfa(). Any thread. Throws std::bad_alloc, and nothing else.
ROUTEPOLICY_EXPORT rd_dfa const* rd_parse_dfa(char const* pattern);

/// Whether the pattern matches the path: 1 or 0. `as_numbers` are `count` numbers of 32 bits in
/// host order, aligned or not, first the neighbour's and last the origin's. Walks them once,
/// allocates nothing. Any thread.
ROUTEPOLICY_EXPORT int rd_match(rd_dfa const* dfa, void const* as_numbers,
                                std::size_t count) noexcept;

/// What a compiled pattern takes.
struct rd_dfa_size {
  std::size_t states;  ///< of the minimal automaton
  std::size_t bytes;
};
ROUTEPOLICY_EXPORT rd_dfa_size rd_size(rd_dfa const* dfa) noexcept;

/// Takes a null too.
ROUTEPOLICY_EXPORT void rd_free_dfa(rd_dfa const* dfa) noexcept;

// NOLINTEND(readability-identifier-naming)
