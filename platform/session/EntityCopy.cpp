#include "platform/session/EntityCopy.h"

#include <algorithm>

#include "platform/orb/Error.h"

namespace Cli::Session {

ORB_ENTITY_TYPE(AttributeFilter);
ORB_ENTITY_TYPE(SessionStatus);
ORB_ENTITY_TYPE(HandlerTable);
ORB_ENTITY_TYPE(EntityCopyGlobalSessionHandler);

using Orb::AttributeInfo;
using Orb::Entity;

HandlerTable::~HandlerTable() = default;

void HandlerTable::handlerIs(Orb::Ptr<EntityCopyGlobalSessionHandler> const& handler) {
  if (!handler) throw Orb::RangeException(Orb::nullParameterMessage(typeName, "handler"));
  Orb::TypeInfo const* const type = Orb::entityType(handler->handledType());
  if (!type) {
    throw Orb::RangeException("entity type " + Orb::toText(Orb::String(handler->handledType())) +
                              " is unknown: a handler for it is not allowed");
  }
  auto const found = std::find_if(handlers_.begin(), handlers_.end(),
                                  [&](Entry const& entry) { return entry.type == type; });
  if (found != handlers_.end()) {
    found->handler = handler;
  } else {
    handlers_.push_back({type, handler});
  }
}

void HandlerTable::directoryIs(Entity& directory) {
  auto const& rows = directory.type().attributes;
  for (AttributeInfo const& a : rows) {
    if (a.ops->kind != Orb::AttributeKind::child || !a.name.ends_with("CopyHandler")) continue;
    auto const id = static_cast<Orb::AttrId>(&a - rows.data());
    auto const owned =
        a.ops->childIs({const_cast<void*>(a.object(&directory)), &directory, id}, nullptr);
    if (auto const handler = Orb::ptrCast<EntityCopyGlobalSessionHandler>(owned)) {
      handlerIs(handler);
    }
  }
}

EntityCopyGlobalSessionHandler* HandlerTable::handler(Orb::TypeInfo const& type) const noexcept {
  for (Entry const& entry : handlers_) {
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
  bool const filters = filter && !filter->attribute().empty();
  return copyAttributes(*to, *from, filters ? filter.get() : nullptr);
}

bool EntityCopy::copyEntity(Entity& to, Entity const& from, std::string_view attribute) {
  EntityCopyGlobalSessionHandler* const handler =
      handlers_ ? handlers_->handler(to.type()) : nullptr;
  if (!handler) return copyAttributes(to, from, nullptr);
  return handler->handleEntity(Orb::Ptr<EntityCopy>(this), Orb::Ptr<Entity>(&to),
                               Orb::Ptr<Entity const>(&from), Orb::String(attribute));
}

bool EntityCopy::copyAttributes(Entity& to, Entity const& from, AttributeFilter const* filter) {
  auto const& rows = to.type().attributes;
  bool changed = false;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (filter && filter->attributeHas(Orb::String(rows[i].name))) continue;
    if (copyAttribute(rows[i], static_cast<Orb::AttrId>(i), to, from)) changed = true;
  }
  return changed;
}

bool EntityCopy::copyAttribute(AttributeInfo const& a, Orb::AttrId id, Entity& to,
                               Entity const& from) {
  Orb::Place const place{const_cast<void*>(a.object(&to)), &to, id};
  auto const copyChild = [&](Entity& child, Entity const& source) {
    return copyEntity(child, source, a.name);
  };
  if (purpose_ == Purpose::commit) {
    return a.ops->copy && a.ops->copy(place, a.object(&from), copyChild);
  }
  try {
    if (a.ops->copy) return a.ops->copy(place, a.object(&from), copyChild);
    if (a.ops->kind != Orb::AttributeKind::counter) return false;
    a.ops->visit(a.object(&from), [&](void const* theirs) {
      a.ops->edit(place, [&](void* mine) {
        *static_cast<Orb::U32*>(mine) = *static_cast<Orb::U32 const*>(theirs);
      });
    });
    return true;
  } catch (Orb::RangeException const&) {
    return true;  // it is stored all the same
  }
}

}  // namespace Cli::Session
