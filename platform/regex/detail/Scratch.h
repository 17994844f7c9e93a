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
  /// What lies on the stack, then memory of the heap. An allocation is an addition and a
  /// comparison: compiling a small pattern makes a hundred of them.
  class Resource final : public std::pmr::memory_resource {
    void* do_allocate(std::size_t bytes, std::size_t alignment) override {
      std::size_t const at = (used_ + alignment - 1) & ~(alignment - 1);
      if (bytes > bytes_.size() || at > bytes_.size() - bytes) {
        return more_.allocate(bytes, alignment);
      }
      used_ = at + bytes;
      return bytes_.data() + at;
    }
    void do_deallocate(void* /*block*/, std::size_t /*bytes*/, std::size_t /*alignment*/) override {
    }
    bool do_is_equal(memory_resource const& other) const noexcept override {
      return this == &other;
    }

    std::size_t used_ = 0;
    alignas(std::max_align_t) std::array<std::byte, std::size_t{12} * 1024> bytes_;
    std::pmr::monotonic_buffer_resource more_;
  };

  Resource resource_;
};

}  // namespace Routing::AsPath::detail
