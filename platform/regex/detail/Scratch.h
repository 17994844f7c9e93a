#pragma once

#include <array>
#include <cstddef>

#include "platform/regex/detail/NumberSet.h"

namespace Routing::AsPath::detail {

/// Memory for the compilation of one pattern. Most patterns need no more than lies on the stack
/// here; nothing is given back before the end.
class Scratch {
 public:
  Memory memory() noexcept { return &resource_; }

 private:
  alignas(std::max_align_t) std::array<std::byte, std::size_t{12} * 1024> bytes_;
  std::pmr::monotonic_buffer_resource resource_{bytes_.data(), bytes_.size()};
};

}  // namespace Routing::AsPath::detail
