#pragma once

#include <cstddef>
#include <memory>
#include <utility>

#include "platform/orb/loop/Reaper.h"

/// How the containers let go of their contents: what is large is freed in slices.
namespace Orb::detail {

/// From this many items on, contents go to the reaper.
inline constexpr std::size_t kReapedSize = 16384;

/// Contents that wait for the reaper. They are movable, free everything when they are destroyed,
/// and have `bool freeSome(count)` as Garbage has it.
template <class Contents>
class ReapedContents final : public Garbage {
 public:
  explicit ReapedContents(Contents&& contents) noexcept : contents_(std::move(contents)) {}
  bool freeSome(std::size_t count) override { return contents_.freeSome(count); }

 private:
  Contents contents_;
};

/// Frees contents of `size` items: at once, or later on the event loop when they are large.
template <class Contents>
void release(Contents contents, std::size_t size) noexcept {
  if (size < kReapedSize) return;
  try {
    reap(std::make_unique<ReapedContents<Contents>>(std::move(contents)));
  } catch (...) {
    // No memory left to put it off: whoever holds the contents frees them on the way here.
  }
}

}  // namespace Orb::detail
