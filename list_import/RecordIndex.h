#pragma once

#include <cstddef>
#include <vector>

#include "platform/orb/base/Types.h"

namespace Acl {

/// A hash table of record numbers: the records themselves, and so the keys, lie elsewhere, in an
/// array that the caller keeps. Eight bytes a slot, no allocation for each member.
///
///  1. Slots are a power of two, at most half of them taken; a search starts at the slot of the
///     hash's low bits and continues, around the end, until it finds a free one.
///  2. No free slot lies between a member's first slot and its own: an erasure closes the gap.
///  3. A slot keeps its member's hash, so that growing and searching touch few records.
class RecordIndex {
 public:
  using Record = Orb::U32;
  using Position = std::size_t;
  /// No record has this number.
  static constexpr Record kNone = 0xffffffff;

  Position end() const noexcept { return slots_.size(); }
  std::size_t size() const noexcept { return size_; }
  /// The record at a position that find() gave.
  Record operator[](Position place) const noexcept { return slots_[place].record; }

  /// The position of the member with this hash for which isSame(record) holds, or end(). Good until
  /// a member comes or goes.
  template <class IsSame>
  Position find(Orb::U32 hash, IsSame const& isSame) const {
    if (size_ == 0) return end();
    for (Position i = hash & mask();; i = (i + 1) & mask()) {
      Slot const& slot = slots_[i];
      if (slot.record == kNone) return end();
      if (slot.hash == hash && isSame(slot.record)) return i;
    }
  }

  /// Makes room for one more member: the next insert() takes no memory.
  void reserveOne() {
    if (2 * (size_ + 1) > slots_.size()) grow();
  }

  /// REQUIRES: no member has the record's key.
  void insert(Orb::U32 hash, Record record) {
    reserveOne();
    put({hash, record});
    ++size_;
  }

  /// Puts a record with the same key in the place of another.
  void replace(Position place, Record record) noexcept { slots_[place].record = record; }

  void erase(Position place) noexcept {
    Position gap = place;
    for (Position i = (gap + 1) & mask(); slots_[i].record != kNone; i = (i + 1) & mask()) {
      Position const first = slots_[i].hash & mask();
      if (((i - first) & mask()) < ((i - gap) & mask())) continue;  // starts behind the gap
      slots_[gap] = slots_[i];
      gap = i;
    }
    slots_[gap] = Slot();
    --size_;
  }

 private:
  struct Slot {
    Orb::U32 hash = 0;
    Record record = kNone;
  };

  Position mask() const noexcept { return slots_.size() - 1; }

  void put(Slot slot) noexcept {
    Position i = slot.hash & mask();
    while (slots_[i].record != kNone) i = (i + 1) & mask();
    slots_[i] = slot;
  }

  void grow() {
    std::vector<Slot> old(slots_.empty() ? 16 : 2 * slots_.size());
    old.swap(slots_);
    for (Slot const& slot : old) {
      if (slot.record != kNone) put(slot);
    }
  }

  std::vector<Slot> slots_;
  std::size_t size_ = 0;
};

}  // namespace Acl
