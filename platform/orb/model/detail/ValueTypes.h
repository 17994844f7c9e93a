#pragma once

#include <array>

#include "platform/orb/base/Enum.h"
#include "platform/orb/base/Flags.h"
#include "platform/orb/base/Value.h"
#include "platform/orb/containers/FieldMap.h"
#include "platform/orb/model/detail/AttributeClass.h"
#include "platform/orb/model/detail/EachDifference.h"

/// The run-time form of value types, made from their declarations: kValueType<T>.
namespace Orb::detail {

/// The full name of a type of values.
template <class T>
inline constexpr std::string_view kTypeName = T::typeName;
template <Enumeration E>
inline constexpr std::string_view kTypeName<E> = enumTypeOf(E{}).name;
template <>
inline constexpr std::string_view kTypeName<bool> = "bool";
template <>
inline constexpr std::string_view kTypeName<U8> = "U8";
template <>
inline constexpr std::string_view kTypeName<U16> = "U16";
template <>
inline constexpr std::string_view kTypeName<U32> = "U32";
template <>
inline constexpr std::string_view kTypeName<U64> = "U64";
template <>
inline constexpr std::string_view kTypeName<float> = "float";
template <>
inline constexpr std::string_view kTypeName<String> = "Orb::String";
template <>
inline constexpr std::string_view kTypeName<Name> = "Orb::Name";

template <class T>
inline constexpr bool kIsFieldMap = false;
template <class K, class V>
inline constexpr bool kIsFieldMap<FieldMap<K, V>> = true;

/// Whether values of a type read back from their text form: those that hold a collection do not.
template <class T>
constexpr bool readsBack() {
  if constexpr (kIsFieldMap<T>) {
    return false;
  } else if constexpr (Described<T>) {
    bool all = true;
    forEachField<T>([&]<class F>(F const&) { all = all && readsBack<typename F::Type>(); });
    return all;
  } else {
    return true;
  }
}

template <class T>
constexpr ValueType makeValueType();
template <class T>
inline constexpr ValueType kValueType = makeValueType<T>();

template <class T>
T const& as(void const* value) {
  return *static_cast<T const*>(value);
}

/// The operations on a collection of values, of an entity or of a value. A has all(),
/// memberOf(item) and newMember(key); of an entity setMember(owner, id, key, member), erase(owner,
/// id, key) and clear(owner, id), of a value the same without owner and id.
template <class A>
struct Members {
  using Key = typename A::Key;
  using Member = typename A::Member;
  static constexpr bool kIsField = kIsFieldMap<A>;

  static A& attributeAt(Place const& place) { return *static_cast<A*>(place.attribute); }

  static void set(Place const& place, void const* key, void const* member) {
    if constexpr (kIsField) {
      attributeAt(place).insert(as<Key>(key), as<Member>(member));
    } else {
      attributeAt(place).setMember(*place.owner, place.id, as<Key>(key), as<Member>(member));
    }
  }
  static bool erase(Place const& place, void const* key) {
    if constexpr (kIsField) {
      return attributeAt(place).erase(as<Key>(key));
    } else {
      return attributeAt(place).erase(*place.owner, place.id, as<Key>(key));
    }
  }
  static void clear(Place const& place) {
    if constexpr (kIsField) {
      attributeAt(place).clear();
    } else {
      attributeAt(place).clear(*place.owner, place.id);
    }
  }
  static void each(void const* attribute, VisitMember visit) {
    for (auto const& item : as<A>(attribute).all()) {
      Key const& key = A::Items::keyOf(item);
      visit(&key, &A::memberOf(item));
    }
  }
  static bool find(void const* attribute, void const* key, Visit visit) {
    auto const* const item = as<A>(attribute).all().find(as<Key>(key));
    if (item) visit(&A::memberOf(*item));
    return item != nullptr;
  }
  static void fresh(void const* key, Visit visit) {
    Member const member = A::newMember(as<Key>(key));
    visit(&member);
  }
  static void differ(void const* before, void const* after, VisitDifference visit) {
    eachDifference(as<A>(before).all(), as<A>(after).all(), std::equal_to<>(),
                   [&](Key const& key, auto const* mine, auto const* theirs) {
                     visit(&key, mine ? &A::memberOf(*mine) : nullptr,
                           theirs ? &A::memberOf(*theirs) : nullptr);
                   });
  }
  static bool empty(void const* attribute) { return as<A>(attribute).all().empty(); }

  static constexpr MemberOps kOps{A::kKeyIsApart, empty, each,  find, fresh, set,
                                  erase,          clear, differ};
};

/// The class of fields of type T: a field is its own attribute object. The value that holds it is
/// a copy always, and is checked and stored as a whole.
template <class T>
struct FieldClass {
  static constexpr ScalarOps kScalar{
      [](void const* field, Visit visit) { visit(field); }, nullptr,
      [](Place const& place, void const* value) { kValueType<T>.assign(place.attribute, value); },
      nullptr};
  static constexpr AttributeClass make() {
    AttributeClass made{};
    made.isWritable = true;
    if constexpr (kIsFieldMap<T>) {
      made.kind = AttributeKind::collection;
      made.typeName = kTypeName<typename T::Member>;
      made.key = &kValueType<typename T::Key>;
      made.value = &kValueType<typename T::Member>;
      made.members = &Members<T>::kOps;
    } else {
      made.kind = AttributeKind::scalar;
      made.typeName = kTypeName<T>;
      made.value = &kValueType<T>;
      made.scalar = &kScalar;
    }
    return made;
  }
  static constexpr AttributeClass kClass = make();
};

/// The class of what is no object of its own: the holder stands in for it.
template <class T>
constexpr AttributeClass computedClass(AttributeKind kind, bool isWritable,
                                       ScalarOps const& scalar) {
  AttributeClass made{};
  made.kind = kind;
  made.isWritable = isWritable;
  made.typeName = kTypeName<T>;
  made.value = &kValueType<T>;
  made.scalar = &scalar;
  return made;
}

/// The rows of the fields of V.
template <class F>
struct FieldRow;
template <class C, class T>
struct FieldRow<Field<C, T>> {
  static constexpr AttributeClass const& kClass = FieldClass<T>::kClass;
  static void const* object(Field<C, T> const& field, C const& holder) {
    return &(holder.*field.member);
  }
};
/// A flag has no address: the value that holds it stands in for its object.
template <class C, U32 mask>
struct FieldRow<Flag<C, mask>> {
  static constexpr ScalarOps kScalar{[](void const* holder, Visit visit) {
                                       bool const on = Flag<C, mask>::get(as<C>(holder));
                                       visit(&on);
                                     },
                                     nullptr,
                                     [](Place const& place, void const* on) {
                                       Flag<C, mask>::set(*static_cast<C*>(place.attribute),
                                                          as<bool>(on));
                                     },
                                     nullptr};
  static constexpr AttributeClass kClass =
      computedClass<typename Flag<C, mask>::Type>(AttributeKind::scalar, true, kScalar);
  static void const* object(Flag<C, mask> const&, C const& holder) { return &holder; }
};

template <class V, std::size_t i>
constexpr AttributeInfo fieldRow() {
  using F = std::tuple_element_t<i, decltype(V::fields())>;
  return makeInfo(std::get<i>(V::fields()).name, FieldRow<F>::kClass, [](void const* holder) {
    return FieldRow<F>::object(std::get<i>(V::fields()), as<V>(holder));
  });
}

/// What a value computes from its fields, which stands in for the object.
template <class C, auto getter>
struct GetterRow {
  using T = std::remove_cvref_t<std::invoke_result_t<decltype(getter), C const&>>;
  static constexpr ScalarOps kScalar{[](void const* holder, Visit visit) {
                                       T const& value = std::invoke(getter, as<C>(holder));
                                       visit(&value);
                                     },
                                     nullptr, nullptr, nullptr};
  static constexpr AttributeClass kClass = computedClass<T>(AttributeKind::derived, false, kScalar);
};
template <class C, auto getter>
constexpr AttributeInfo getterRow(Getter<C, getter> row) {
  return makeInfo(row.name, GetterRow<C, getter>::kClass,
                  [](void const* holder) { return holder; });
}

/// The fields, and then what is computed from them.
template <class V>
inline constexpr auto kFieldRows = []<std::size_t... i>(std::index_sequence<i...>) {
  if constexpr (requires { V::derivedRow(); }) {
    return std::array<AttributeInfo, sizeof...(i) + 1>{fieldRow<V, i>()...,
                                                       getterRow(V::derivedRow())};
  } else {
    return std::array<AttributeInfo, sizeof...(i)>{fieldRow<V, i>()...};
  }
}
(std::make_index_sequence<std::tuple_size_v<decltype(V::fields())>>());

template <class T>
constexpr ValueType makeValueType() {
  ValueType type{};
  type.name = kTypeName<T>;
  type.writeText = [](std::string& out, void const* v) { writeText(out, as<T>(v)); };
  if constexpr (readsBack<T>()) {
    type.readText = [](TextReader& in, Visit visit) {
      T read{};
      readText(in, read);
      visit(&read);
    };
  }
  type.readTyped = type.readText;
  if constexpr (HasPlainForm<T>) {
    type.writePlain = [](std::string& out, void const* v) { writePlain(out, as<T>(v)); };
    type.readTyped = [](TextReader& in, Visit visit) {
      T read{};
      readTyped(in, read);
      visit(&read);
    };
  }
  type.writeBinary = [](std::string& out, void const* v) { writeBinary(out, as<T>(v)); };
  type.readBinary = [](BinaryReader& in, Visit visit) {
    T read{};
    readBinary(in, read);
    visit(&read);
  };
  type.same = [](void const* a, void const* b) { return sameValue<T>(as<T>(a), as<T>(b)); };
  type.assign = [](void* to, void const* from) { *static_cast<T*>(to) = as<T>(from); };
  type.edited = [](void const* value, Edit edit, Visit visit) {
    T copy = as<T>(value);
    edit(&copy);
    if constexpr (requires { copy.check(); }) copy.check();
    visit(&copy);
  };
  type.differsByField = !readsBack<T>() || requires { T::kFlagNames; };
  if constexpr (Described<T>) {
    type.fields = kFieldRows<T>;
  }
  return type;
}

}  // namespace Orb::detail
