#pragma once

#include <cstddef>
#include <unordered_set>

#include "platform/orb/base/Ptr.h"

/// Deduplication: equal objects share one canonical object for as long as it is held.
///
/// A table holds one reference to each handle registered in it. When the last reference from
/// outside goes, the handle leaves the table. References may be dropped on any thread, so the
/// decision is taken under one lock for the whole process:
///  1. the count of a registered handle only falls under the lock (it is watched, Ptr.h);
///  2. a table hands out a registered handle only under the lock;
///  3. so a handle whose count falls to the table's share can be reached from nowhere else, and is
///     taken out before it can be found again.
/// The lock is taken when a handle is registered and when a reference to a registered one is
/// dropped: once for a configured list and once for each of its holders.
namespace Keel {

class DedupHashTable;

enum class DedupState : Orb::U8 { notRegistered, registered, leaving };

/// Base of what can be registered in a dedup table.
class ROUTEPOLICY_EXPORT DedupHandle : public Orb::RefCounted {
 public:
  /// Where the handle is registered.
  struct Hook {
    DedupHashTable* table = nullptr;
    bool is_linked() const noexcept { return table != nullptr; }
  };

  /// Whether the handle is registered in a table.
  virtual bool isDeduped() const noexcept { return dedupState_ == DedupState::registered; }
  /// A fatal assertion unless isDeduped().
  virtual void assertIsDeduped() const;
  /// Equal handles have equal hashes. Called by the table under its lock.
  virtual Orb::U32 hash() const = 0;
  /// Equality, as dedup means it. Called by the table, on handles of one kind.
  virtual bool compare(DedupHandle const* other) const = 0;

  /// The table that held the handle was destroyed, and no other has taken it since.
  bool beingDetached() const noexcept { return beingDetached_; }
  DedupState dedupState() const noexcept { return dedupState_; }
  /// A notifier of the handle's lifetime holds one more reference, which does not keep the handle
  /// registered.
  bool haveLifeTimeNotifier() const noexcept { return haveLifeTimeNotifier_; }
  void haveLifeTimeNotifierIs(bool have) noexcept { haveLifeTimeNotifier_ = have; }
  /// Whatever the handle's user wants to find again with it; not owned.
  void* userData() const noexcept { return userData_; }
  void userDataIs(void* data) noexcept { userData_ = data; }
  DedupHashTable const* dedupTable() const noexcept { return hook.table; }

 protected:
  DedupHandle() = default;
  ~DedupHandle() override;

 private:
  friend DedupHashTable;
  void releaseWatched() const noexcept final;
  /// Takes the handle out of its table's reach; the table's reference is the caller's then.
  void unlink() noexcept;

  Hook hook;
  bool beingDetached_ = false;
  bool haveLifeTimeNotifier_ = false;
  DedupState dedupState_ = DedupState::notRegistered;
  void* userData_ = nullptr;
};

/// Registered handles by hash() and compare().
class ROUTEPOLICY_EXPORT DedupHashTable : public Orb::RefCounted {
 public:
  /// The handle that is registered under an equal key, or `handle`, now registered.
  /// REQUIRES: `handle` is not registered in another table; a fatal assertion otherwise.
  Orb::Ptr<DedupHandle> dedup(Orb::Ptr<DedupHandle> const& handle);
  /// How many handles are registered.
  std::size_t size() const;

 protected:
  explicit DedupHashTable(bool releaseUnheld) : releaseUnheld_(releaseUnheld) {}
  ~DedupHashTable() override;

  /// To be called by the destructor of each flavour, while its storage still exists.
  void detachAll() noexcept;

  virtual DedupHandle* find(DedupHandle const& key) const = 0;
  virtual void insert(DedupHandle& handle) = 0;
  virtual void erase(DedupHandle& handle) noexcept = 0;
  /// Removes any one handle and returns it, or null when there is none.
  virtual DedupHandle* takeAny() noexcept = 0;
  virtual std::size_t count() const noexcept = 0;

 private:
  friend DedupHandle;
  bool const releaseUnheld_;
};

/// The flavour over an unordered set.
class ROUTEPOLICY_EXPORT DedupHashTableUnorderedSet final : public DedupHashTable {
 public:
  /// Makes a table. `releaseUnheld`: a handle leaves with its last outside reference; otherwise it
  /// stays as long as the table.
  static Orb::Ptr<DedupHashTable> DedupHashTableUnorderedSetIs(bool releaseUnheld);

  explicit DedupHashTableUnorderedSet(bool releaseUnheld) : DedupHashTable(releaseUnheld) {}

 protected:
  ~DedupHashTableUnorderedSet() override;

 private:
  struct Hash {
    std::size_t operator()(DedupHandle const* h) const { return h->hash(); }
  };
  struct Equal {
    bool operator()(DedupHandle const* a, DedupHandle const* b) const { return a->compare(b); }
  };

  DedupHandle* find(DedupHandle const& key) const override;
  void insert(DedupHandle& handle) override;
  void erase(DedupHandle& handle) noexcept override;
  DedupHandle* takeAny() noexcept override;
  std::size_t count() const noexcept override { return handles_.size(); }

  std::unordered_set<DedupHandle*, Hash, Equal> handles_;
};

}  // namespace Keel
