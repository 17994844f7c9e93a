#pragma once

#include <exception>
#include <utility>

#include "platform/orb/base/Ptr.h"

/// The notifiees of a change, and rounds of notices to them.
///
/// Notifiees are linked into the list by a hook of their own, in the order in which they joined.
/// While a round of notices runs, notifiees may do anything:
///  1. a notifiee that leaves, or is destroyed, is not called again: each running round keeps a
///     cursor at the next notifiee to call, and a leaving notifiee pushes the cursors that stand
///     at it one further;
///  2. a notifiee that joins is first called in the next round: it carries the number of the
///     round during which it joined, and a round ends at the first notifiee as young as itself;
///  3. a list that is destroyed ends the rounds that run over it and lets its notifiees go;
///  4. the owner of the list outlives the round: as long as a notifiee that holds a reference to it
///     is linked, it lives; the round takes a reference of its own when it begins without such a
///     notifiee, or when one leaves;
///  5. one that throws does not keep others from being called: what was thrown first goes on to
///     the caller after the round.
namespace Orb {

class NotifieeHook;

/// Does several things, whichever of them throw, and then throws what was thrown first. Neither
/// takes memory.
class FirstError {
 public:
  template <class Do>
  void guard(Do const& act) {
    try {
      act();
    } catch (...) {
      keep();
    }
  }
  /// In a handler: keeps what is being handled, if it is the first.
  void keep() noexcept {
    if (!first_) first_ = std::current_exception();
  }
  void rethrow() {
    if (first_) std::rethrow_exception(first_);
  }

 private:
  std::exception_ptr first_;
};

namespace detail {

/// The part of a list that does not depend on the notifiee's type.
class ROUTEPOLICY_EXPORT NotifieeChain {
 public:
  NotifieeChain() = default;
  NotifieeChain(NotifieeChain const&) = delete;
  NotifieeChain& operator=(NotifieeChain const&) = delete;
  ~NotifieeChain();

  bool empty() const noexcept { return !first_; }

 protected:
  /// One round of notices: next() gives the notifiees to call, then null. Inline, as every change
  /// that somebody watches makes one.
  class Round {
   public:
    /// `owner` is null where the caller keeps the list alive.
    Round(NotifieeChain& chain, RefCounted const* owner) noexcept
        : chain_(&chain),
          next_(chain.first_),
          outer_(chain.rounds_),
          number_(++chain.roundNumber_),
          owner_(owner) {
// A round is a local variable, and takes itself off the chain before it ends.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdangling-pointer"
#endif
      chain.rounds_ = this;
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif
      if (owner_ && chain.holders_ == 0) hold();
    }
    ~Round() {
      if (chain_) chain_->rounds_ = outer_;
      if (holds_) owner_->unref();
    }
    Round(Round const&) = delete;
    Round& operator=(Round const&) = delete;
    inline NotifieeHook* next() noexcept;

   private:
    friend NotifieeChain;
    void hold() noexcept {
      holds_ = true;
      owner_->ref();
    }

    NotifieeChain* chain_;
    NotifieeHook* next_;
    Round* outer_;
    U64 number_;
    RefCounted const* owner_;
    bool holds_ = false;
  };

  void add(NotifieeHook& hook) noexcept;

 private:
  friend NotifieeHook;
  void remove(NotifieeHook& hook) noexcept;

  NotifieeHook* first_ = nullptr;
  NotifieeHook* last_ = nullptr;
  Round* rounds_ = nullptr;  // the innermost first
  U64 roundNumber_ = 0;
  std::size_t holders_ = 0;  // notifiees that hold the list's owner
};

}  // namespace detail

/// The link of one notifiee into at most one list. Leaves it when it is destroyed.
class ROUTEPOLICY_EXPORT NotifieeHook {
 public:
  bool isLinked() const noexcept { return chain_ != nullptr; }
  void leave() noexcept {
    if (chain_) chain_->remove(*this);
  }

 protected:
  /// `holdsOwner`: as long as it is linked it holds a reference to the owner of the list, and its
  /// class calls leave() before it drops that.
  explicit NotifieeHook(bool holdsOwner = false) noexcept : holdsOwner_(holdsOwner) {}
  NotifieeHook(NotifieeHook const&) = delete;
  NotifieeHook& operator=(NotifieeHook const&) = delete;
  ~NotifieeHook() { leave(); }

 private:
  friend detail::NotifieeChain;
  friend detail::NotifieeChain::Round;
  detail::NotifieeChain* chain_ = nullptr;
  NotifieeHook* previous_ = nullptr;
  NotifieeHook* next_ = nullptr;
  U64 joined_ = 0;
  bool const holdsOwner_;
};

inline NotifieeHook* detail::NotifieeChain::Round::next() noexcept {
  if (!next_ || next_->joined_ >= number_) return nullptr;
  return std::exchange(next_, next_->next_);
}

/// The notifiees of one notifier; N derives from NotifieeHook.
template <class N>
class NotifieeList : public detail::NotifieeChain {
 public:
  /// A notifiee that is linked elsewhere leaves that list first.
  void add(N& notifiee) noexcept { NotifieeChain::add(notifiee); }

  /// Calls `notify(notifiee)` for each. The caller keeps the list itself alive.
  template <class Notify>
  void each(Notify const& notify, RefCounted const* owner = nullptr) {
    FirstError error;
    {
      Round round(*this, owner);
      while (NotifieeHook* const hook = round.next()) {
        try {
          notify(static_cast<N&>(*hook));
        } catch (...) {
          error.keep();
        }
      }
    }
    error.rethrow();
  }
};

}  // namespace Orb
