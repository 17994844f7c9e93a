#pragma once

#include <string>

#include "platform/orb/base/Trace.h"

namespace TestSupport {

/// What a facility traces, that of compiled lists unless another is named: a line each.
struct Traced {
  explicit Traced(int level, char const* facility = "RouteMapStatusType") {
    Orb::traceSinkIs([this](std::string_view, int at, std::string_view line) {
      lines += std::to_string(at) + ' ' + std::string(line) + '\n';
    });
    Orb::traceLevelIs(facility, level);
  }
  ~Traced() { Orb::traceReset(); }
  std::string lines;
};

}  // namespace TestSupport
