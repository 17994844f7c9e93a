#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

#include "platform/orb/base/Types.h"

/// Tracing: lines for the engineer who wants to see what the process does, by facility and level.
/// A line that is not shown costs one load and one comparison; nothing of it is formatted.
///
///   ORB_TRACE_FACILITY(traceSm, "RouteMapSm");
///   ORB_TRACE(traceSm(), 8, __func__ << " version: " << version);
///
/// Facilities are off until the environment variable ROUTEPOLICY_TRACE, read at first use, or a
/// call turns them on; its text is that of traceLevelsAre(). Everything here may be called from
/// any thread. The levels and the sink are process-wide; traceReset() puts them back.
namespace Orb {

/// A named source of trace lines. It is made by traceFacility() and lives as long as the process.
class ROUTEPOLICY_EXPORT TraceFacility {
 public:
  static constexpr int kOff = -1;

  explicit TraceFacility(std::string name);
  TraceFacility(TraceFacility const&) = delete;
  TraceFacility& operator=(TraceFacility const&) = delete;

  std::string const& name() const noexcept { return name_; }

  /// The highest level shown, from 0 (notable events) to 9 and above (details), or kOff.
  int level() const noexcept { return level_.load(std::memory_order_relaxed); }
  void levelIs(int level) noexcept { level_.store(level, std::memory_order_relaxed); }

  /// Whether lines of this level, 0 or higher, are shown.
  bool enabled(int level) const noexcept { return level <= this->level(); }

  /// Hands one line to the sink, shown or not: the caller asks enabled() first.
  void write(int level, std::string_view line) const;

 private:
  std::string const name_;
  std::atomic<int> level_{kOff};
};

/// The facility of that name; made when it is asked for first.
ROUTEPOLICY_EXPORT TraceFacility& traceFacility(std::string_view name);

/// Sets the level of the facility of that name, which need not be there yet; TraceFacility::kOff
/// turns it off. The name "*" stands for all facilities, those to come included, and overrides
/// what was set before.
ROUTEPOLICY_EXPORT void traceLevelIs(std::string_view name, int level);

/// Sets levels by a text such as "RouteMapSm/8,RouteMapStatusType/6" or "*/3", from left to right.
/// A piece that does not read is reported on standard error and otherwise ignored.
ROUTEPOLICY_EXPORT void traceLevelsAre(std::string_view text);

/// Takes the lines, one at a time, whichever threads they come from. It must not throw nor set a
/// sink; lines that are traced while it runs, by its own thread, are dropped.
using TraceSink = std::function<void(std::string_view facility, int level, std::string_view line)>;

/// Replaces the sink; null puts back the default one, which writes to standard error with time,
/// facility and level before the line. The old one has returned when this returns.
ROUTEPOLICY_EXPORT void traceSinkIs(TraceSink sink);

/// Turns every facility off, forgets the levels set, and puts the default sink back: for tests.
ROUTEPOLICY_EXPORT void traceReset();

/// The text of one line while it is put together; ORB_TRACE makes it.
class ROUTEPOLICY_EXPORT TraceLine {
 public:
  TraceLine();
  ~TraceLine();
  TraceLine(TraceLine const&) = delete;
  TraceLine& operator=(TraceLine const&) = delete;

  std::ostream& stream() noexcept;
  void writeTo(TraceFacility const& facility, int level) const;

 private:
  struct Text;
  std::unique_ptr<Text> text_;
};

}  // namespace Orb

/// Defines function(), which gives the facility of that name.
#define ORB_TRACE_FACILITY(function, name)                                            \
  inline ::Orb::TraceFacility const& function() {                                     \
    static ::Orb::TraceFacility const& orbTraceFacility = ::Orb::traceFacility(name); \
    return orbTraceFacility;                                                          \
  }                                                                                   \
  static_assert(true)

/// Traces what the stream expression, such as `"seqno: " << seqno`, prints; it is evaluated only
/// when the facility shows the level.
#define ORB_TRACE(facility, level, ...)                        \
  do {                                                         \
    ::Orb::TraceFacility const& orbTraceFacility = (facility); \
    if (orbTraceFacility.enabled(level)) [[unlikely]] {        \
      ::Orb::TraceLine orbTraceLine;                           \
      orbTraceLine.stream() << __VA_ARGS__;                    \
      orbTraceLine.writeTo(orbTraceFacility, level);           \
    }                                                          \
  } while (false)
