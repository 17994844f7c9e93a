#include "platform/keel/BaseNotifyingType.h"

#include <functional>

namespace Keel {

BaseNotifyingType::~BaseNotifyingType() = default;

void BaseNotifyingType::dropDerived() noexcept {}

void BaseNotifyingType::notifyEach(Orb::AttrId attribute, Keys const& keys) const {
  Orb::FirstError error;
  auto const outer = std::exchange(replaced_, std::span<Orb::U32 const>(keys));
  for (Orb::U32 const& key : keys) error.guard([&] { notify(attribute, &key); });
  replaced_ = outer;
  error.rethrow();
}

/// By its address: observers change members in between, by keys of their own.
bool BaseNotifyingType::isReplaced(Orb::U32 const* key) const noexcept {
  std::less<> const isBefore;
  return !isBefore(key, replaced_.data()) && isBefore(key, replaced_.data() + replaced_.size());
}

}  // namespace Keel
