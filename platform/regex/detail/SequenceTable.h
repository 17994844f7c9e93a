#pragma once

#include <algorithm>
#include <memory_resource>
#include <span>
#include <vector>

#include "platform/orb/base/Types.h"

namespace Routing::AsPath::detail {

/// Numbers sequences of 32-bit values, equal ones alike: 0, 1, 2 and so on as they come. A few are
/// compared one by one; more of them are found by their hashes.
class SequenceTable {
 public:
  explicit SequenceTable(std::pmr::memory_resource* memory)
      : values_(memory), ends_(memory), hashes_(memory), slots_(memory) {}

  struct Result {
    Orb::U32 id;
    bool isNew;
  };

  Result add(std::span<Orb::U32 const> sequence) {
    if (ends_.size() < kFew) {
      for (Orb::U32 id = 0; id < ends_.size(); ++id) {
        if (isEqual(id, sequence)) return {id, false};
      }
      return {append(sequence), true};
    }
    if (slots_.empty()) {
      for (Orb::U32 id = 0; id < kFew; ++id) hashes_.push_back(hashOf((*this)[id]));
    }
    if (2 * ends_.size() >= slots_.size()) {
      slots_.assign(std::max<std::size_t>(64, 2 * slots_.size()), kFree);
      for (Orb::U32 id = 0; id < ends_.size(); ++id) place(id);
    }
    Orb::U64 const hash = hashOf(sequence);
    std::size_t slot = hash & (slots_.size() - 1);
    for (; slots_[slot] != kFree; slot = (slot + 1) & (slots_.size() - 1)) {
      if (hashes_[slots_[slot]] == hash && isEqual(slots_[slot], sequence)) {
        return {slots_[slot], false};
      }
    }
    hashes_.push_back(hash);
    slots_[slot] = append(sequence);
    return {slots_[slot], true};
  }

  std::size_t size() const noexcept { return ends_.size(); }
  /// Good until the next addition.
  std::span<Orb::U32 const> operator[](Orb::U32 id) const {
    std::size_t const begin = id == 0 ? 0 : ends_[id - 1];
    return {values_.data() + begin, ends_[id] - begin};
  }
  std::size_t values() const noexcept { return values_.size(); }

 private:
  static constexpr Orb::U32 kFree = ~Orb::U32{0};
  static constexpr std::size_t kFew = 8;

  bool isEqual(Orb::U32 id, std::span<Orb::U32 const> sequence) const {
    auto const mine = (*this)[id];
    return mine.size() == sequence.size() && std::equal(mine.begin(), mine.end(), sequence.begin());
  }

  static Orb::U64 hashOf(std::span<Orb::U32 const> sequence) {
    Orb::U64 hash = sequence.size();
    for (Orb::U32 const value : sequence) {
      hash = (hash ^ value) * 0x9e3779b97f4a7c15;
      hash ^= hash >> 29;
    }
    return hash;
  }

  Orb::U32 append(std::span<Orb::U32 const> sequence) {
    if (ends_.empty()) {
      ends_.reserve(kFew);
      values_.reserve(kFew * std::max<std::size_t>(4, sequence.size()));
    }
    values_.insert(values_.end(), sequence.begin(), sequence.end());
    ends_.push_back(values_.size());
    return static_cast<Orb::U32>(ends_.size() - 1);
  }

  void place(Orb::U32 id) {
    std::size_t slot = hashes_[id] & (slots_.size() - 1);
    while (slots_[slot] != kFree) slot = (slot + 1) & (slots_.size() - 1);
    slots_[slot] = id;
  }

  std::pmr::vector<Orb::U32> values_;
  std::pmr::vector<std::size_t> ends_;
  std::pmr::vector<Orb::U64> hashes_;
  std::pmr::vector<Orb::U32> slots_;
};

}  // namespace Routing::AsPath::detail
