#pragma once

#include <memory>

#include "platform/orb/base/Ptr.h"
#include "platform/orb/base/String.h"
#include "platform/orb/model/NotifieeList.h"

namespace Orb {

class Entity;
struct TypeInfo;

/// Is notified of every change of the one entity that it watches. Derive from Reactor rather than
/// from this where single attributes are of interest.
class ROUTEPOLICY_EXPORT Notifiee : public NotifieeHook {
 public:
  /// `attribute` has changed. `key` points to the key of the changed member when the attribute is
  /// a collection (a copy, good until this returns), and is null otherwise.
  virtual void onAttribute(Entity const& entity, AttrId attribute, void const* key) = 0;
  /// The entity has left its owner, or one of its owners has left its own.
  virtual void onDelete(Entity const& entity);

 protected:
  using NotifieeHook::NotifieeHook;
  Notifiee() = default;
  ~Notifiee() = default;
};

/// Base of the named, owned, observable objects of the configuration. Attributes are declared
/// with the macros of Declare.h; changes are made on one thread.
class ROUTEPOLICY_EXPORT Entity : public RefCounted {
 public:
  ~Entity() override;

  /// The attributes of the final class, in their order.
  virtual TypeInfo const& type() const = 0;

  /// Who is notified of changes. A notifiee registers with notifieeIs() and leaves with its
  /// leave().
  NotifieeList<Notifiee>& notifieeList() const;
  void notifieeIs(Notifiee& notifiee) const { notifieeList().add(notifiee); }
  bool isWatched() const noexcept { return notifiees_ && !notifiees_->empty(); }

  /// Says that an attribute has really changed: marks the entity as modified and notifies its
  /// observers; costs a test when there are none. The entity stays alive for the whole round.
  void notify(AttrId attribute, void const* key = nullptr) const {
    isModified_ = true;
    notifyObservers(attribute, key);
  }
  /// The notifications alone.
  void notifyObservers(AttrId attribute, void const* key = nullptr) const {
    if (notifiees_) [[unlikely]] {
      notifyRound(attribute, key);
    }
  }

  /// Called by the owner when it gives the entity up: notifies the entity's observers, and then
  /// those of the entities that it owns, of each the outer ones first. Once, however often it is
  /// called. Whoever still holds the entity has a valid object that nobody changes any more.
  void deleted() const;

  // Marks for whoever keeps copies of entities (sessions do), who takes them back, too.

  /// It was made, and is not known as the copy of another entity.
  bool isNew() const noexcept { return isNew_; }
  void isNewIs(bool isNew) const noexcept { isNew_ = isNew; }
  /// A mutator changed an attribute; to make or remove an owned entity is no such change.
  bool isModified() const noexcept { return isModified_; }
  void isModifiedIs(bool isModified) const noexcept { isModified_ = isModified; }
  /// A copy into it stopped halfway: no version has been raised for what had been changed.
  bool isUnannounced() const noexcept { return isUnannounced_; }
  void isUnannouncedIs(bool isUnannounced) const noexcept { isUnannounced_ = isUnannounced; }

 protected:
  Entity() = default;

 private:
  void notifyRound(AttrId attribute, void const* key) const;

  // In the padding behind the reference count.
  mutable bool isNew_ = true;
  mutable bool isModified_ = false;
  mutable bool isUnannounced_ = false;
  mutable bool isDeleted_ = false;
  mutable std::unique_ptr<NotifieeList<Notifiee>> notifiees_;  // made with the first notifiee
};

/// An entity that is known by its name in the collection that owns it.
class ROUTEPOLICY_EXPORT NamedEntity : public Entity {
 public:
  ~NamedEntity() override;
  Name const& name() const noexcept { return name_; }
  /// The same, for collections of any entities.
  Name const& ownKey() const noexcept { return name_; }

 protected:
  explicit NamedEntity(Name name) : name_(std::move(name)) {}

 private:
  Name const name_;
};

/// An entity that is known by its sequence number in the collection that owns it.
class ROUTEPOLICY_EXPORT NumberedEntity : public Entity {
 public:
  ~NumberedEntity() override;
  U32 seqno() const noexcept { return seqno_; }
  U32 const& ownKey() const noexcept { return seqno_; }

 protected:
  explicit NumberedEntity(U32 seqno) noexcept : seqno_(seqno) {}

 private:
  U32 const seqno_;
};

}  // namespace Orb
