#pragma once

#include <atomic>

#include "platform/orb/base/Ptr.h"

namespace Routing::RouteMap::detail {

/// A shared object that is attached, once, to what other threads read already: they see it whole
/// or not at all. What they see stays as long as its holder.
template <class T>
class AttachedLater {
 public:
  AttachedLater() = default;
  AttachedLater(AttachedLater const&) = delete;
  AttachedLater& operator=(AttachedLater const&) = delete;
  ~AttachedLater() { drop(); }

  T const* get() const noexcept { return object_.load(std::memory_order_acquire); }
  /// Does nothing for a null, and where there is an object already.
  void attach(Orb::Ptr<T const> object) noexcept {
    T const* none = nullptr;
    if (object_.compare_exchange_strong(none, object.get(), std::memory_order_release,
                                        std::memory_order_relaxed)) {
      static_cast<void>(object.release());
    }
  }
  /// REQUIRES: nobody else reads.
  void drop() noexcept { static_cast<void>(Orb::Ptr<T const>::adopt(object_.exchange(nullptr))); }

 private:
  std::atomic<T const*> object_{nullptr};
};

}  // namespace Routing::RouteMap::detail
