#include "platform/orb/base/Ptr.h"

namespace Orb {

bool detail::threadSafeCounts = true;

RefCounted::~RefCounted() = default;

void RefCounted::watchedIs(bool watched) const noexcept {
  if (watched) {
    refs_.fetch_or(kWatched, std::memory_order_acq_rel);
  } else {
    refs_.fetch_and(~kWatched, std::memory_order_acq_rel);
  }
}

void RefCounted::releaseWatched() const noexcept {
  if (dropReference() == 0) destroy();
}

}  // namespace Orb
