#pragma once

#include <functional>
#include <utility>

#include "platform/orb/model/Entity.h"

namespace TestSupport {

/// Does what a test wants whenever the entity notifies it, and counts it. What it does may put
/// something else in its place.
struct Observer final : Orb::Notifiee {
  using Key = void const*;

  explicit Observer(
      std::function<void(Orb::AttrId, Key)> onChange, std::function<void()> onGone = [] {})
      : changed(std::move(onChange)), gone(std::move(onGone)) {}
  explicit Observer(
      Orb::Entity const& entity,
      std::function<void(Orb::AttrId, Key)> onChange = [](Orb::AttrId, Key) {},
      std::function<void()> onGone = [] {})
      : Observer(std::move(onChange), std::move(onGone)) {
    entity.notifieeIs(*this);
  }
  void onAttribute(Orb::Entity const&, Orb::AttrId id, Key key) override {
    ++notified;
    auto const act = changed;
    act(id, key);
  }
  void onDelete(Orb::Entity const&) override { gone(); }

  std::function<void(Orb::AttrId, Key)> changed;
  std::function<void()> gone;
  int notified = 0;
};

/// Whether `id` is this attribute.
template <class Attr>
bool isAttribute(Orb::AttrId id, Attr attribute) {
  return id == static_cast<Orb::AttrId>(attribute);
}

}  // namespace TestSupport
