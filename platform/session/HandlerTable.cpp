#include "platform/session/HandlerTable.h"

#include <algorithm>

namespace Cli::Session {

ORB_ENTITY_TYPE(AttributeFilter);
ORB_ENTITY_TYPE(SessionStatus);
ORB_ENTITY_TYPE(HandlerTable);
ORB_ENTITY_TYPE(EntityCopyGlobalSessionHandler);

namespace {

bool holdsHandler(Orb::AttributeRef const& a) {
  return a.kind() == Orb::AttributeKind::child && a.name().ends_with("CopyHandler");
}

}  // namespace

void HandlerTable::handlerIs(Orb::Ptr<EntityCopyGlobalSessionHandler> const& handler) {
  if (!handler) throw Orb::RangeException(Orb::nullParameterMessage(typeName, "handler"));
  Orb::TypeInfo const* const type = Orb::entityType(handler->handledType());
  if (!type) {
    throw Orb::RangeException("entity type " + Orb::toText(Orb::String(handler->handledType())) +
                              " is unknown: a handler for it is not allowed");
  }
  auto const found = std::find_if(entries_.begin(), entries_.end(),
                                  [&](Entry const& entry) { return entry.type == type; });
  if (found != entries_.end()) {
    found->handler = handler;
  } else {
    entries_.push_back({type, handler});
  }
}

void HandlerTable::directoryIs(Orb::Entity& directory) {
  for (Orb::MutableAttributeRef const a : attributesOf(directory)) {
    if (!holdsHandler(a)) continue;
    a.eachOwned([&](Orb::ValueRef, Orb::Entity& held) {
      if (auto* const handler = dynamic_cast<EntityCopyGlobalSessionHandler*>(&held)) {
        handlerIs(Orb::Ptr<EntityCopyGlobalSessionHandler>(handler));
      }
    });
  }
}

void HandlerTable::fillDirectory(Orb::Entity& directory) {
  for (Orb::MutableAttributeRef const a : attributesOf(directory)) {
    if (holdsHandler(a)) a.makeOwned();
  }
}

std::vector<Orb::Ptr<EntityCopyGlobalSessionHandler>> HandlerTable::handlers() const {
  std::vector<Orb::Ptr<EntityCopyGlobalSessionHandler>> all;
  for (Entry const& entry : entries_) all.push_back(entry.handler);
  return all;
}

EntityCopyGlobalSessionHandler* HandlerTable::handler(Orb::TypeInfo const& type) const noexcept {
  for (Entry const& entry : entries_) {
    if (entry.type == &type) return entry.handler.get();
  }
  return nullptr;
}

}  // namespace Cli::Session
