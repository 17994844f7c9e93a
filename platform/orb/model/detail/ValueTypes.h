#pragma once

#include <array>

#include "platform/orb/base/Enum.h"
#include "platform/orb/base/Flags.h"
#include "platform/orb/base/Value.h"
#include "platform/orb/model/FieldMap.h"
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

/// The text of a single entity that is not there.
inline constexpr std::string_view kNoEntity = "None";

template <class T>
constexpr ValueType makeValueType();
template <class T>
inline constexpr ValueType kValueType = makeValueType<T>();

/// The operations on single values, which get(attribute) gives. When they are stored (and not
/// computed), they can differ.
template <class T, auto get>
constexpr AttributeOps valueOps(AttributeKind kind) {
  AttributeOps ops{};
  ops.kind = kind;
  ops.type = kTypeName<T>;
  ops.value = &kValueType<T>;
  ops.text = [](void const* attribute, std::string& out) { writeText(out, get(attribute)); };
  ops.visit = [](void const* attribute, Visit visit) {
    T const& value = get(attribute);
    visit(&value);
  };
  if (kind == AttributeKind::scalar || kind == AttributeKind::counter) {
    ops.differ = [](void const* before, void const* after, DifferVisit visit) {
      T const& theirs = get(after);
      if (!before) return visit({nullptr, nullptr, &theirs});
      T const& mine = get(before);
      if (!sameValue<T>(mine, theirs)) visit({nullptr, &mine, &theirs});
    };
  }
  return ops;
}

template <class Item>
inline constexpr bool kIsMapItem = false;
template <class K, class V>
inline constexpr bool kIsMapItem<MapItem<K, V>> = true;

/// Appends "{ a, b }" for the members of a collection, "{}" for none: each value, beside its key
/// when that stands apart, and of an entity its key alone.
template <class Items>
void writeMembers(std::string& out, Items const& items) {
  using Item = typename Items::value_type;
  char const* separator = "{ ";
  for (auto const& item : items) {
    out += std::exchange(separator, ", ");
    if constexpr (kIsMapItem<Item>) {
      writeText(out, item.key);
      out += ": ";
      writeText(out, item.value);
    } else if constexpr (requires { item->ref(); }) {
      writeText(out, Items::keyOf(item));
    } else {
      writeText(out, item);
    }
  }
  out += items.empty() ? "{}" : " }";
}

template <class K>
K readKey(TextReader& in) {
  K key{};
  readText(in, key);
  return key;
}

/// The operations on a collection of values, of an entity or of a value. A has all(), and, by
/// name, member(item), fresh(key), put(place, key, member), drop(place, key) and dropAll(place).
template <class A>
constexpr AttributeOps memberOps() {
  using Key = typename A::Key;
  using Member = typename A::Member;
  AttributeOps ops{};
  ops.kind = AttributeKind::collection;
  ops.type = kTypeName<Member>;
  ops.key = &kValueType<Key>;
  ops.value = &kValueType<Member>;
  ops.text = [](void const* attribute, std::string& out) {
    writeMembers(out, static_cast<A const*>(attribute)->all());
  };
  ops.visitMember = [](void const* attribute, TextReader& key, Visit visit) {
    auto const* const item = static_cast<A const*>(attribute)->all().find(readKey<Key>(key));
    if (item) visit(&A::member(*item));
    return item != nullptr;
  };
  ops.freshMember = [](void const* key, Visit visit) {
    Member const member = A::fresh(*static_cast<Key const*>(key));
    visit(&member);
  };
  ops.editMember = [](Place const& place, TextReader& in, Edit edit) {
    A& attribute = *static_cast<A*>(place.attribute);
    Key const key = readKey<Key>(in);
    auto const* const item = attribute.all().find(key);
    Member member = item ? A::member(*item) : A::fresh(key);
    edit(&member);
    attribute.put(place, key, member);
  };
  ops.delMember = [](Place const& place, TextReader* key) {
    A& attribute = *static_cast<A*>(place.attribute);
    if (key) return attribute.drop(place, readKey<Key>(*key));
    bool const had = !attribute.all().empty();
    attribute.dropAll(place);
    return had;
  };
  ops.differ = [](void const* before, void const* after, DifferVisit visit) {
    static typename A::Items const nothing;
    eachDifference(
        before ? static_cast<A const*>(before)->all() : nothing,
        static_cast<A const*>(after)->all(), std::equal_to<>(),
        [&](Key const& key, auto const* mine, auto const* theirs) {
          visit({&key, mine ? &A::member(*mine) : nullptr, theirs ? &A::member(*theirs) : nullptr});
        });
  };
  return ops;
}

/// The operations on a field, which is its own attribute object. The value that holds it is a copy
/// always, and is checked and stored as a whole.
template <class F>
struct FieldOps;

template <class C, class T>
struct FieldOps<Field<C, T>> {
  static constexpr AttributeOps make() {
    if constexpr (kIsFieldMap<T>) {
      return memberOps<T>();
    } else {
      AttributeOps ops =
          valueOps<T, [](void const* field) -> T const& { return *static_cast<T const*>(field); }>(
              AttributeKind::scalar);
      ops.edit = [](Place const& place, Edit edit) { edit(place.attribute); };
      return ops;
    }
  }
  static constexpr AttributeOps kOps = make();
  static void const* object(Field<C, T> const& field, C const& holder) {
    return &(holder.*field.member);
  }
};

/// A flag has no address: the value that holds it stands in for its object.
template <class C, U32 mask>
struct FieldOps<Flag<C, mask>> {
  static constexpr AttributeOps make() {
    AttributeOps ops = valueOps<bool, [](void const* holder) {
      return Flag<C, mask>::get(*static_cast<C const*>(holder));
    }>(AttributeKind::scalar);
    ops.edit = [](Place const& place, Edit edit) {
      C& holder = *static_cast<C*>(place.attribute);
      bool on = Flag<C, mask>::get(holder);
      edit(&on);
      Flag<C, mask>::set(holder, on);
    };
    return ops;
  }
  static constexpr AttributeOps kOps = make();
  static void const* object(Flag<C, mask> const&, C const& holder) { return &holder; }
};

/// What a value computes from its fields, which stands in for the object.
template <class C, auto getter>
struct FieldOps<Getter<C, getter>> {
  using T = std::remove_cvref_t<std::invoke_result_t<decltype(getter), C const&>>;
  static constexpr AttributeOps kOps = valueOps<T, [](void const* holder) {
    return std::invoke(getter, *static_cast<C const*>(holder));
  }>(AttributeKind::derived);
};

template <class V, std::size_t i>
constexpr AttributeInfo fieldRow() {
  using F = std::tuple_element_t<i, decltype(V::fields())>;
  return {std::get<i>(V::fields()).name, &FieldOps<F>::kOps, [](void const* holder) {
            return FieldOps<F>::object(std::get<i>(V::fields()), *static_cast<V const*>(holder));
          }};
}

template <class C, auto getter>
constexpr AttributeInfo getterRow(Getter<C, getter> row) {
  return {row.name, &FieldOps<Getter<C, getter>>::kOps, [](void const* holder) { return holder; }};
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
  type.write = [](std::string& out, void const* v) { writeText(out, *static_cast<T const*>(v)); };
  if constexpr (readsBack<T>()) {
    type.read = [](TextReader& in, void* v) {
      T read{};
      readText(in, read);
      *static_cast<T*>(v) = std::move(read);
    };
    type.skip = [](TextReader& in) { readKey<T>(in); };
  }
  type.isToldByField = !readsBack<T>() || requires { T::kFlagNames; };
  if constexpr (requires(T const& v) { v.check(); }) {
    type.check = [](void const* v) { static_cast<T const*>(v)->check(); };
  }
  if constexpr (Described<T>) {
    type.fields = kFieldRows<T>;
  }
  return type;
}

}  // namespace Orb::detail
