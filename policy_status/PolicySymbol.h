#pragma once

#include "platform/keel/Dedup.h"
#include "platform/orb/model/Attribute.h"

namespace Routing::RouteMap {

/// Notifies the users of a policy symbol that the list behind it has changed.
class ROUTEPOLICY_EXPORT PolicySymbolNotifier : public Orb::Entity {
 public:
  ORB_ENTITY(PolicySymbolNotifier, "Routing::RouteMap::PolicySymbolNotifier", version);

  /// Rises by one with every published change, wrapping at 2^32.
  ORB_COUNTER(version);

  /// Is notified of every change of the version, from notifierIs() until it is destroyed or leave()
  /// is called. It may do in onVersion() what it likes: leave, be destroyed, drop the
  /// symbol.
  class ROUTEPOLICY_EXPORT Notifiee : private Orb::Notifiee {
   public:
    using NotifieeHook::isLinked;
    using NotifieeHook::leave;
    /// Leaves the notifier it followed; null follows none. When this throws, nothing has changed.
    void notifierIs(Orb::Ptr<PolicySymbolNotifier const> const& notifier);
    virtual void onVersion() = 0;

   protected:
    ~Notifiee() = default;

   private:
    void onAttribute(Orb::Entity const& entity, Orb::AttrId attribute, void const* key) final;
  };
};

/// The shared handle through which the users of a list reach its compiled form, by name. Symbols
/// of one kind are deduplicated by their name alone, never by what their status holds. Everything
/// here is changed on one thread; a status may be read on any thread that holds it.
class ROUTEPOLICY_EXPORT PolicySymbol : public Keel::DedupHandle {
 public:
  Orb::String const& name() const noexcept { return name_; }

  /// The symbol's notifier; there from construction on, unless symbolNotifierDel() took it.
  Orb::Ptr<PolicySymbolNotifier> const& symbolNotifier() const noexcept { return symbolNotifier_; }
  /// The notifier, made if there is none.
  Orb::Ptr<PolicySymbolNotifier> symbolNotifierIs();
  /// Drops the notifier and returns it, or null.
  Orb::Ptr<PolicySymbolNotifier> symbolNotifierDel();

  /// Raises the notifier's version and calls its notifiees when that changes it; returns the new
  /// version, or 0 when there is no notifier.
  Orb::U32 versionInc(Orb::U32 delta);

  /// The name's hash, mixed; 0 for the empty name.
  Orb::U32 hash() const override;
  /// REQUIRES: `other` is a policy symbol, of any kind.
  bool compare(Keel::DedupHandle const* other) const override;

 protected:
  explicit PolicySymbol(Orb::String name);
  ~PolicySymbol() override;

 private:
  void handleCreate() { symbolNotifierIs(); }

  Orb::String const name_;
  Orb::Ptr<PolicySymbolNotifier> symbolNotifier_;
};

/// The dedup table of one kind of symbols.
template <class Kind>
class ROUTEPOLICY_EXPORT DedupTableOf final : public Orb::RefCounted {
 public:
  DedupTableOf() { handleInitialized(); }

  Orb::Ptr<Keel::DedupHashTable> const& dedupTable() const noexcept { return dedupTable_; }

 private:
  void handleInitialized() {
    dedupTable_ = Keel::DedupHashTableUnorderedSet::DedupHashTableUnorderedSetIs(true);
  }

  Orb::Ptr<Keel::DedupHashTable> dedupTable_;
};

/// One kind of symbols. Kind::Status is the type of the compiled list, Kind::kCollectionName the
/// full name of the collection.
template <class Kind>
class ROUTEPOLICY_EXPORT SymbolOf final : public PolicySymbol {
 public:
  using Status = typename Kind::Status;

  explicit SymbolOf(Orb::String name) : PolicySymbol(std::move(name)) {}

  /// The compiled list; null at first, and when there is no list of this name any more.
  Orb::Ptr<Status const> const& status() const noexcept { return status_; }
  /// What is installed is never changed again: a change is a new status, then versionInc(1).
  void statusIs(Orb::Ptr<Status const> status) noexcept { status_ = std::move(status); }

  /// The canonical symbol of this name: the one registered in the table already, or this one, now
  /// registered. From then on only the result is used.
  Orb::Ptr<SymbolOf> dedup(Orb::Ptr<DedupTableOf<Kind> const> const& table) {
    auto const canonical = table->dedupTable()->dedup(Orb::Ptr<Keel::DedupHandle>(this));
    return static_cast<SymbolOf*>(canonical.get());
  }

 private:
  Orb::Ptr<Status const> status_;
};

/// The symbols of one kind by their names; notifies of the name on a real change.
template <class Kind>
class ROUTEPOLICY_EXPORT AllSymbolsOf final : public Orb::Entity {
 public:
  ORB_ENTITY(AllSymbolsOf, Kind::kCollectionName, symbol);

  /// symbolIs() puts the symbol under its own name, in place of another one; a null one is a
  /// RangeException.
  ORB_COLLECTION(symbol, Orb::HashShared<SymbolOf<Kind>, &SymbolOf<Kind>::name>);
};

template <class Kind>
AllSymbolsOf<Kind>::~AllSymbolsOf() = default;

template <class Kind>
Orb::TypeInfo const& AllSymbolsOf<Kind>::type() const {
  return Orb::typeInfoOf<AllSymbolsOf>();
}

}  // namespace Routing::RouteMap
