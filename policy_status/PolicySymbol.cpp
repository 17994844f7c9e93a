#include "policy_status/PolicySymbol.h"

namespace Routing::RouteMap {

ORB_ENTITY_TYPE(PolicySymbolNotifier);

void PolicySymbolNotifier::Notifiee::notifierIs(
    Orb::Ptr<PolicySymbolNotifier const> const& notifier) {
  notifier ? notifier->notifieeIs(*this) : leave();
}

void PolicySymbolNotifier::Notifiee::onAttribute(Orb::Entity const& /*entity*/,
                                                 Orb::AttrId /*attribute*/, void const* /*key*/) {
  onVersion();
}

PolicySymbol::PolicySymbol(Orb::String name) : name_(std::move(name)) { handleCreate(); }

PolicySymbol::~PolicySymbol() { symbolNotifierDel(); }

Orb::Ptr<PolicySymbolNotifier> PolicySymbol::symbolNotifierIs() {
  if (!symbolNotifier_) symbolNotifier_ = Orb::make<PolicySymbolNotifier>();
  return symbolNotifier_;
}

Orb::Ptr<PolicySymbolNotifier> PolicySymbol::symbolNotifierDel() {
  return std::exchange(symbolNotifier_, nullptr);
}

Orb::U32 PolicySymbol::versionInc(Orb::U32 delta) {
  // A notifiee may drop the symbol, or its notifier.
  Orb::Ptr<PolicySymbolNotifier> const notifier = symbolNotifier_;
  return notifier ? notifier->versionInc(delta) : 0;
}

Orb::U32 PolicySymbol::hash() const {
  Orb::U32 const a = name_.hash() * 9;
  Orb::U32 const b = a ^ (a >> 11);
  return b * 32769;
}

bool PolicySymbol::compare(Keel::DedupHandle const* other) const {
  return static_cast<PolicySymbol const*>(other)->name_ == name_;
}

}  // namespace Routing::RouteMap
