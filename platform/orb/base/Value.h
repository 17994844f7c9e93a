#pragma once

#include <array>
#include <bit>
#include <compare>
#include <ostream>
#include <span>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "platform/orb/base/Binary.h"
#include "platform/orb/base/DeclareValue.h"
#include "platform/orb/base/Error.h"
#include "platform/orb/base/Text.h"

/// Values: plain records, compared by content. A value type names its fields once, in order, with
/// ORB_VALUE, and declares each with ORB_FIELD (DeclareValue.h); equality, ordering, hash, text and
/// binary form with their readers, and stream output follow from that.
namespace Orb {

/// Whether two values are the same to a mutator: equal, and floating-point numbers bit by bit.
template <class T>
bool sameValue(T const& a, T const& b) {
  if constexpr (std::is_floating_point_v<T>) {
    using Bits = std::conditional_t<sizeof(T) == sizeof(U32), U32, U64>;
    return std::bit_cast<Bits>(a) == std::bit_cast<Bits>(b);
  } else {
    return a == b;
  }
}

/// One field of a value type.
template <class C, class T>
struct Field {
  using Type = T;
  char const* name;
  T C::*member;

  constexpr T const& get(C const& value) const { return value.*member; }
  template <class Arg>
  constexpr void set(C& value, Arg&& field) const {
    value.*member = std::forward<Arg>(field);
  }
  void read(TextReader& in, C& value) const { readText(in, value.*member); }
  void read(BinaryReader& in, C& value) const { readBinary(in, value.*member); }
};

/// What a value type computes from its fields: read by name, and no part of its text.
template <class C, auto getter>
struct Getter {
  char const* name;
};

/// A type that ORB_VALUE declared.
template <class T>
concept Described = requires {
  T::fields();
  T::typeName;
};

namespace detail {

/// Calls `visit(field)` for each field of V in order.
template <Described V, class Visit>
constexpr void forEachField(Visit const& visit) {
  std::apply([&](auto const&... field) { (visit(field), ...); }, V::fields());
}

/// Reads one field into the value that has it.
template <class Reader>
struct FieldReader {
  char const* name;
  void (*read)(Reader& in, void* value);
};
/// Those of V, in order. What is common to all fields is code for all types.
template <class Reader, class V>
inline constexpr auto kFieldReaders = []<std::size_t... i>(std::index_sequence<i...>) {
  return std::array<FieldReader<Reader>, sizeof...(i)>{
      FieldReader<Reader>{std::get<i>(V::fields()).name, [](Reader& in, void* value) {
                            std::get<i>(V::fields()).read(in, *static_cast<V*>(value));
                          }}...};
}
(std::make_index_sequence<std::tuple_size_v<decltype(V::fields())>>());

/// Reads the fields in their order; what goes wrong names one.
ROUTEPOLICY_EXPORT void readFields(TextReader& in, char const* typeName,
                                   std::span<FieldReader<TextReader> const> fields, void* value);
ROUTEPOLICY_EXPORT void readFields(BinaryReader& in, char const* typeName,
                                   std::span<FieldReader<BinaryReader> const> fields, void* value);
ROUTEPOLICY_EXPORT void writeValueStart(std::string& out, char const* typeName);
ROUTEPOLICY_EXPORT void writeFieldName(std::string& out, char const* field, bool isFirst);
/// The text form of a set of flags: a boolean for each name, that of the lowest bit first. A loop:
/// there may be many, and the code for each would be the same.
ROUTEPOLICY_EXPORT void writeFlags(std::string& out, char const* typeName,
                                   std::span<std::string_view const> names, U32 flags);
ROUTEPOLICY_EXPORT U32 readFlags(TextReader& in, char const* typeName,
                                 std::span<std::string_view const> names);

template <class V>
concept SetOfFlags = requires {
  V::kFlagNames;
};

}  // namespace detail

/// Appends "Value('TYPE', ** {'field': value, ...})".
template <Described V>
void writeText(std::string& out, V const& v) {
  if constexpr (detail::SetOfFlags<V>) {
    detail::writeFlags(out, V::typeName, V::kFlagNames, v.value());
  } else {
    detail::writeValueStart(out, V::typeName);
    bool isFirst = true;
    detail::forEachField<V>([&](auto const& field) {
      detail::writeFieldName(out, field.name, std::exchange(isFirst, false));
      writeText(out, field.get(v));
    });
    out += "})";
  }
}

/// Reads the same form back. What does not read is a ParseException that names the field where
/// that shows; what the type's own check() refuses is the RangeException that it throws.
template <Described V>
void readText(TextReader& in, V& v) {
  V read;
  if constexpr (detail::SetOfFlags<V>) {
    read.valueIs(detail::readFlags(in, V::typeName, V::kFlagNames));
  } else {
    detail::readFields(in, V::typeName, detail::kFieldReaders<TextReader, V>, &read);
    if constexpr (requires { read.check(); }) read.check();
  }
  v = std::move(read);
}

/// A value type may have a second form, for people, by two functions that its namespace has beside
/// it:
///   void writePlain(std::string& out, T const& v);
///   void readPlain(Orb::TextReader& in, T& v);    throws as readText() does
/// Nothing in it ends a TextReader::word(), and it does not begin with "Value(". It is read where a
/// path has a key or a value, and written for the eye alone: lines of a configuration and
/// differences have the text form. (Keys of owned entities are names and numbers, which have one
/// form: so has the path to an entity.)
template <class V>
concept HasPlainForm = Described<V> && requires(std::string& out, TextReader& in, V& v) {
  writePlain(out, v);
  readPlain(in, v);
};

/// Reads whichever of the two forms stands at the front.
template <HasPlainForm V>
void readTyped(TextReader& in, V& v) {
  in.rest().starts_with("Value(") ? readText(in, v) : readPlain(in, v);
}

/// Appends the binary forms of the fields in their order; a set of flags is one number.
template <Described V>
void writeBinary(std::string& out, V const& v) {
  if constexpr (detail::SetOfFlags<V>) {
    writeBinary(out, v.value());
  } else {
    detail::forEachField<V>([&](auto const& field) { writeBinary(out, field.get(v)); });
  }
}

/// Reads the same form back, with the exceptions of readText().
template <Described V>
void readBinary(BinaryReader& in, V& v) {
  V read;
  if constexpr (detail::SetOfFlags<V>) {
    U32 flags = 0;
    readBinary(in, flags);
    read.valueIs(flags);
  } else {
    detail::readFields(in, V::typeName, detail::kFieldReaders<BinaryReader, V>, &read);
    if constexpr (requires { read.check(); }) read.check();
  }
  v = std::move(read);
}

/// Stores one field; when the type's check() refuses the result, nothing is stored.
template <class C, class T>
void setField(C& value, T C::*member, Param<T> field) {
  if constexpr (requires { value.check(); }) {
    C changed = value;
    changed.*member = field;
    changed.check();
    value = std::move(changed);
  } else {
    value.*member = field;
  }
}

template <Described V>
U32 hashOf(V const& v) {
  U32 h = 2166136261U;
  detail::forEachField<V>([&](auto const& field) { h = hashMix(h, hashOf(field.get(v))); });
  return h;
}

/// Base of every value type.
template <class Self>
struct Value {
  /// The value with these fields, in their order.
  template <class... Args>
  static Self of(Args&&... args) {
    Self v;
    auto const set = [&](auto const&... field) {
      static_assert(sizeof...(field) == sizeof...(Args), "one argument for each field");
      (field.set(v, std::forward<Args>(args)), ...);
    };
    std::apply(set, Self::fields());
    if constexpr (requires { v.check(); }) v.check();
    return v;
  }

  friend bool operator==(Self const& a, Self const& b) {
    bool equal = true;
    detail::forEachField<Self>(
        [&](auto const& field) { equal = equal && field.get(a) == field.get(b); });
    return equal;
  }
  /// Field by field, in their order.
  friend std::strong_ordering operator<=>(Self const& a, Self const& b) {
    std::strong_ordering order = std::strong_ordering::equal;
    detail::forEachField<Self>([&](auto const& field) {
      if (order == 0) order = field.get(a) <=> field.get(b);
    });
    return order;
  }
  friend std::ostream& operator<<(std::ostream& out, Self const& v) { return out << toText(v); }
};

}  // namespace Orb
