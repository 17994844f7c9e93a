#pragma once

#include <vector>

#include "platform/keel/BaseNotifyingType.h"
#include "policy_config/CommunityList.h"
#include "policy_status/CommListIndex.h"
#include "policy_status/CommListSnapshot.h"
#include "policy_status/PosixRegex.h"
#include "policy_status/detail/AttachedLater.h"

namespace Routing::RouteMap {

/// The compiled form of one community list: its entries, the compiled expressions of those that are
/// expanded, and a vector of values for owners outside.
///
/// Who builds a status installs it in a symbol at the end. From then on it is never changed, and
/// whoever holds it may match against it on any thread. An index alone may be attached later.
class ROUTEPOLICY_EXPORT CommListStatus final : public Keel::BaseNotifyingType {
 public:
  ORB_ENTITY(CommListStatus, "Routing::RouteMap::CommListStatus", name, communityListEntry,
             fromCommSet, regexMap);
  explicit CommListStatus(Orb::String name);

  Orb::String const& name() const noexcept { return name_; }
  ORB_GETTER_ROW(name, key);
  /// The entries, in ascending sequence number; a null one is a RangeException.
  ORB_COLLECTION(
      communityListEntry,
      Source<Orb::OrderedShared<Acl::CommunityListEntry const, &Acl::CommunityListEntry::seqno>>);
  /// Set by the owner; it means nothing here.
  ORB_ATTRIBUTE(fromCommSet, bool);
  /// The engines by the sequence number of their entry; a null one is a RangeException.
  ORB_COLLECTION(regexMap, Source<Orb::OrderedShared<PosixRegex const, &PosixRegex::seqno>>);

  /// Appends a value to the vector, again when it is there already. Nobody is notified, and nothing
  /// changes when there is no memory.
  void commIs(Acl::CommunityValue const& value);
  void commDelAll() noexcept;
  /// The vector, in the order in which the values came; never null. Good until the vector changes.
  std::vector<Acl::CommunityValue> const* commVectorRawPtr() const noexcept;
  /// A new snapshot of the vector's values, each with flag true.
  Orb::Ptr<CommListSnapshot> commSnapshot() const;

  /// Compiles an expression, as it stands, for the entry of that number. One that does not compile
  /// is traced, level 6, and changes nothing: what was compiled for the number before stays. So is
  /// one with a NUL, one that is beyond the bounds of platform/regex/PosixBounds.h, and one for
  /// which regcomp() finds no memory, which it says of some wrong ones too. Throws std::bad_alloc,
  /// with nothing changed, for want of memory outside of regcomp().
  void regexAdd(Orb::U32 seqno, Orb::String regexStr);
  void regexDel(Orb::U32 seqno) { regexMapDel(seqno); }
  /// The engine, or null.
  Orb::Ptr<PosixRegex const> regex(Orb::U32 seqno) const { return regexMap(seqno); }

  /// The index of this status, which makes matches quick. One thread attaches it, once, while
  /// others match: they see it whole or not at all. A null one, and one behind the first, is
  /// ignored. Each mutator of entries and engines drops it, whether it changes something or
  /// not, and clone() does not take it over.
  void indexIs(Orb::Ptr<CommListIndex const> index) const noexcept {
    index_.attach(std::move(index));
  }
  /// The same, or null. Good as long as the status is held.
  CommListIndex const* index() const noexcept { return index_.get(); }
  /// Makes the index at once, and attaches it, when there is none. What that takes grows with the
  /// list; CommListIndexBuilder does it in slices. Nothing changes when there is no memory.
  void prepare() const;

  /// Takes everything but the name from another status; they share entries, engines and the vector,
  /// until one of them changes. Nothing changes when there is no memory. Observers see the end, and
  /// are notified of each key that differs; a Notifiee once for each attribute.
  void clone(Keel::BaseNotifyingType const& other) override;
  /// The values of the vector, a blank behind each; then, parted by blanks, "seq=", the number of
  /// each engine, a blank and the description of the entry that it belongs to.
  Orb::String toStrep() const;

  /// Is notified of changes, from notifierIs() until it is destroyed or leave() is called. What a
  /// subclass does not override does nothing. A member that changes is notified by its key, a
  /// collection that another one replaced once, without a key.
  class ROUTEPOLICY_EXPORT Notifiee : private Orb::Notifiee {
   public:
    using NotifieeHook::isLinked;
    using NotifieeHook::leave;
    /// Leaves the status it followed; null follows none. When this throws, nothing has changed.
    void notifierIs(Orb::Ptr<CommListStatus const> const& notifier);

    virtual void onCommunityListEntry(Orb::U32 seqno);
    virtual void onCommunityListEntry();
    virtual void onFromCommSet();
    virtual void onRegexMap(Orb::U32 seqno);
    virtual void onRegexMap();

   protected:
    ~Notifiee() = default;

   private:
    void onAttribute(Orb::Entity const& entity, Orb::AttrId attribute, void const* key) final;
  };

 private:
  struct CommVector;
  void dropDerived() noexcept override { index_.drop(); }

  Orb::String const name_;
  Orb::Ptr<CommVector> comm_;  // null when empty; shared by clones until one of them appends
  mutable detail::AttachedLater<CommListIndex> index_;
};

ROUTEPOLICY_EXPORT Orb::Ptr<CommListStatus> commListStatusFactory(Orb::String name);

}  // namespace Routing::RouteMap
