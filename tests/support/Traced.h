#pragma once

#include <string>

#include "platform/orb/base/Trace.h"

namespace TestSupport {

/// What the facility of compiled lists traces, a line each.
struct Traced {
  explicit Traced(int level) {
    Orb::traceSinkIs([this](std::string_view, int at, std::string_view line) {
      lines += std::to_string(at) + ' ' + std::string(line) + '\n';
    });
    Orb::traceLevelIs("RouteMapStatusType", level);
  }
  ~Traced() { Orb::traceReset(); }
  std::string lines;
};

}  // namespace TestSupport
