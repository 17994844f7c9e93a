#pragma once

#include "platform/orb/loop/Activity.h"

namespace Routing::RouteMap {

/// Work on one list in time slices, each a callback of the event loop, so that a large list never
/// stalls the process. The base class of the reactors; the derived class knows how the work is
/// done and where to go on with it. The states:
///   idle      timeMin never, nothing under construction
///   building  timeMin next turn
/// begin() starts a build in either state.
///
/// Observers, the clock's time source and trace sinks may do what they like while a slice runs:
///  1. A slice ends when its build is over: begun anew, or stopped. It looks whether it is after
///     whatever may call others. So what is published is whole, and published once.
///  2. Whatever a slice throws, the build continues in the next turn. The derived class keeps its
///     place, so that nothing is done twice or left out.
///  3. Slices do not nest: one that is asked for while another runs does nothing.
///  4. A slice does at least one step, however short it is.
class ROUTEPOLICY_EXPORT SlicedBuild {
 public:
  /// The time that a slice may take, in seconds, at first.
  static constexpr double kClockQuantum = 0.01;

  SlicedBuild(SlicedBuild const&) = delete;
  SlicedBuild& operator=(SlicedBuild const&) = delete;

  /// The clock that calls back, and when it is to. The clock is not null.
  Orb::Ptr<Orb::Clock> const& clock() const noexcept { return timer_.clock(); }
  void clockIs(Orb::Ptr<Orb::Clock> clock) { timer_.clockIs(std::move(clock)); }
  double timeMin() const noexcept { return timer_.timeMin(); }
  /// Seconds of work for each slice.
  double clockQuantum() const noexcept { return clockQuantum_; }
  void clockQuantumIs(double seconds) noexcept { clockQuantum_ = seconds; }
  /// Whether a build is in progress.
  bool isBuilding() const noexcept { return isBuilding_; }

  /// One time slice; returns the number of steps that it took.
  Orb::U64 processClock();

 protected:
  class Slice;

  /// `owner` is the object that this is a part of.
  explicit SlicedBuild(Orb::RefCounted& owner) noexcept : owner_(owner) {}
  virtual ~SlicedBuild();

  /// Starts a build; the derived class has dropped the last one, and set its place, before.
  void begin();
  /// Ends the build, and drops it.
  void stop() noexcept;
  /// Of the build; another one after every begin() and stop().
  Orb::U64 number() const noexcept { return number_; }

  /// Drops what is under construction, and forgets the place.
  virtual void drop() noexcept = 0;

 private:
  void onTime();
  /// Does the work of one slice, and counts its steps. Calls stop() when nothing is left to do.
  virtual void runSlice(Orb::U64& count) = 0;

  Orb::RefCounted& owner_;
  Orb::ClockRelay<&SlicedBuild::onTime> timer_{*this, nullptr};
  double clockQuantum_ = kClockQuantum;
  Orb::U64 number_ = 0;
  bool isBuilding_ = false;
  bool inSlice_ = false;
};

/// The time of one slice of a build, which begins when this is made.
class SlicedBuild::Slice {
 public:
  explicit Slice(SlicedBuild const& build)
      : build_(build),
        number_(build.number_),
        clock_(build.clock()),
        deadline_(clock_->now() + build.clockQuantum_) {}

  /// Whether the build is over that this is a slice of.
  bool isOver() const noexcept { return build_.number_ != number_; }
  /// Whether the time is used up; looks at the clock, which may end the build.
  bool isSpent() const { return clock_->now() >= deadline_; }

 private:
  SlicedBuild const& build_;
  Orb::U64 const number_;
  Orb::Ptr<Orb::Clock> const clock_;
  double const deadline_;
};

}  // namespace Routing::RouteMap
