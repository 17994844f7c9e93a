#pragma once

#include <span>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/orb/model/Entity.h"

namespace Keel {

/// Base of the status objects that notify of their changes: an entity that has no key, and that can
/// copy the content of another of its type. Its collections are keyed by sequence numbers.
class ROUTEPOLICY_EXPORT BaseNotifyingType : public Orb::Entity {
 public:
  ~BaseNotifyingType() override;

  /// Makes this hold a copy of what `other` holds, so that either can change without the other.
  /// REQUIRES: both are of the same final class.
  virtual void clone(BaseNotifyingType const& other) = 0;

 protected:
  /// The object of an attribute that something is derived from: dropDerived() is called before it
  /// changes, also by name.
  template <class Object>
  class Source;
  /// What clone() takes over of one attribute.
  template <class Object>
  class Replacement;

  /// Puts what was copied into place, after dropDerived() and before `finish`, which do not throw.
  /// Observers are notified then, of each key of a collection that differs; the first exception
  /// goes to the caller after the last notification.
  template <class Finish, class... Objects>
  void replace(Finish const& finish, Replacement<Objects>... copies);

  /// For a notifiee that has a call for a member that changes, and one for a collection that
  /// replace() changed, which is made for the first of its keys alone.
  template <class N>
  void call(N& notifiee, void (N::*of)(Orb::U32), void (N::*all)(), void const* key) const;

 private:
  using Keys = std::vector<Orb::U32>;

  /// Drops what was derived from the attributes.
  virtual void dropDerived() noexcept;
  void notifyEach(Orb::AttrId attribute, Keys const& keys) const;
  bool isReplaced(Orb::U32 const* key) const noexcept;

  mutable std::span<Orb::U32 const> replaced_;  // the keys of which notifyEach() is notifying
};

template <class Object>
class BaseNotifyingType::Source : public Object {
 public:
  using Object::Object;

  template <class... Rest>
  void set(Orb::Entity const& owner, Rest&&... rest) {
    drop(owner);
    Object::set(owner, std::forward<Rest>(rest)...);
  }
  template <class... Rest>
  void insert(Orb::Entity const& owner, Rest&&... rest) {
    drop(owner);
    Object::insert(owner, std::forward<Rest>(rest)...);
  }
  template <class... Rest>
  void setMember(Orb::Entity const& owner, Rest&&... rest) {
    drop(owner);
    Object::setMember(owner, std::forward<Rest>(rest)...);
  }
  template <class... Rest>
  void insertEach(Orb::Entity const& owner, Rest&&... rest) {
    drop(owner);
    Object::insertEach(owner, std::forward<Rest>(rest)...);
  }
  template <class... Rest>
  void replace(Orb::Entity const& owner, Rest&&... rest) {
    drop(owner);
    Object::replace(owner, std::forward<Rest>(rest)...);
  }
  template <class... Rest>
  auto erase(Orb::Entity const& owner, Rest&&... rest) {
    drop(owner);
    return Object::erase(owner, std::forward<Rest>(rest)...);
  }
  template <class... Rest>
  void clear(Orb::Entity const& owner, Rest&&... rest) {
    drop(owner);
    Object::clear(owner, std::forward<Rest>(rest)...);
  }

 private:
  static void drop(Orb::Entity const& owner) noexcept {
    // Called by mutators alone, which had the owner to change.
    const_cast<BaseNotifyingType&>(static_cast<BaseNotifyingType const&>(owner)).dropDerived();
  }
};

template <class Object>
class BaseNotifyingType::Replacement {
 public:
  /// Copies `theirs`; `mine` is the object of that attribute of `owner`. A collection is compared
  /// only when somebody is to be notified of what differs.
  template <class Attr>
  Replacement(BaseNotifyingType const& owner, Attr attribute, Object& mine, Object const& theirs)
      : mine_(mine), copy_(theirs), attribute_(static_cast<Orb::AttrId>(attribute)) {
    if constexpr (kIsCollection) {
      if (owner.isWatched()) changed_ = mine.differingKeys(theirs);
    } else {
      changed_ = !(mine.get() == theirs.get());
    }
  }
  void swapIn() noexcept { swap(mine_, copy_); }
  void notify(BaseNotifyingType const& owner) const {
    if constexpr (kIsCollection) {
      owner.notifyEach(attribute_, changed_);
    } else {
      if (changed_) owner.Entity::notify(attribute_);
    }
  }

 private:
  static constexpr bool kIsCollection = !std::is_void_v<typename Object::Key>;

  Object& mine_;
  Object copy_;  // once swapped in, what was there before
  Orb::AttrId const attribute_;
  std::conditional_t<kIsCollection, Keys, bool> changed_{};
};

template <class Finish, class... Objects>
void BaseNotifyingType::replace(Finish const& finish, Replacement<Objects>... copies) {
  dropDerived();
  (copies.swapIn(), ...);
  finish();
  isModifiedIs(true);
  if (!isWatched()) return;
  Orb::Ptr<BaseNotifyingType const> const alive(this);
  Orb::FirstError error;
  (error.guard([&] { copies.notify(*this); }), ...);
  error.rethrow();
}

template <class N>
void BaseNotifyingType::call(N& notifiee, void (N::*of)(Orb::U32), void (N::*all)(),
                             void const* key) const {
  auto const* const seqno = static_cast<Orb::U32 const*>(key);
  if (!isReplaced(seqno)) return (notifiee.*of)(*seqno);
  if (seqno == replaced_.data()) (notifiee.*all)();
}

}  // namespace Keel
