#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <vector>

#include "policy_config/CommunityValue.h"

namespace Routing::RouteMap::detail {

/// Numbers by community value, hashed: open addressing, at most half full. It is made for as many
/// values as it will hold, and grows in steps to that size before the first one comes, so that no
/// step of its making depends on the size. A number is 0 until it is set, at once after at().
class ValueTable {
 public:
  /// Takes the memory for so many values.
  void reserve(std::size_t values) {
    size_ = std::bit_ceil(std::max<std::size_t>(2 * values, 2));
    shift_ = 64 - std::countr_zero(size_);
    slots_.reserve(size_);
  }
  /// Makes some of the slots that were reserved; whether all of them are there.
  bool grow(std::size_t slots) {
    slots_.resize(std::min(slots_.size() + slots, size_));
    return slots_.size() == size_;
  }
  /// The number of a value, which may be set. REQUIRES: grow() is done.
  Orb::U32& at(Acl::CommunityValue const& value) noexcept {
    Slot& slot = slots_[locate(value)];
    slot.value = value;
    return slot.number;
  }
  /// The same, or 0 for a value that is not there.
  Orb::U32 find(Acl::CommunityValue const& value) const noexcept {
    return slots_[locate(value)].number;
  }
  std::size_t bytes() const noexcept { return slots_.capacity() * sizeof(Slot); }

 private:
  struct Slot {
    Acl::CommunityValue value;
    Orb::U32 number = 0;  // nothing is here
  };

  /// Spread in its highest bits.
  static Orb::U64 hash(Acl::CommunityValue const& value) noexcept {
    Orb::U64 bits = Orb::U64{value.part1()} << 32 | value.part2();
    bits ^= value.part0() * Orb::U64{0xd6e8feb86659fd93};
    return (bits ^ bits >> 32) * 0x9e3779b97f4a7c15;
  }
  /// Where a value is, or would be.
  std::size_t locate(Acl::CommunityValue const& value) const noexcept {
    std::size_t i = hash(value) >> shift_;
    while (slots_[i].number != 0 && !(slots_[i].value == value)) i = (i + 1) & (size_ - 1);
    return i;
  }

  std::vector<Slot> slots_;
  std::size_t size_ = 0;  // a power of two, once it is reserved
  int shift_ = 0;         // the hash's highest bits are the slot's number
};

}  // namespace Routing::RouteMap::detail
