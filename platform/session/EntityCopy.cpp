#include "platform/session/EntityCopy.h"

// A copy that stops halfway, because an observer threw or memory ran out, leaves an entity changed
// of which no version has been raised. The same copy done again would find nothing to change, and
// nothing would ever announce what runs. So a copy that fails after its first change marks the
// entity as unannounced, and the next one counts as a change whatever it finds; a copy that
// succeeds takes the mark back. The attributes of an entity may be copied from within its handler's
// call, and those of the entities that it owns from within that: hence the frames.

namespace Cli::Session {

using Orb::AttributeRef;
using Orb::Entity;
using Orb::MutableAttributeRef;
using Orb::Ptr;

/// One copy of an entity, from the call of its handler to its end. A handler does more than copy
/// attributes: when that fails, what was copied before has not been announced either.
class EntityCopy::Frame {
 public:
  Frame(EntityCopy& engine, Entity& to) noexcept
      : engine_(engine), outer_(std::exchange(engine.innermost_, this)), to_(to) {}
  ~Frame() { engine_.innermost_ = outer_; }
  Frame(Frame const&) = delete;
  Frame& operator=(Frame const&) = delete;

  /// Notes that the attributes of an entity have been changed.
  void changed(Entity const& to) noexcept { isChanged_ = isChanged_ || &to == &to_; }
  bool done(bool result) const noexcept {
    to_.isUnannouncedIs(false);
    return result;
  }
  void failed() const noexcept {
    if (isChanged_) to_.isUnannouncedIs(true);
  }

 private:
  EntityCopy& engine_;
  Frame* const outer_;
  Entity& to_;
  bool isChanged_ = false;
};

EntityCopy::EntityCopy(Ptr<HandlerTable const> handlers) : handlers_(std::move(handlers)) {}

EntityCopy::~EntityCopy() = default;

bool EntityCopy::doCopyEntityAttrs(Ptr<Entity> const& to, Ptr<Entity const> const& from,
                                   Orb::String const& /*attribute*/,
                                   Ptr<AttributeFilter const> const& filter) {
  ORB_ASSERT(to && from && &to->type() == &from->type());
  return copyAttributes(*to, *from, filter);
}

bool EntityCopy::copyEntity(Entity& to, Entity const& from, std::string_view attribute) {
  Ptr<Entity> const toAlive(&to);
  Ptr<Entity const> const fromAlive(&from);
  auto* const handler = handlers_ ? handlers_->handler(to.type()) : nullptr;
  Ptr<EntityCopyGlobalSessionHandler> const handlerAlive(handler);
  Frame frame(*this, to);
  try {
    return frame.done(handler ? handler->handleEntity(Ptr<EntityCopy>(this), toAlive, fromAlive,
                                                      Orb::String(attribute))
                              : copyAttributes(to, from, nullptr));
  } catch (...) {
    frame.failed();
    throw;
  }
}

bool EntityCopy::copyAttributes(Entity& to, Entity const& from,
                                Ptr<AttributeFilter const> const& filter) {
  // Observers may let go of everything.
  Ptr<Entity> const toAlive(&to);
  Ptr<Entity const> const fromAlive(&from);
  Ptr<AttributeFilter const> const filterAlive(filter.get());
  bool const filters = filterAlive && !filterAlive->attribute().empty();
  bool changed = to.isUnannounced();
  auto const note = [&](bool isChanged) {
    changed = changed || isChanged;
    if (changed && innermost_) innermost_->changed(to);
  };
  note(false);
  Orb::TypeInfo const& type = to.type();
  for (Orb::AttrId const id : type.stored) {
    Orb::AttributeInfo const& info = type.attributes[id];
    if (filters && filterAlive->attributeHas(Orb::String(info.name))) continue;
    to.isModifiedIs(false);
    try {
      note(copyAttribute(id, to, from));
    } catch (...) {
      // Part of it may have been copied; of owned entities, that cannot be seen here.
      note(to.isModified() || info.ownsEntities);
      throw;
    }
  }
  return changed;
}

bool EntityCopy::copyAttribute(Orb::AttrId id, Entity& to, Entity const& from) {
  MutableAttributeRef const a = attributeOf(to, id);
  if (a.ownsEntities()) return copyOwned(a, attributeOf(from, id));
  return a.kind() != Orb::AttributeKind::counter && a.copy(attributeOf(from, id));
}

bool EntityCopy::copyOwned(MutableAttributeRef to, AttributeRef from) {
  bool changed = false;
  to.eachOwnedBeside(from, [&](Orb::ValueRef key, Entity* mine, Entity const* theirs) {
    if (!mine || !theirs) changed = true;
    if (theirs) {
      Ptr<Entity> const child = mine ? Ptr<Entity>(mine) : to.makeOwned(key);
      if (copyEntity(*child, *theirs, to.name())) changed = true;
    } else if (to.kind() == Orb::AttributeKind::children || !from.owned()) {
      to.eraseOwned(key);  // a single one whose place another takes leaves when that is made
    }
  });
  return changed;
}

}  // namespace Cli::Session
