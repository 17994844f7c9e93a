#pragma once

#include "platform/orb/base/String.h"

namespace Tool {

/// What those kinds of lists share whose machine is a Routing::RouteMap::ListMachine.
template <class Machine>
struct ByListMachine {
  static bool isBuilding(Machine const& machine, Orb::Name const& name) {
    return machine.listSm(name)->isBuilding();
  }
  static auto statusOf(Machine const& machine, Orb::Name const& name) {
    return machine.allSymbol()->symbol(name)->status();
  }
};

}  // namespace Tool
