#pragma once

#include <atomic>
#include <compare>
#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

#include "platform/orb/base/Types.h"

/// Reference counting.
///
/// The count is in the object. Its highest bit marks a watched object: the references of such an
/// object are dropped by releaseWatched(), which can decide under a lock of its own whether the
/// last outside reference is going. For an object that is not watched this costs one test.
namespace Orb {

namespace detail {
extern ROUTEPOLICY_EXPORT bool threadSafeCounts;
}

/// Whether reference counts are atomic. One setting for the process, on by default.
inline bool threadSafePtr() noexcept { return detail::threadSafeCounts; }
/// Turn it off only where one thread touches counted objects, and before there are others.
inline void threadSafePtrIs(bool threadSafe) noexcept { detail::threadSafeCounts = threadSafe; }

/// Base of everything that a Ptr holds. An object is destroyed with its last reference. It is born
/// with one, which make() hands to the first Ptr, so that a constructor may lend out `this`.
class ROUTEPOLICY_EXPORT RefCounted {
 public:
  void ref() const noexcept {
    if (threadSafePtr()) {
      refs_.fetch_add(1, std::memory_order_relaxed);
    } else {
      refs_.store(refs_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
  }

  void unref() const noexcept {
    U32 count = refs_.load(std::memory_order_relaxed);
    if (threadSafePtr()) {
      do {
        if (count & kWatched) return releaseWatched();
      } while (!refs_.compare_exchange_weak(count, count - 1, std::memory_order_acq_rel,
                                            std::memory_order_relaxed));
    } else {
      if (count & kWatched) return releaseWatched();
      refs_.store(count - 1, std::memory_order_relaxed);
    }
    if (count == 1) destroy();
  }

  /// The number of references held now; of use to tests and to watchers under their lock.
  U32 refCount() const noexcept { return refs_.load(std::memory_order_acquire) & ~kWatched; }

 protected:
  RefCounted() noexcept = default;
  RefCounted(RefCounted const&) noexcept {}  // a copy is a new object
  RefCounted& operator=(RefCounted const&) noexcept { return *this; }
  virtual ~RefCounted();

  /// Turns the watch on or off. REQUIRES: the caller holds a reference.
  void watchedIs(bool watched) const noexcept;

  /// Drops one reference and returns how many are left; destroys nothing.
  U32 dropReference() const noexcept {
    return (refs_.fetch_sub(1, std::memory_order_acq_rel) - 1) & ~kWatched;
  }

  /// Called in place of the plain decrement while the object is watched. An override drops the
  /// reference with dropReference() and calls destroy() when none is left.
  virtual void releaseWatched() const noexcept;

  void destroy() const noexcept { delete this; }

 private:
  static constexpr U32 kWatched = 0x80000000;

  mutable std::atomic<U32> refs_{1};
};

/// A counted reference to a T; Ptr<T const> is a shared read-only view.
template <class T>
class Ptr {
 public:
  using element_type = T;

  constexpr Ptr() noexcept = default;
  constexpr Ptr(std::nullptr_t) noexcept {}
  Ptr(T* object) noexcept : object_(object) {
    if (object_) object_->ref();
  }
  Ptr(Ptr const& other) noexcept : Ptr(other.object_) {}
  Ptr(Ptr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <class U>
  requires std::is_convertible_v<U*, T*> Ptr(Ptr<U> const& other)
  noexcept : Ptr(other.get()) {}
  template <class U>
  requires std::is_convertible_v<U*, T*> Ptr(Ptr<U>&& other)
  noexcept : object_(other.release()) {}
  ~Ptr() {
    if (object_) object_->unref();
  }
  Ptr& operator=(Ptr other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  T* get() const noexcept { return object_; }
  T* operator->() const noexcept { return object_; }
  T& operator*() const noexcept { return *object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

  /// Gives up the reference without dropping it: the caller now holds it.
  [[nodiscard]] T* release() noexcept { return std::exchange(object_, nullptr); }
  /// Takes over a reference that release() gave up.
  [[nodiscard]] static Ptr adopt(T* object) noexcept {
    Ptr taken;
    taken.object_ = object;
    return taken;
  }

  friend bool operator==(Ptr const& a, Ptr const& b) noexcept { return a.object_ == b.object_; }
  friend bool operator==(Ptr const& a, std::nullptr_t) noexcept { return !a.object_; }
  friend auto operator<=>(Ptr const& a, Ptr const& b) noexcept {
    return std::compare_three_way()(a.object_, b.object_);
  }

 private:
  T* object_ = nullptr;
};

/// Makes a counted object; the one place that allocates them.
template <class T, class... Args>
Ptr<T> make(Args&&... args) {
  return Ptr<T>::adopt(new T(std::forward<Args>(args)...));
}

/// The same object as a Derived, or null when it is not one.
template <class Derived, class Base>
Ptr<Derived> ptrCast(Ptr<Base> const& p) noexcept {
  return Ptr<Derived>(dynamic_cast<Derived*>(p.get()));
}

}  // namespace Orb

template <class T>
struct std::hash<Orb::Ptr<T>> {
  std::size_t operator()(Orb::Ptr<T> const& p) const noexcept { return std::hash<T*>()(p.get()); }
};
