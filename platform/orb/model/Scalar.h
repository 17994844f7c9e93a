#pragma once

#include <utility>

#include "platform/orb/base/Value.h"
#include "platform/orb/model/TypeInfo.h"

/// Attribute objects of single values. What holds for all attribute objects stands in Attribute.h.
namespace Orb {

/// A single value. `checkValue`, if given, sees every new value after it has been stored, and
/// throws when it is not allowed: the value stays stored then and nobody is notified, on purpose.
template <class T, auto checkValue = nullptr, AttributeKind attributeKind = AttributeKind::scalar>
class Scalar {
 public:
  static constexpr AttributeKind kKind = attributeKind;
  static constexpr bool kIsChecked = !std::is_null_pointer_v<decltype(checkValue)>;
  using Key = void;
  using Value = T;

  Scalar() = default;
  explicit Scalar(T value) : value_(std::move(value)) {}

  Param<T> get() const { return value_; }

  void set(Entity const& owner, AttrId id, Param<T> value) {
    if (sameValue<T>(value_, value)) return;
    value_ = value;
    check(value_);
    owner.notify(id);
  }
  /// Throws what is wrong with a value that is not allowed.
  static void check([[maybe_unused]] Param<T> value) {
    if constexpr (kIsChecked) checkValue(value);
  }
  /// Adds to a number and returns the sum, also when an observer destroyed the owner.
  T add(Entity const& owner, AttrId id, T delta) {
    T const sum = static_cast<T>(value_ + delta);
    set(owner, id, sum);
    return sum;
  }

  /// Unchecked, and nobody is notified.
  void assign(Scalar const& other) { value_ = other.value_; }
  friend void swap(Scalar& a, Scalar& b) noexcept {
    using std::swap;
    swap(a.value_, b.value_);
  }

 private:
  T value_{};
};

/// A shared object that belongs to others, or none: whoever sets the owner up hands it over.
template <class E>
class Reference {
 public:
  static constexpr AttributeKind kKind = AttributeKind::reference;
  static constexpr std::string_view kTargetName = detail::targetName<E>();
  using Key = void;

  Ptr<E> const& get() const { return object_; }
  void set(Entity const& owner, AttrId id, Ptr<E> object) {
    if (object_ == object) return;
    std::swap(object_, object);
    owner.notify(id);
  }
  /// The object's type.
  void writeText(std::string& out) const {
    out += object_ ? object_->type().name : detail::kNoEntity;
  }

 private:
  Ptr<E> object_;
};

}  // namespace Orb
