#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "platform/orb/base/Error.h"
#include "platform/orb/containers/detail/SlotBuckets.h"
#include "platform/orb/containers/detail/SlotRun.h"
#include "platform/orb/loop/Reaper.h"

namespace Orb::detail {

/// Makes sure that one more element can be added, and nothing is thrown then.
template <class T>
void reserveOne(std::vector<T>& all) {
  if (all.size() == all.capacity()) all.reserve(2 * all.size() + 4);
}

/// The slots of a large map, in runs of kRoom. Whatever comes or goes, no more than one run's slots
/// move, and no more than a few buckets change.
///
///  1. The runs are listed in the order of their ids: those of run i are at least starts[i], and
///     less than starts[i + 1]. None is without an item.
///  2. A run has a number as long as it lives; the number of a slot is that of its run times kRoom,
///     and its place in the run. Numbers of runs that are gone are used again.
///  3. Items come to the last run. When that is full a new one follows; but if half of its slots or
///     more are dead, it is packed.
///  4. An erasure that leaves a run below a quarter of its room joins it with a neighbour, if the
///     two leave a quarter free: it then takes many changes to do so again.
///  5. There are twice as many buckets as items, or fewer if memory ran out. Erasures remove
///     buckets only when there are more than four times as many.
template <class Item>
class ManySlots : public SlotBody {
 public:
  using Run = SlotRun<Item>;
  using RunOwner = typename Run::Owner;

  static constexpr U32 kRoom = static_cast<U32>(
      std::clamp(std::bit_floor(65536 / sizeof(Slot<Item>)), std::size_t{16}, std::size_t{2048}));

  /// With memory for so many items: to add them throws nothing of its own.
  explicit ManySlots(std::size_t items) : buckets_(2 * items) {
    bucketBits = kMany;
    while (stock_.size() * kRoom < items) stock_.push_back(Run::make(kRoom));
    runs_.reserve(stock_.size());
    byNumber_.reserve(stock_.size());
  }
  ManySlots(ManySlots const&) = delete;
  ManySlots& operator=(ManySlots const&) = delete;
  ~ManySlots() {
    for (Listed const& listed : runs_) RunOwner{listed.run};
  }

  std::size_t runCount() const noexcept { return runs_.size(); }
  Run* run(std::size_t i) const noexcept { return runs_[i].run; }
  /// The run in which a slot of that id is, or would be. REQUIRES: there are runs.
  std::size_t runOf(U64 id) const noexcept {
    auto const after = std::partition_point(
        runs_.begin() + 1, runs_.end(), [&](Listed const& listed) { return listed.start <= id; });
    return static_cast<std::size_t>(after - runs_.begin()) - 1;
  }

  SlotLink& head(U32 tag) noexcept { return buckets_.head(tag); }
  Slot<Item>& at(SlotLink link) noexcept {
    return byNumber_[(link - 1) / kRoom]->slots()[(link - 1) % kRoom];
  }

  /// Adds an item. Memory that runs out changes nothing.
  template <class Arg>
  Slot<Item>& add(U64 id, U32 tag, Arg&& item) {
    makeRoom(id);
    Run& run = *runs_.back().run;
    Slot<Item>& slot = run.add(id, tag, std::forward<Arg>(item));
    slot.next = std::exchange(buckets_.head(tag), linkTo(run, slot));
    ++live;
    if (buckets_.count() + SlotBuckets::kBatch <= std::size_t{2} * live) buckets_.split(slotAt());
    return slot;
  }

  /// Takes the item out that the link refers to.
  Item take(SlotLink& link) noexcept {
    Run& run = *byNumber_[(link - 1) / kRoom];
    Slot<Item>& slot = at(link);
    link = slot.next;
    Item taken = run.take(slot);
    --live;
    if (run.live < kRoom / 4 && run.live % (kRoom / 16) == 0) tidy(runOf(slot.id));
    std::size_t const most = std::max(std::size_t{4} * live, SlotBuckets::kLeast);
    if (buckets_.count() >= most + SlotBuckets::kBatch) buckets_.join(slotAt());
    if (live % kSettled == 0) detail::settleHeap();
    return taken;
  }

  /// Frees some of the memory as Garbage does. REQUIRES: nothing else is called from then on.
  bool freeSome(std::size_t count) noexcept {
    while (count > 0 && !runs_.empty()) {
      Run* const last = runs_.back().run;
      if constexpr (std::is_trivially_destructible_v<Item>) {
        --count;  // the run is all there is to free
      } else {
        std::size_t const dropped = std::min<std::size_t>(count, last->live);
        last->dropSome(dropped);
        count -= dropped;
        if (last->live > 0) break;
      }
      runs_.pop_back();
      RunOwner{last};
    }
    for (; count > 0; --count) {
      if (!buckets_.freeSome()) return false;
    }
    return true;
  }

 private:
  static constexpr U32 kSettled = 256;  // erasures, after which the allocator tidies up

  struct Listed {
    U64 start;
    Run* run;
  };

  auto slotAt() noexcept {
    return [this](SlotLink link) -> Slot<Item>& { return at(link); };
  }
  SlotLink linkTo(Run& run, Slot<Item>& slot) noexcept {
    return run.number * kRoom + static_cast<SlotLink>(&slot - run.slots()) + 1;
  }

  void makeRoom(U64 id) {
    Run* const last = runs_.empty() ? nullptr : runs_.back().run;
    if (!last || (last->used == kRoom && last->live > kRoom / 2)) {
      addRun(id);
    } else if (last->used == kRoom) {
      pack(*last);
    }
  }
  void addRun(U64 start) {
    reserveOne(runs_);
    reserveOne(byNumber_);
    RunOwner run = stock_.empty() ? Run::make(kRoom) : std::move(stock_.back());
    if (!stock_.empty()) stock_.pop_back();
    auto unused = byNumber_.end();
    if (runs_.size() < byNumber_.size()) {
      unused = std::find(byNumber_.begin(), byNumber_.end(), nullptr);
    }
    run->number = static_cast<U32>(unused - byNumber_.begin());
    unused == byNumber_.end() ? byNumber_.push_back(run.get()) : void(*unused = run.get());
    runs_.push_back({start, run.release()});
  }
  void removeRun(std::size_t i) noexcept {
    RunOwner const run(runs_[i].run);
    byNumber_[run->number] = nullptr;
    runs_.erase(runs_.begin() + static_cast<std::ptrdiff_t>(i));
  }

  /// Removes run i if it is empty; joins it with a neighbour if there is little in it.
  void tidy(std::size_t i) noexcept {
    if (run(i)->live == 0) return removeRun(i);
    if (i + 1 < runCount() && joins(i)) return;
    if (i > 0) joins(i - 1);
  }
  /// Moves the next run's items to run i, if that leaves a quarter of it free.
  bool joins(std::size_t i) noexcept {
    Run& left = *run(i);
    Run& right = *run(i + 1);
    if (left.live + right.live > kRoom - kRoom / 4) return false;
    pack(left);
    for (Slot<Item>* slot = right.slots(); slot != right.end(); ++slot) {
      if (!slot->live()) continue;
      move(right, *slot, left, *left.end());
      ++left.used;
      ++left.live;
    }
    right.live = 0;
    removeRun(i + 1);
    return true;
  }
  /// Moves the items of a run together, to its beginning.
  void pack(Run& run) noexcept {
    if (run.used == run.live) return;
    Slot<Item>* to = run.slots();
    for (Slot<Item>* slot = to; slot != run.end(); ++slot) {
      if (!slot->live()) continue;
      if (slot != to) move(run, *slot, run, *to);
      ++to;
    }
    run.used = run.live;
    run.first = 0;
  }
  void move(Run& from, Slot<Item>& slot, Run& to, Slot<Item>& place) noexcept {
    SlotLink* link = &buckets_.head(slot.tag);
    while (*link != linkTo(from, slot)) link = &at(*link).next;
    ::new (&place) Slot<Item>(slot.id, slot.tag);
    std::construct_at(&place.item, std::move(slot.item));
    place.next = slot.next;
    *link = linkTo(to, place);
    std::destroy_at(&slot.item);
    slot.next = Slot<Item>::kDead;
  }

  std::vector<Listed> runs_;
  std::vector<Run*> byNumber_;  // null: not used
  std::vector<RunOwner> stock_;
  SlotBuckets buckets_;
};

}  // namespace Orb::detail
