#pragma once

#include "platform/orb/loop/Activity.h"

namespace TestSupport {

/// An event loop that the test turns, with a clock that stands still unless the test moves it:
/// every reading adds `tick` seconds.
struct TestLoop {
  Orb::ActivityManager manager;
  Orb::ActivityManager::Scope scope{manager};
  double time = 1;
  double tick = 0;

  TestLoop() {
    manager.clock()->timeSourceIs([this] { return time += tick; });
  }

  /// Turns the loop until nothing is due; returns the turns it took.
  int settle() {
    int turns = 0;
    while (manager.nextDue() <= time) {
      manager.turn();
      if (++turns > 1000000) return -1;
    }
    return turns;
  }
};

}  // namespace TestSupport
