#include "platform/keel/Dedup.h"

#include <mutex>
#include <utility>

#include "platform/orb/base/Error.h"

namespace Keel {

namespace {

std::mutex& dedupLock() {
  static std::mutex lock;
  return lock;
}

}  // namespace

void DedupHandle::assertIsDeduped() const { ORB_ASSERT(isDeduped()); }

DedupHandle::~DedupHandle() { ORB_ASSERT(!hook.is_linked()); }

void DedupHandle::unlink() noexcept {
  hook.table = nullptr;
  dedupState_ = DedupState::notRegistered;
  watchedIs(false);
}

void DedupHandle::releaseWatched() const noexcept {
  // Only a registered handle is watched, and tables hold handles that may change.
  auto& self = const_cast<DedupHandle&>(*this);
  bool isLast = false;
  {
    std::lock_guard const lock(dedupLock());
    Orb::U32 const left = dropReference();
    Orb::U32 const held = haveLifeTimeNotifier_ ? 2 : 1;
    if (dedupState_ == DedupState::registered && hook.table->releaseUnheld_ && left <= held) {
      self.dedupState_ = DedupState::leaving;
      hook.table->erase(self);
      self.unlink();
      isLast = dropReference() == 0;  // the table's
    } else {
      isLast = left == 0;  // it left its table between the caller's look and the lock
    }
  }
  if (isLast) destroy();
}

Orb::Ptr<DedupHandle> DedupHashTable::dedup(Orb::Ptr<DedupHandle> const& handle) {
  ORB_ASSERT(handle);
  std::lock_guard const lock(dedupLock());
  if (DedupHandle* const canonical = find(*handle)) return canonical;
  ORB_ASSERT(!handle->hook.is_linked());
  insert(*handle);
  handle->ref();
  handle->hook.table = this;
  handle->dedupState_ = DedupState::registered;
  handle->beingDetached_ = false;
  handle->watchedIs(true);
  return handle;
}

std::size_t DedupHashTable::size() const {
  std::lock_guard const lock(dedupLock());
  return count();
}

DedupHashTable::~DedupHashTable() = default;

void DedupHashTable::detachAll() noexcept {
  auto const takeOne = [this]() -> DedupHandle* {
    std::lock_guard const lock(dedupLock());
    DedupHandle* const handle = takeAny();
    if (handle) {
      handle->unlink();
      handle->beingDetached_ = true;
    }
    return handle;
  };
  while (DedupHandle* const handle = takeOne()) handle->unref();
}

Orb::Ptr<DedupHashTable> DedupHashTableUnorderedSet::DedupHashTableUnorderedSetIs(
    bool releaseUnheld) {
  return Orb::make<DedupHashTableUnorderedSet>(releaseUnheld);
}

DedupHashTableUnorderedSet::~DedupHashTableUnorderedSet() { detachAll(); }

DedupHandle* DedupHashTableUnorderedSet::find(DedupHandle const& key) const {
  auto const found = handles_.find(const_cast<DedupHandle*>(&key));
  return found == handles_.end() ? nullptr : *found;
}

void DedupHashTableUnorderedSet::insert(DedupHandle& handle) { handles_.insert(&handle); }

void DedupHashTableUnorderedSet::erase(DedupHandle& handle) noexcept { handles_.erase(&handle); }

DedupHandle* DedupHashTableUnorderedSet::takeAny() noexcept {
  if (handles_.empty()) return nullptr;
  return handles_.extract(handles_.begin()).value();
}

}  // namespace Keel
