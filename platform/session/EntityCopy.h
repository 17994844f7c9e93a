#pragma once

#include "platform/session/HandlerTable.h"

namespace Cli::Session {

/// The copy engine: makes one tree of entities the copy of another, changing only what differs.
class ROUTEPOLICY_EXPORT EntityCopy : public Orb::RefCounted {
 public:
  /// Without a table, no type has a handler.
  explicit EntityCopy(Orb::Ptr<HandlerTable const> handlers = nullptr);
  ~EntityCopy() override;

  /// Makes the attributes of `to` those of `from`, in their order, but for those that `filter`
  /// names: sets what differs, removes members and owned entities that `from` does not have and
  /// makes those that it has, and goes on into owned entities by copyEntity(). Ordered collections
  /// are walked side by side. Keys, derived attributes, references and counters are neither
  /// compared nor copied. Whether `to` changed. A value that its mutator would refuse is refused
  /// before it is stored; what that or an observer throws goes to the caller, and what was copied
  /// until then stays. Both entities live until this returns. REQUIRES: both are there and of one
  /// type. `attribute`, the name under which the entity is copied, is for the handlers alone; a
  /// null filter lets all through.
  ///
  /// A copy that throws after a change leaves Entity::isUnannounced() on the entities into which it
  /// was copying: the next copy into one of them counts as a change, since no version has been
  /// raised for the first.
  bool doCopyEntityAttrs(Orb::Ptr<Orb::Entity> const& to, Orb::Ptr<Orb::Entity const> const& from,
                         Orb::String const& attribute,
                         Orb::Ptr<AttributeFilter const> const& filter);

  /// Leaves the copy to the type's handler, or else copies all attributes. Whether `to` changed.
  bool copyEntity(Orb::Entity& to, Orb::Entity const& from, std::string_view attribute);

  /// Copies one attribute, the id-th of both; whether `to` changed.
  bool copyAttribute(Orb::AttrId id, Orb::Entity& to, Orb::Entity const& from);

 private:
  class Frame;

  bool copyAttributes(Orb::Entity& to, Orb::Entity const& from,
                      Orb::Ptr<AttributeFilter const> const& filter);
  bool copyOwned(Orb::MutableAttributeRef to, Orb::AttributeRef from);

  Orb::Ptr<HandlerTable const> const handlers_;
  Frame* innermost_ = nullptr;
};

}  // namespace Cli::Session
