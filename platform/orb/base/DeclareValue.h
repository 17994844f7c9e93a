#pragma once

#include "platform/orb/base/Enum.h"
#include "platform/orb/base/Types.h"

/// How value types are declared: one list that names the fields in their order, and one line for
/// each field, as model/Declare.h does it for entities.
///
///   class U32Range : public Orb::Value<U32Range> {
///    public:
///     ORB_VALUE(U32Range, "Routing::RouteMap::U32Range", low, high);
///
///     ORB_FIELD(low, Orb::U32);
///     ORB_FIELD(high, Orb::U32);
///   };

/// The names of a value type's fields, in order.
#define ORB_FIELDS(Class, ...)                                             \
  using FieldsOf = Class;                                                  \
  enum class Attr : ::Orb::AttrId { __VA_ARGS__ };                         \
  static constexpr auto fields() {                                         \
    return []<std::size_t... i>(std::index_sequence<i...>) {               \
      return std::tuple{row(::Orb::Id<Attr{i}>())...};                     \
    }                                                                      \
    (std::make_index_sequence<::Orb::detail::countNames(#__VA_ARGS__)>()); \
  }                                                                        \
  static_assert(true)

/// A value type's full name, its default constructor and its constructor from the text form.
#define ORB_VALUE_NAME(Class, fullName)                                   \
  static constexpr char const* typeName = fullName;                       \
  Class() = default;                                                      \
  explicit Class(std::string_view text) { ::Orb::fromText(*this, text); } \
  static_assert(true)

/// Both: a value type with its full name and its fields in order.
#define ORB_VALUE(Class, fullName, ...) \
  ORB_VALUE_NAME(Class, fullName);      \
  ORB_FIELDS(Class, __VA_ARGS__)

/// name, type, default value: one field of a value type.
#define ORB_FIELD(name, Type, ...) ORB_FIELD_AS(name, #name, Type, __VA_ARGS__)

/// The same with another name in the text form.
#define ORB_FIELD_AS(name, textName, Type, ...)                                          \
 private:                                                                                \
  Type name##_{__VA_ARGS__};                                                             \
                                                                                         \
 public:                                                                                 \
  ::Orb::Param<Type> name() const { return name##_; }                                    \
  void name##Is(::Orb::Param<Type> v) { ::Orb::setField(*this, &FieldsOf::name##_, v); } \
  static constexpr ::Orb::Field<FieldsOf, Type> row(::Orb::Id<Attr::name>) {             \
    return {textName, &FieldsOf::name##_};                                               \
  }                                                                                      \
  static_assert(true)

/// name, type: the one read-only attribute that a value type computes from its fields; the class
/// defines the function.
#define ORB_FIELD_DERIVED(name, Type)                                                        \
  Type name() const;                                                                         \
  static constexpr ::Orb::Getter<FieldsOf, &FieldsOf::name> derivedRow() { return {#name}; } \
  static_assert(true)

/// name, types of key and value: a field that is a collection, in the order of the keys. The type
/// has no constructor from text then.
#define ORB_FIELD_MAP(name, KeyType, ValueType)                                               \
 private:                                                                                     \
  ::Orb::FieldMap<KeyType, ValueType> name##_;                                                \
                                                                                              \
 public:                                                                                      \
  auto const& name() const { return name##_.all(); }                                          \
  ::Orb::Param<ValueType> name(::Orb::Param<KeyType> k) const { return name##_.get(k); }      \
  bool name##Has(::Orb::Param<KeyType> k) const { return name##_.has(k); }                    \
  void name##Is(::Orb::Param<KeyType> k, ::Orb::Param<ValueType> v) { name##_.insert(k, v); } \
  void name##Del(::Orb::Param<KeyType> k) { name##_.erase(k); }                               \
  void name##DelAll() { name##_.clear(); }                                                    \
  static constexpr ::Orb::Field<FieldsOf, ::Orb::FieldMap<KeyType, ValueType>> row(           \
      ::Orb::Id<Attr::name>) {                                                                \
    return {#name, &FieldsOf::name##_};                                                       \
  }                                                                                           \
  static_assert(true)
