#include "policy_sm/SlicedBuild.h"

#include "platform/orb/model/NotifieeList.h"

namespace Routing::RouteMap {

SlicedBuild::~SlicedBuild() = default;

Orb::U64 SlicedBuild::processClock() {
  if (inSlice_) return 0;
  Orb::Ptr<Orb::RefCounted> const alive(&owner_);
  Orb::FirstError error;
  Orb::U64 count = 0;
  inSlice_ = true;
  error.guard([&] { runSlice(count); });
  inSlice_ = false;
  if (isBuilding_) timer_.timeMinIs(Orb::Clock::kNextTurn);  // it paused, began anew or threw
  error.rethrow();
  return count;
}

// The timer comes last: when it is armed the clock reads its time source, which may do anything.
void SlicedBuild::begin() {
  ++number_;
  isBuilding_ = true;
  timer_.timeMinIs(Orb::Clock::kNextTurn);
}

void SlicedBuild::stop() noexcept {
  ++number_;
  isBuilding_ = false;
  timer_.timeMinIs(Orb::Clock::kNever);
  drop();
}

void SlicedBuild::onTime() {
  // The time source, which is called when the timer is armed, may have ended the build meanwhile.
  if (isBuilding_) processClock();
}

}  // namespace Routing::RouteMap
