#include "platform/regex/detail/Alphabet.h"

#include <algorithm>

namespace Routing::AsPath::detail {

using Orb::U32;
using Orb::U64;

namespace {

/// A set begins or ends in front of a number.
struct Change {
  U64 at;
  U32 set;
};

}  // namespace

Alphabet::Alphabet(std::pmr::vector<NumberSet> const& sets, Budget& budget)
    : starts_(sets.get_allocator()),
      classOf_(sets.get_allocator()),
      members_(sets.get_allocator().resource()),
      setClasses_(sets.get_allocator()),
      setEnds_(sets.get_allocator()) {
  std::pmr::vector<Change> changes(sets.get_allocator());
  std::size_t count = 0;
  for (NumberSet const& set : sets) count += 2 * set.size();
  budget.spend(4 * count);
  changes.reserve(count);
  for (U32 set = 0; set < sets.size(); ++set) {
    for (Interval const& interval : sets[set]) {
      changes.push_back({interval.low, set});
      if (interval.high != kMaxNumber) changes.push_back({U64{interval.high} + 1, set});
    }
  }
  std::sort(changes.begin(), changes.end(), [](auto& a, auto& b) { return a.at < b.at; });

  std::pmr::vector<U32> now(
      sets.get_allocator());  // the sets that hold the current interval, ascending
  for (std::size_t i = 0; i < changes.size() || classOf_.empty();) {
    // A set that ends where another of its intervals begins is in the changes twice: in normal form
    // there is none.
    U64 const start = i < changes.size() && !classOf_.empty() ? changes[i].at : 0;
    for (; i < changes.size() && changes[i].at == start; ++i) {
      auto const place = std::lower_bound(now.begin(), now.end(), changes[i].set);
      if (place != now.end() && *place == changes[i].set) {
        now.erase(place);
      } else {
        now.insert(place, changes[i].set);
      }
    }
    budget.spend(now.size() + 4);
    if (!classOf_.empty()) starts_.push_back(static_cast<U32>(start));
    classOf_.push_back(members_.add(now).id);
  }
  gatherClasses(sets.size());
}

void Alphabet::gatherClasses(std::size_t sets) {
  setEnds_.assign(sets + 1, 0);
  for (U32 one = 0; one < classes(); ++one) {
    for (U32 const set : members_[one]) ++setEnds_[set + 1];
  }
  for (std::size_t i = 1; i < setEnds_.size(); ++i) setEnds_[i] += setEnds_[i - 1];
  setClasses_.resize(members_.values());
  std::pmr::vector<std::size_t> at(setEnds_.begin(), setEnds_.end() - 1, setEnds_.get_allocator());
  for (U32 one = 0; one < classes(); ++one) {
    for (U32 const set : members_[one]) setClasses_[at[set]++] = one;
  }
}

}  // namespace Routing::AsPath::detail
