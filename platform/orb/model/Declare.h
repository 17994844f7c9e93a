#pragma once

#include "platform/orb/base/Enum.h"
#include "platform/orb/base/Types.h"

/// How entities and values are declared: one list that names the attributes in their order, and
/// one line for each attribute.
///
/// The list becomes the enumeration Attr, by which notifiees distinguish attributes. A declaration
/// line adds the attribute object, its accessors (one-line calls into the object) and one overload
/// of row(), from which the run-time table is gathered. An attribute that the list misses does not
/// compile, and neither does a listed name that is not declared. The macros only name things:
/// what an attribute does stands in Attribute.h, and any accessor can be written by hand instead.
///
///   class PrefixList : public Orb::NamedEntity {
///    public:
///     ORB_ENTITY(PrefixList, "Acl::PrefixList", version, prefixEntry, source);
///     explicit PrefixList(Orb::Name name) : NamedEntity(std::move(name)) {}
///
///     ORB_COUNTER(version);
///     ORB_COLLECTION(prefixEntry, Orb::OrderedValues<PrefixEntry, &PrefixEntry::seqno>);
///     ORB_ATTRIBUTE(source, Orb::String);
///   };
///
/// and ORB_ENTITY_TYPE(PrefixList) in one source file.

#define ORB_ENTITY(Class, fullName, ...) ORB_ENTITY_(Class, fullName, __VA_ARGS__)
#define ORB_ENTITY_(Class, fullName, ...)                                                 \
  static constexpr char const* typeName = fullName;                                       \
  using Self = Class;                                                                     \
  enum class Attr : ::Orb::AttrId { __VA_ARGS__ };                                        \
  static constexpr std::size_t kAttributeCount = ::Orb::detail::countNames(#__VA_ARGS__); \
  ~Class() override;                                                                      \
  ::Orb::TypeInfo const& type() const override

/// An entity type that has the attributes of its base and none of its own.
#define ORB_ENTITY_LIKE_BASE(Class, fullName)       \
  static constexpr char const* typeName = fullName; \
  ~Class() override;                                \
  ::Orb::TypeInfo const& type() const override

/// Goes into one source file for each entity type, in the type's namespace: its table, its
/// registration under the full name, and its destructor, which would otherwise be made anew in
/// every file that makes such an entity.
#define ORB_ENTITY_TYPE(Class)                                                      \
  Class::~Class() = default;                                                        \
  ::Orb::TypeInfo const& Class::type() const { return ::Orb::typeInfoOf<Class>(); } \
  namespace {                                                                       \
  ::Orb::TypeRegistration const k##Class##Registration{::Orb::typeInfoOf<Class>()}; \
  }                                                                                 \
  static_assert(true)

/// The attribute object alone, of a type named nameObject, without accessors.
#define ORB_OBJECT(name, ...)                                                        \
 private:                                                                            \
  name##Object name##_{__VA_ARGS__};                                                 \
  static constexpr ::Orb::AttrId name##Id_ = static_cast<::Orb::AttrId>(Attr::name); \
                                                                                     \
 public:                                                                             \
  static constexpr ::Orb::Row<&Self::name##_> row(::Orb::Id<Attr::name>) { return {#name}; }

#define ORB_SCALAR_(name, Type, ...)                        \
  ORB_OBJECT(name, __VA_ARGS__)                             \
  ::Orb::Param<Type> name() const { return name##_.get(); } \
  void name##Is(::Orb::Param<Type> v) { name##_.set(*this, name##Id_, v); }

/// name, type, default value: a single value. nameIs() notifies of a real change only.
#define ORB_ATTRIBUTE(name, Type, ...)      \
  using name##Object = ::Orb::Scalar<Type>; \
  ORB_SCALAR_(name, Type, __VA_ARGS__)      \
  static_assert(true)

/// A U32 that writers raise to show readers that something was rewritten; wraps around. nameInc()
/// returns the new value.
#define ORB_COUNTER(name)                                                                 \
  using name##Object = ::Orb::Scalar<::Orb::U32, nullptr, ::Orb::AttributeKind::counter>; \
  ORB_SCALAR_(name, ::Orb::U32)                                                           \
  ::Orb::U32 name##Inc(::Orb::U32 delta) { return name##_.add(*this, name##Id_, delta); } \
  static_assert(true)

/// name, type, a function, default value: a single value of which the function sees every new one
/// once it is stored, and may throw: see Scalar.
#define ORB_CHECKED_ATTRIBUTE(name, Type, check, ...) \
  using name##Object = ::Orb::Scalar<Type, check>;    \
  ORB_SCALAR_(name, Type, __VA_ARGS__)                \
  static_assert(true)

#define ORB_CHILD_(name, E)                                   \
  using name##Object = ::Orb::Child<E>;                       \
  ORB_OBJECT(name)                                            \
  ::Orb::Ptr<E> const& name() const { return name##_.get(); } \
  void name##Del() { name##_.erase(*this, name##Id_); }

/// name, class: one entity that is owned, or none. nameIs() makes it when it is not there yet.
#define ORB_CHILD(name, E)                                            \
  ORB_CHILD_(name, E)                                                 \
  ::Orb::Ptr<E> name##Is() { return name##_.make(*this, name##Id_); } \
  static_assert(true)

/// The same for an entity with a name: nameIs(name) puts one of that name in the place of any
/// other.
#define ORB_NAMED_CHILD(name, E)                                                                 \
  ORB_CHILD_(name, E)                                                                            \
  ::Orb::Ptr<E> name##Is(::Orb::Name const& key) { return name##_.make(*this, name##Id_, key); } \
  static_assert(true)

/// name, class: a shared object that belongs to others, or none.
#define ORB_REFERENCE(name, E)                                                              \
  using name##Object = ::Orb::Reference<E>;                                                 \
  ORB_OBJECT(name)                                                                          \
  ::Orb::Ptr<E> const& name() const { return name##_.get(); }                               \
  void name##Is(::Orb::Ptr<E> object) { name##_.set(*this, name##Id_, std::move(object)); } \
  static_assert(true)

#define ORB_COLLECTION_(name)                                                                      \
  ORB_OBJECT(name)                                                                                 \
  decltype(auto) name() const { return name##_.all(); }                                            \
  decltype(auto) name(::Orb::Param<typename name##Object::Key> k) const { return name##_.get(k); } \
  bool name##Has(::Orb::Param<typename name##Object::Key> k) const { return name##_.has(k); }      \
  void name##Del(::Orb::Param<typename name##Object::Key> k) {                                     \
    name##_.erase(*this, name##Id_, k);                                                            \
  }                                                                                                \
  void name##DelAll() { name##_.clear(*this, name##Id_); }

/// name, class of the collection: of values that carry their key, of shared objects, or of
/// children, which nameIs(key) makes when they are not there yet.
#define ORB_COLLECTION(name, ...)                                             \
  using name##Object = __VA_ARGS__;                                           \
  ORB_COLLECTION_(name)                                                       \
  typename name##Object::Result name##Is(typename name##Object::Argument v) { \
    return name##_.insert(*this, name##Id_, v);                               \
  }                                                                           \
  static_assert(true)

/// name, types of key and value: values beside their key, in the order of the keys.
#define ORB_MAP(name, KeyType, ValueType)                             \
  using name##Object = ::Orb::Map<KeyType, ValueType>;                \
  ORB_COLLECTION_(name)                                               \
  void name##Is(::Orb::Param<KeyType> k, ::Orb::Param<ValueType> v) { \
    name##_.insert(*this, name##Id_, k, v);                           \
  }                                                                   \
  static_assert(true)

/// The row of a getter that the class has, or inherits: what is derived, or the key by which the
/// owner knows the entity.
#define ORB_GETTER_ROW(name, kind)                                                       \
  static constexpr ::Orb::DerivedRow<Self, &Self::name, ::Orb::AttributeKind::kind> row( \
      ::Orb::Id<Attr::name>) {                                                           \
    return {#name};                                                                      \
  }                                                                                      \
  static_assert(true)

/// Read-only, computed from other attributes; the class defines the function.
#define ORB_DERIVED(name, Type) \
  Type name() const;            \
  ORB_GETTER_ROW(name, derived)
