#include "policy_status/PrefixListEntryData.h"

#include "platform/orb/Error.h"
#include "policy_status/detail/Trace.h"

namespace Routing::RouteMap {

namespace {

constexpr char kInsertData[] =
    "virtual Routing::PrefixData::Ptr "
    "Routing::RouteMap::PrefixListEntryData::insertData(const Ptr&)";
constexpr char kRemoveData[] =
    "virtual Routing::PrefixData::Ptr "
    "Routing::RouteMap::PrefixListEntryData::removeData(const Ptr&)";

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
  // A chain may be long: its rules go one after the other, not one inside the other.
  auto rest = std::exchange(nextEntryData_, nullptr);
  while (rest && rest->refCount() == 1) rest = std::exchange(rest->nextEntryData_, nullptr);
}

GenPrefixEntry PrefixListEntryData::data() const {
  Ipa::IpGenPrefix prefix;
  if (isIpv4_) {
    prefix = Ipa::Prefix(Ipa::IpAddr(static_cast<Orb::U32>(high_ >> 32)), length_);
  } else {
    prefix = Ipa::Ip6Prefix(Ipa::Ip6Addr(high_, low_), length_);
  }
  return GenPrefixEntry::of(seqno_, prefix, permit_ ? Acl::permitMatch : Acl::denyMatch, ge_, le_,
                            eq_);
}

Orb::U64 PrefixListEntryData::summary() const noexcept {
  return RuleSummary(seqno_, eq_ ? eq_ : ge_, eq_ ? eq_ : le_, permit_, bool(nextEntryData_))
      .packed();
}

Routing::PrefixData::Ptr PrefixListEntryData::insertData(
    Orb::Ptr<Routing::PrefixData> const& data) {
  ORB_ASSERT(data);
  Orb::Ptr<PrefixListEntryData> const added = static_cast<PrefixListEntryData*>(data.get());
  ORB_TRACE(traceStatusType(), 6, kInsertData << " inserting " << added->data());
  if (seqno_ > added->seqno_) {
    added->nextEntryData_ = this;
    return added;
  }
  PrefixListEntryData* at = this;
  while (at->nextEntryData_ && added->seqno_ > at->nextEntryData_->seqno_) {
    at = at->nextEntryData_.get();
  }
  added->nextEntryData_ = std::move(at->nextEntryData_);
  at->nextEntryData_ = added;
  return this;
}

Routing::PrefixData::Ptr PrefixListEntryData::removeData(
    Orb::Ptr<Routing::PrefixData> const& data) {
  if (!data) return nullptr;
  auto const& removed = static_cast<PrefixListEntryData const&>(*data);
  ORB_TRACE(traceStatusType(), 6, kRemoveData << " removing " << removed.data());
  if (seqno_ == removed.seqno_) return nextEntryData_;
  for (PrefixListEntryData* at = this; at->nextEntryData_; at = at->nextEntryData_.get()) {
    if (at->nextEntryData_->seqno_ == removed.seqno_) {
      at->nextEntryData_ = Orb::Ptr(at->nextEntryData_->nextEntryData_);
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
