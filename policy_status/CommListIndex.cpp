#include "policy_status/CommListIndex.h"

#include <algorithm>
#include <new>

#include "policy_config/CommunityText.h"
#include "policy_status/CommListStatus.h"

namespace Routing::RouteMap {

namespace {

// What is done between two looks at the clock: so many entries or values, which cost a few cache
// misses each, or so many slots.
constexpr std::size_t kStep = 256;
constexpr std::size_t kSlotsAStep = 4096;

/// Whether all of `values` are among `others`; both ascend, and may hold a value twice.
bool areAmong(std::span<Acl::CommunityValue const> values,
              std::span<Acl::CommunityValue const> others) noexcept {
  auto at = others.begin();
  for (Acl::CommunityValue const& value : values) {
    at = std::lower_bound(at, others.end(), value);
    if (at == others.end() || !(*at == value)) return false;
  }
  return true;
}

}  // namespace

auto CommListIndex::valuesOf(Orb::U32 i) const noexcept -> Values {
  Orb::U32 const from = entries_[i].values;
  return Values(values_).subspan(from, entries_[i + 1].values - from);
}

bool CommListIndex::isMatch(Orb::U32 i, Values values, bool isExact) const noexcept {
  Values const wanted = valuesOf(i);
  return wanted.size() <= values.size() && areAmong(wanted, values) &&
         (!isExact || areAmong(values, wanted));
}

/// A short list is gone through, which is quicker than to look all values up.
Acl::CommunityListEntry const* CommListIndex::firstExplicit(Values values,
                                                            bool isExact) const noexcept {
  auto const count = static_cast<Orb::U32>(entries_.size() - 1);
  Orb::U32 first = count;
  if (count <= values.size()) {
    for (first = 0; first < count && !isMatch(first, values, isExact);) ++first;
  } else {
    if (!isExact || values.empty()) first = std::min(count, withoutValues_);
    for (Acl::CommunityValue const& value : values) {
      Orb::U32 i = first_.find(value) - 1;
      while (i < first && !isMatch(i, values, isExact)) i = entries_[i].next;
      first = std::min(first, i);
    }
  }
  return entries_[first].entry;
}

std::size_t CommListIndex::bytes() const noexcept {
  return sizeof *this + entries_.capacity() * sizeof(Explicit) +
         values_.capacity() * sizeof(Acl::CommunityValue) + first_.bytes() +
         expanded_.capacity() * sizeof(Expanded);
}

/// What there is to store is counted first, so that all memory can be taken at once. Then the
/// entries are copied, while it is counted in how many of them each value occurs. Then they are
/// filed, from the last to the first, each in front of its chain.
class CommListIndexBuilder::Steps {
 public:
  explicit Steps(Orb::Ptr<CommListStatus const> status)
      : status_(std::move(status)), entry_(status_->communityListEntry().begin()) {}

  bool isDone() const noexcept { return phase_ == Phase::done; }
  /// REQUIRES: not done.
  void step() {
    if (stepOfPhase()) phase_ = Phase(static_cast<int>(phase_) + 1);
  }
  Orb::Ptr<CommListIndex const> index() const noexcept { return index_; }

 private:
  using Entries = CommListStatus::communityListEntryObject::Items;
  using Values = Acl::CommunityListEntry::communityObject::Items;
  enum class Phase { count, grow, copy, file, done };
  static constexpr std::default_sentinel_t kEnd{};

  /// Whether it was the last one of the phase. So it is with each of those below.
  bool stepOfPhase() {
    switch (phase_) {
      case Phase::count:
        return count();
      case Phase::grow:
        return grow();
      case Phase::copy:
        return copy();
      case Phase::file:
        return file();
      case Phase::done:
        break;
    }
    return false;
  }

  bool count() {
    for (std::size_t left = kStep; left > 0 && entry_ != kEnd; --left, ++entry_) {
      Acl::CommunityListEntry const& entry = **entry_;
      if (Acl::isExpanded(entry.listType())) {
        ++expandedCount_;
      } else {
        valueCount_ += entry.community().size();
      }
    }
    if (entry_ != kEnd) return false;
    reserve();
    entry_ = status_->communityListEntry().begin();
    return true;
  }
  void reserve() {
    if (valueCount_ >= CommListIndex::kNone) throw std::bad_alloc();
    std::size_t const explicitCount = status_->communityListEntry().size() - expandedCount_;
    index_->entries_.reserve(explicitCount + 1);
    index_->values_.reserve(valueCount_);
    index_->expanded_.reserve(expandedCount_);
    index_->first_.reserve(explicitCount);
    occurrences_.reserve(valueCount_);
  }

  bool grow() {
    bool const isGrown = index_->first_.grow(kSlotsAStep);
    return occurrences_.grow(kSlotsAStep) && isGrown;
  }

  bool copy() {
    for (std::size_t left = kStep; left > 0 && entry_ != kEnd; --left) {
      if (!isOpen_) open(**entry_);
      if (isOpen_ && value_ != kEnd) {
        ++occurrences_.at(value_->key);
        index_->values_.push_back(value_->key);
        ++value_;
      } else {
        isOpen_ = false;
        ++entry_;
      }
    }
    if (entry_ != kEnd) return false;
    left_ = static_cast<Orb::U32>(index_->entries_.size());
    index_->entries_.push_back({nullptr, valuesSoFar(), CommListIndex::kNone});
    return true;
  }
  /// Copies all of an entry but its values.
  void open(Acl::CommunityListEntry const& entry) {
    if (Acl::isExpanded(entry.listType())) {
      auto const* const engine = status_->regexMap().find(entry.seqno());
      if (!engine || !(*engine)->compiled()) return;
      index_->expanded_.push_back({entry.seqno(), engine->get(), &entry});
    } else {
      index_->entries_.push_back({&entry, valuesSoFar(), CommListIndex::kNone});
      value_ = entry.community().begin();
      isOpen_ = true;
    }
  }
  Orb::U32 valuesSoFar() const noexcept { return static_cast<Orb::U32>(index_->values_.size()); }

  bool file() {
    for (std::size_t left = kStep; left > 0 && left_ > 0; --left) {
      auto const values = index_->valuesOf(left_ - 1);
      if (looked_ == values.size()) {
        put(left_ - 1, values);
        --left_;
        looked_ = 0;
        fewest_ = CommListIndex::kNone;
        continue;
      }
      Orb::U32 const entries = occurrences_.find(values[looked_]);
      if (entries < fewest_) {
        fewest_ = entries;
        rarest_ = looked_;
      }
      ++looked_;
    }
    return left_ == 0;
  }
  void put(Orb::U32 i, std::span<Acl::CommunityValue const> values) {
    if (values.empty()) {
      index_->withoutValues_ = i;
    } else {
      Orb::U32& first = index_->first_.at(values[rarest_]);
      index_->entries_[i].next = first - 1;
      first = i + 1;
    }
  }

  Orb::Ptr<CommListStatus const> const status_;
  Orb::Ptr<CommListIndex> const index_ = Orb::make<CommListIndex>();
  Phase phase_ = Phase::count;
  Entries::Iterator entry_;
  std::size_t expandedCount_ = 0;
  std::size_t valueCount_ = 0;
  detail::ValueTable occurrences_;  // by value, in how many entries it is
  bool isOpen_ = false;             // the values of *entry_ are being copied
  Values::Iterator value_;
  // Of the entries that are to be filed, the last one is being looked at.
  Orb::U32 left_ = 0;
  std::size_t looked_ = 0;  // of its values
  std::size_t rarest_ = 0;  // of these
  Orb::U32 fewest_ = CommListIndex::kNone;
};

CommListIndexBuilder::CommListIndexBuilder(Orb::Ptr<CommListStatus const> status)
    : steps_(std::make_unique<Steps>(std::move(status))) {}
CommListIndexBuilder::~CommListIndexBuilder() = default;

bool CommListIndexBuilder::work(Orb::FunctionRef<bool()> isSpent) {
  while (steps_ && !steps_->isDone()) {
    steps_->step();
    if (!steps_->isDone() && isSpent()) return false;
  }
  return true;
}

Orb::Ptr<CommListIndex const> CommListIndexBuilder::take() {
  if (!steps_ || !steps_->isDone()) return nullptr;
  return std::exchange(steps_, nullptr)->index();
}

}  // namespace Routing::RouteMap
