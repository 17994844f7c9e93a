#include "policy_status/PrefixListEntryData.h"

#include <new>

#include "platform/orb/base/Error.h"
#include "platform/orb/loop/Reaper.h"
#include "policy_status/detail/ChainIndex.h"
#include "policy_status/detail/Trace.h"

namespace Routing::RouteMap {

namespace {

constexpr char kInsertData[] =
    "virtual Routing::PrefixData::Ptr "
    "Routing::RouteMap::PrefixListEntryData::insertData(const Ptr&)";
constexpr char kRemoveData[] =
    "virtual Routing::PrefixData::Ptr "
    "Routing::RouteMap::PrefixListEntryData::removeData(const Ptr&)";

/// The rest of a chain that is too long to be freed at once.
class ChainGarbage final : public Orb::Garbage {
 public:
  explicit ChainGarbage(Orb::Ptr<PrefixListEntryData> rest) : rest_(std::move(rest)) {}
  ~ChainGarbage() override {
    while (rest_) ChainGarbage::freeSome(1);
  }
  bool freeSome(std::size_t count) override {
    for (; rest_ && count > 0; --count) rest_ = Orb::Ptr(rest_->nextEntryData());
    return rest_ != nullptr;
  }

 private:
  Orb::Ptr<PrefixListEntryData> rest_;
};

/// False, with the rest as it was, when there is no memory to note it down.
bool leaveToReaper(Orb::Ptr<PrefixListEntryData>& rest) noexcept {
  try {
    auto garbage = std::make_unique<ChainGarbage>(rest);
    rest = nullptr;
    Orb::reap(std::move(garbage));
  } catch (std::bad_alloc const&) {  // what the reaper cannot take is freed here, at once
  }
  return !rest;
}

/// Gives a chain its index; without one, when there is no memory, it is slower.
void tryToIndex(PrefixListEntryData& head) noexcept {
  try {
    detail::ChainIndex::make(head);
  } catch (std::bad_alloc const&) {
  }
}

}  // namespace

PrefixListEntryData::PrefixListEntryData(GenPrefixEntry const& entry) noexcept
    : seqno_(entry.seqno()),
      high_(entry.prefix().high()),
      low_(entry.prefix().low()),
      length_(static_cast<Orb::U8>(entry.prefix().length())),
      isIpv4_(entry.prefix().family() == Ipa::ipv4),
      permit_(entry.permit() == Acl::permitMatch),
      ge_(entry.ge()),
      le_(entry.le()),
      eq_(entry.eq()) {}

PrefixListEntryData::~PrefixListEntryData() {
  detail::ChainIndex::drop(*this);
  // The entries go one after the other, not one inside the other; all but a few of them in slices.
  constexpr int kAtOnce = 16;
  auto rest = std::exchange(nextEntryData_, nullptr);
  for (int i = 0; rest && rest->refCount() == 1; ++i) {
    if (i == kAtOnce && leaveToReaper(rest)) return;
    rest = std::exchange(rest->nextEntryData_, nullptr);
  }
}

GenPrefixEntry PrefixListEntryData::data() const {
  Ipa::IpGenPrefix prefix;
  if (isIpv4_) {
    prefix = Ipa::Prefix(Ipa::IpAddr(static_cast<Orb::U32>(high_ >> 32)), length_);
  } else {
    auto const* const index = detail::ChainIndex::of(*this);
    prefix = Ipa::Ip6Prefix(Ipa::Ip6Addr(high_, index ? index->low() : low_), length_);
  }
  return GenPrefixEntry::of(seqno_, prefix, permit_ ? Acl::permitMatch : Acl::denyMatch, ge_, le_,
                            eq_);
}

Orb::U64 PrefixListEntryData::summary() const noexcept {
  return EntrySummary(seqno_, eq_ ? eq_ : ge_, eq_ ? eq_ : le_, permit_, bool(nextEntryData_))
      .packed();
}

PrefixListEntryData const* PrefixListEntryData::firstBehind(Orb::U32 length,
                                                            Orb::U64 seqno) const noexcept {
  PrefixListEntryData const* entry = nextEntryData_.get();
  if (auto const* const index = detail::ChainIndex::of(*this)) {
    entry = index->first(length);
    return entry && entry->seqno_ < seqno ? entry : nullptr;
  }
  for (; entry && entry->seqno_ < seqno; entry = entry->nextEntryData_.get()) {
    if (entry->matchesLength(length)) return entry;
  }
  return nullptr;
}

Routing::PrefixData::Ptr PrefixListEntryData::insertData(
    Orb::Ptr<Routing::PrefixData> const& data) {
  ORB_ASSERT(data);
  Orb::Ptr<PrefixListEntryData> const added = static_cast<PrefixListEntryData*>(data.get());
  ORB_TRACE(traceStatusType(), 6, kInsertData << " inserting " << added->data());
  using detail::ChainIndex;
  if (seqno_ > added->seqno_) {
    added->nextEntryData_ = this;
    if (ChainIndex* const index = ChainIndex::of(*this)) {
      ChainIndex::move(*this, *added);
      index->add(*this);  // no entry behind the new head comes before the old one
    }
    return added;
  }
  PrefixListEntryData* at = this;
  ChainIndex* const index = ChainIndex::of(*this);
  std::size_t walked = 0;
  if (index && index->tail()->seqno_ < added->seqno_) {
    at = index->tail();
  } else {
    for (; at->nextEntryData_ && added->seqno_ > at->nextEntryData_->seqno_; ++walked) {
      at = at->nextEntryData_.get();
    }
  }
  added->nextEntryData_ = std::move(at->nextEntryData_);
  at->nextEntryData_ = added;
  if (index) {
    index->add(*added);
  } else if (walked > ChainIndex::kWorthwhile) {
    tryToIndex(*this);
  }
  return this;
}

Routing::PrefixData::Ptr PrefixListEntryData::removeData(
    Orb::Ptr<Routing::PrefixData> const& data) {
  if (!data) return nullptr;
  auto const& removed = static_cast<PrefixListEntryData const&>(*data);
  ORB_TRACE(traceStatusType(), 6, kRemoveData << " removing " << removed.data());
  using detail::ChainIndex;
  if (seqno_ == removed.seqno_) {
    if (ChainIndex::of(*this) && nextEntryData_ && nextEntryData_->nextEntryData_) {
      ChainIndex::move(*this, *nextEntryData_);
      ChainIndex::of(*nextEntryData_)->fill(*nextEntryData_);
    } else {
      ChainIndex::drop(*this);
    }
    return nextEntryData_;
  }
  for (PrefixListEntryData* at = this; at->nextEntryData_; at = at->nextEntryData_.get()) {
    if (at->nextEntryData_->seqno_ == removed.seqno_) {
      at->nextEntryData_ = Orb::Ptr(at->nextEntryData_->nextEntryData_);
      if (!nextEntryData_) {
        ChainIndex::drop(*this);
      } else if (ChainIndex* const index = ChainIndex::of(*this)) {
        index->fill(*this);
      }
      return this;
    }
  }
  ORB_TRACE(traceStatusType(), 6,
            kRemoveData << "no element with seq: " << removed.seqno_ << " in the list");
  return this;
}

Orb::Ptr<PrefixListEntryData> prefixListEntryDataFactory(GenPrefixEntry const& entry) {
  return Orb::make<PrefixListEntryData>(entry);
}

}  // namespace Routing::RouteMap
