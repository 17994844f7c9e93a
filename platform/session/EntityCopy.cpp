#include "platform/session/EntityCopy.h"

#include <algorithm>

#include "platform/orb/base/Error.h"

namespace Cli::Session {

ORB_ENTITY_TYPE(AttributeFilter);
ORB_ENTITY_TYPE(SessionStatus);
ORB_ENTITY_TYPE(HandlerTable);
ORB_ENTITY_TYPE(EntityCopyGlobalSessionHandler);

using Orb::AttributeInfo;
using Orb::Entity;

namespace {

bool holdsHandler(AttributeInfo const& a) {
  return a.ops->kind == Orb::AttributeKind::child && a.name.ends_with("CopyHandler");
}

}  // namespace

HandlerTable::~HandlerTable() = default;

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

void HandlerTable::directoryIs(Entity const& directory) {
  for (AttributeInfo const& a : directory.type().attributes) {
    if (!holdsHandler(a)) continue;
    auto* const held = a.ops->child(a.object(&directory), nullptr);
    if (auto* const handler = dynamic_cast<EntityCopyGlobalSessionHandler*>(held)) {
      handlerIs(Orb::Ptr<EntityCopyGlobalSessionHandler>(handler));
    }
  }
}

void HandlerTable::fillDirectory(Entity& directory) {
  auto const& rows = directory.type().attributes;
  for (AttributeInfo const& a : rows) {
    auto const id = static_cast<Orb::AttrId>(&a - rows.data());
    if (holdsHandler(a)) {
      a.ops->childIs({const_cast<void*>(a.object(&directory)), &directory, id}, nullptr);
    }
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

EntityCopy::EntityCopy(Orb::Ptr<HandlerTable const> handlers, Purpose purpose)
    : handlers_(std::move(handlers)), purpose_(purpose) {}

EntityCopy::~EntityCopy() = default;

bool EntityCopy::doCopyEntityAttrs(Orb::Ptr<Entity> const& to, Orb::Ptr<Entity const> const& from,
                                   Orb::String const& /*attribute*/,
                                   Orb::Ptr<AttributeFilter const> const& filter) {
  ORB_ASSERT(to && from && &to->type() == &from->type());
  return copyAttributes(*to, *from, filter);
}

bool EntityCopy::copyEntity(Entity& to, Entity const& from, std::string_view attribute) {
  auto* const handler = handlers_ ? handlers_->handler(to.type()) : nullptr;
  if (!handler) return copyAttributes(to, from, nullptr);
  Orb::Ptr<EntityCopyGlobalSessionHandler> const alive(handler);
  return handler->handleEntity(Orb::Ptr<EntityCopy>(this), Orb::Ptr<Entity>(&to),
                               Orb::Ptr<Entity const>(&from), Orb::String(attribute));
}

bool EntityCopy::copyAttributes(Entity& to, Entity const& from,
                                Orb::Ptr<AttributeFilter const> const& filter) {
  // Those notified may let go of everything.
  Orb::Ptr<Entity> const toAlive(&to);
  Orb::Ptr<Entity const> const fromAlive(&from);
  Orb::Ptr<AttributeFilter const> const filterAlive(filter.get());
  bool const filters = filterAlive && !filterAlive->attribute().empty();
  bool changed = unannounced_ && unannounced_->contains(toAlive);
  std::span<AttributeInfo const> const rows = to.type().attributes;
  try {
    for (std::size_t i = 0; i < rows.size(); ++i) {
      if (filters && filterAlive->attributeHas(Orb::String(rows[i].name))) continue;
      if (copyAttribute(static_cast<Orb::AttrId>(i), to, from)) changed = true;
    }
  } catch (...) {
    if (unannounced_) unannounced_->insert(toAlive);
    throw;
  }
  if (unannounced_) unannounced_->erase(toAlive);
  return changed;
}

bool EntityCopy::copyAttribute(Orb::AttrId id, Entity& to, Entity const& from) {
  AttributeInfo const& a = to.type().attributes[id];
  auto* const attribute = const_cast<void*>(a.object(&to));
  if (purpose_ == Purpose::privateTree && a.ops->take) {
    if (!a.ops->take(attribute, a.object(&from))) return false;
    to.notify(id);
    return true;
  }
  return a.ops->copy && a.ops->copy({attribute, &to, id}, a.object(&from),
                                    [&](Entity& child, Entity const& source) {
                                      return copyEntity(child, source, a.name);
                                    });
}

}  // namespace Cli::Session
