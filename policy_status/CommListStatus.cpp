#include "policy_status/CommListStatus.h"

#include "platform/regex/PosixBounds.h"
#include "policy_status/detail/Trace.h"

namespace Routing::RouteMap {

struct CommListStatus::CommVector final : Orb::RefCounted {
  std::vector<Acl::CommunityValue> values;
};

ORB_ENTITY_TYPE(CommListStatus);

CommListStatus::CommListStatus(Orb::String name) : name_(std::move(name)) {}

void CommListStatus::commIs(Acl::CommunityValue const& value) {
  if (comm_ && comm_->refCount() == 1) return comm_->values.push_back(value);
  auto own = Orb::make<CommVector>();
  if (comm_) own->values = comm_->values;
  own->values.push_back(value);
  comm_ = std::move(own);
}

void CommListStatus::commDelAll() noexcept { comm_ = nullptr; }

std::vector<Acl::CommunityValue> const* CommListStatus::commVectorRawPtr() const noexcept {
  static std::vector<Acl::CommunityValue> const none;
  return comm_ ? &comm_->values : &none;
}

Orb::Ptr<CommListSnapshot> CommListStatus::commSnapshot() const {
  auto snapshot = commListSnapshotFactory();
  for (Acl::CommunityValue const& value : *commVectorRawPtr()) snapshot->commIs(value, true);
  return snapshot;
}

// By value: a trace sink may change the entry that the text is of.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void CommListStatus::regexAdd(Orb::U32 seqno, Orb::String regexStr) {
  static constexpr char const* kFunction =
      "void Routing::RouteMap::CommListStatus::regexAdd(U32, Orb::String)";
  ORB_TRACE(traceStatusType(), 8,
            kFunction << " seqno " << seqno << ", regex '" << regexStr << "'");
  // compile() would stop at a NUL, and what stands in front of it may match more.
  bool const hasNul = regexStr.view().find('\0') != std::string_view::npos;
  bool const isRefused = hasNul || !AsPath::isWithinPosixBounds(regexStr.view());
  auto const engine = Orb::make<PosixRegex>(seqno);
  if (isRefused || engine->compile(regexStr.c_str()) != 0) {
    ORB_TRACE(traceStatusType(), 6, kFunction << "Failed to compile '" << regexStr << "'");
    return;
  }
  regexMapIs(engine);
}

void CommListStatus::clone(Keel::BaseNotifyingType const& other) {
  auto const& from = static_cast<CommListStatus const&>(other);
  if (&from == this) return;
  auto const with = [&](Attr attribute, auto object) {
    return Replacement(*this, attribute, this->*object, from.*object);
  };
  replace([&]() noexcept { comm_ = from.comm_; },
          with(Attr::communityListEntry, &CommListStatus::communityListEntry_),
          with(Attr::fromCommSet, &CommListStatus::fromCommSet_),
          with(Attr::regexMap, &CommListStatus::regexMap_));
}

void CommListStatus::prepare() const {
  if (index()) return;
  CommListIndexBuilder builder(this);
  builder.work([] { return false; });
  indexIs(builder.take());
}

Orb::String CommListStatus::toStrep() const {
  std::string out;
  for (Acl::CommunityValue const& value : *commVectorRawPtr()) {
    writeText(out, value);
    out += ' ';
  }
  char const* separator = "";
  for (auto const& engine : regexMap()) {
    (out += std::exchange(separator, " ")) += "seq=";
    Orb::writeText(out, engine->seqno());
    out += ' ';
    if (auto const entry = communityListEntry(engine->seqno())) out += entry->toStrep().view();
  }
  return Orb::String(out);
}

void CommListStatus::Notifiee::notifierIs(Orb::Ptr<CommListStatus const> const& notifier) {
  notifier ? notifier->notifieeIs(*this) : leave();
}

void CommListStatus::Notifiee::onCommunityListEntry(Orb::U32 /*seqno*/) {}
void CommListStatus::Notifiee::onCommunityListEntry() {}
void CommListStatus::Notifiee::onFromCommSet() {}
void CommListStatus::Notifiee::onRegexMap(Orb::U32 /*seqno*/) {}
void CommListStatus::Notifiee::onRegexMap() {}

void CommListStatus::Notifiee::onAttribute(Orb::Entity const& entity, Orb::AttrId attribute,
                                           void const* key) {
  auto const& status = static_cast<CommListStatus const&>(entity);
  switch (static_cast<CommListStatus::Attr>(attribute)) {
    case Attr::communityListEntry:
      return status.call(*this, &Notifiee::onCommunityListEntry, &Notifiee::onCommunityListEntry,
                         key);
    case Attr::fromCommSet:
      return onFromCommSet();
    case Attr::regexMap:
      return status.call(*this, &Notifiee::onRegexMap, &Notifiee::onRegexMap, key);
    case Attr::name:
      break;
  }
}

Orb::Ptr<CommListStatus> commListStatusFactory(Orb::String name) {
  return Orb::make<CommListStatus>(std::move(name));
}

}  // namespace Routing::RouteMap
