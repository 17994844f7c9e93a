#pragma once

#include <concepts>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

namespace Orb {

template <class Signature>
class FunctionRef;

/// Whatever can be called, handed down as an argument: owns nothing and allocates nothing. Good
/// until the call that it was made for returns.
template <class R, class... Args>
class FunctionRef<R(Args...)> {
 public:
  template <class F>
  requires(!std::same_as<std::remove_cvref_t<F>, FunctionRef> &&
           std::is_invocable_r_v<R, F&, Args...>)
      // NOLINTNEXTLINE(bugprone-forwarding-reference-overload): the constraint keeps copies out
      FunctionRef(F&& f)
  noexcept
      : function_(const_cast<void*>(static_cast<void const*>(std::addressof(f)))),
        call_([](void* function, Args... args) -> R {
          return std::invoke(*static_cast<std::remove_reference_t<F>*>(function),
                             std::forward<Args>(args)...);
        }) {}

  R operator()(Args... args) const { return call_(function_, std::forward<Args>(args)...); }

 private:
  void* function_;
  R (*call_)(void*, Args...);
};

}  // namespace Orb
