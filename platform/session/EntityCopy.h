#pragma once

#include <set>
#include <vector>

#include "platform/session/AttributeFilter.h"

/// Copying entities attribute by attribute, and the handlers that take over for some types.
namespace Cli::Session {

class EntityCopyGlobalSessionHandler;

/// Where a session stands.
ORB_ENUM(SessionState, "Cli::Session::SessionState", sessionOpen = 0, sessionCommitting = 1,
         sessionCommitted = 2, sessionAborted = 3);

/// What others may know of a session.
class ROUTEPOLICY_EXPORT SessionStatus : public Orb::NamedEntity {
 public:
  ORB_ENTITY(SessionStatus, "Cli::Session::SessionStatus", name, state);
  explicit SessionStatus(Orb::Name name) : NamedEntity(std::move(name)) {}

  ORB_GETTER_ROW(name, key);
  ORB_ATTRIBUTE(state, SessionState, sessionOpen);
};

/// The handlers by the type of the entities that they copy.
class ROUTEPOLICY_EXPORT HandlerTable : public Orb::Entity {
 public:
  ORB_ENTITY(HandlerTable, "Cli::Session::HandlerTable");
  HandlerTable() = default;
  ~HandlerTable() override;

  /// Takes in a handler for its type, in place of another one. A null one, or one for a type that
  /// the process does not know, is a RangeException.
  void handlerIs(Orb::Ptr<EntityCopyGlobalSessionHandler> const& handler);
  /// Takes in all handlers that a directory holds: of its attributes those whose name ends in
  /// CopyHandler.
  void directoryIs(Orb::Entity const& directory);
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

/// The copy engine: makes one tree of entities the copy of another, changing only what differs.
class ROUTEPOLICY_EXPORT EntityCopy : public Orb::RefCounted {
 public:
  /// What the copy is for: to change a tree that others read, or to fill a private one, which
  /// takes over counters as well, and single values as they are.
  enum class Purpose { commit, privateTree };

  /// Without a table, no type has a handler.
  explicit EntityCopy(Orb::Ptr<HandlerTable const> handlers = nullptr,
                      Purpose purpose = Purpose::commit);
  ~EntityCopy() override;

  /// Makes the attributes of `to` those of `from`, in their order, but for those that `filter`
  /// names: sets what differs, removes members and owned entities that `from` does not have and
  /// makes those that it has, and goes on into owned entities by copyEntity(). Ordered collections
  /// are walked side by side. Keys, derived attributes and counters are neither compared nor
  /// copied. Whether `to` changed. A value that its mutator would refuse is refused before it is
  /// stored; what that or somebody notified throws goes to the caller, and what was copied until
  /// then stays. Both entities live until this returns. REQUIRES: both are there and of one type.
  /// `attribute`, the name under which the entity is copied, is for the handlers alone; a null
  /// filter lets all through.
  bool doCopyEntityAttrs(Orb::Ptr<Orb::Entity> const& to, Orb::Ptr<Orb::Entity const> const& from,
                         Orb::String const& attribute,
                         Orb::Ptr<AttributeFilter const> const& filter);

  /// Leaves the copy to the type's handler, or else copies all attributes. Whether `to` changed.
  bool copyEntity(Orb::Entity& to, Orb::Entity const& from, std::string_view attribute);

  /// Copies one attribute, the id-th of both; whether `to` changed.
  bool copyAttribute(Orb::AttrId id, Orb::Entity& to, Orb::Entity const& from);

  /// Entities whose copy stopped half way: nobody has been told by a version of what it changed.
  using Unannounced = std::set<Orb::Ptr<Orb::Entity const>>;
  /// Where the engine notes those; the next copy of one counts as a change. Null for nowhere.
  void unannouncedIs(Unannounced* entities) noexcept { unannounced_ = entities; }

 private:
  bool copyAttributes(Orb::Entity& to, Orb::Entity const& from,
                      Orb::Ptr<AttributeFilter const> const& filter);

  Orb::Ptr<HandlerTable const> const handlers_;
  Purpose const purpose_;
  Unannounced* unannounced_ = nullptr;
};

/// Base of the handlers: each takes over the copy of the entities of one type.
class ROUTEPOLICY_EXPORT EntityCopyGlobalSessionHandler : public Orb::Entity {
 public:
  ORB_ENTITY(EntityCopyGlobalSessionHandler, "Cli::Session::EntityCopyGlobalSessionHandler",
             sessionStatus, handlerTable, handlerDir, externalDest, filteredAttribute);

  // While a commit runs, the session tells all handlers for whom they work.
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
