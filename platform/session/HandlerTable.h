#pragma once

#include <vector>

#include "platform/session/AttributeFilter.h"
#include "platform/session/SessionStatus.h"

/// The handlers that take over the copy of some types of entities.
namespace Cli::Session {

class EntityCopy;
class EntityCopyGlobalSessionHandler;

/// The handlers by the type of the entities that they copy.
class ROUTEPOLICY_EXPORT HandlerTable : public Orb::Entity {
 public:
  ORB_ENTITY(HandlerTable, "Cli::Session::HandlerTable");
  HandlerTable() = default;

  /// Takes in a handler for its type, in place of another one. A null one, or one for a type that
  /// the process does not know, is a RangeException.
  void handlerIs(Orb::Ptr<EntityCopyGlobalSessionHandler> const& handler);
  /// Takes in all handlers that a directory holds: of its attributes those whose name ends in
  /// CopyHandler.
  void directoryIs(Orb::Entity& directory);
  /// Makes the handlers that a directory owns and does not hold yet.
  static void fillDirectory(Orb::Entity& directory);

  /// The handler for a type, or null.
  EntityCopyGlobalSessionHandler* handler(Orb::TypeInfo const& type) const noexcept;
  /// All of them, in the order in which they came.
  std::vector<Orb::Ptr<EntityCopyGlobalSessionHandler>> handlers() const;

 private:
  struct Entry {
    Orb::TypeInfo const* type;
    Orb::Ptr<EntityCopyGlobalSessionHandler> handler;
  };
  std::vector<Entry> entries_;  // few: looking through them beats hashing
};

/// Base of the handlers: each takes over the copy of the entities of one type.
class ROUTEPOLICY_EXPORT EntityCopyGlobalSessionHandler : public Orb::Entity {
 public:
  ORB_ENTITY(EntityCopyGlobalSessionHandler, "Cli::Session::EntityCopyGlobalSessionHandler",
             sessionStatus, handlerTable, handlerDir, externalDest, filteredAttribute);

  // Set by the session while its commit runs, for whoever the handlers work.
  ORB_REFERENCE(sessionStatus, SessionStatus);
  ORB_REFERENCE(handlerTable, HandlerTable const);
  ORB_REFERENCE(handlerDir, Orb::Entity);
  /// The destination lies outside of the session's own tree.
  ORB_ATTRIBUTE(externalDest, bool);
  /// The attributes that the handler leaves out; handed to every copy.
  ORB_CHILD(filteredAttribute, AttributeFilter);

  /// The full name of the type of entities that the handler copies.
  virtual std::string_view handledType() const noexcept = 0;
  /// Makes `to` the copy of `from`; whether anything changed. `attribute` is the name under which
  /// the entity is being copied. REQUIRES: both are of the handled type; a fatal assertion
  /// otherwise.
  virtual bool handleEntity(Orb::Ptr<EntityCopy> const& engine, Orb::Ptr<Orb::Entity> const& to,
                            Orb::Ptr<Orb::Entity const> const& from, Orb::String attribute) = 0;

 protected:
  EntityCopyGlobalSessionHandler() = default;
};

}  // namespace Cli::Session
