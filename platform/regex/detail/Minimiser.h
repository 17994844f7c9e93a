#pragma once

#include <memory_resource>
#include <span>
#include <vector>

#include "platform/orb/base/Types.h"

namespace Routing::AsPath::detail {

/// An automaton's table, whole: state by state, the state that each class leads to.
struct StateTable {
  explicit StateTable(std::pmr::memory_resource* memory) : to(memory), accepts(memory) {}

  std::size_t classes = 0;
  std::pmr::vector<Orb::U32> to;
  std::pmr::vector<bool> accepts;

  std::size_t states() const noexcept { return accepts.size(); }
};

/// The smallest automaton of the same language; state 0 stays state 0. All states are reachable
/// from that. Hopcroft's algorithm: O(n log n) for n cells.
StateTable minimised(StateTable const& table);

}  // namespace Routing::AsPath::detail
