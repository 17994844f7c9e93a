#pragma once

#include <cstdint>
#include <type_traits>

/// Marks what the shared library offers; everything else stays hidden in it.
#define ROUTEPOLICY_EXPORT __attribute__((visibility("default")))

namespace Orb {

using U8 = std::uint8_t;
using U16 = std::uint16_t;
using U32 = std::uint32_t;
using U64 = std::uint64_t;
using S32 = std::int32_t;

/// A text that ends in a NUL and belongs to the caller.
using CharPtrConst = char const*;

/// The place of an attribute in its type's declaration order.
using AttrId = U16;

/// How an argument of type T is handed over: scalars by value, the rest by reference.
template <class T>
using Param = std::conditional_t<std::is_scalar_v<T>, T, T const&>;

/// Stands for one attribute or field in the overloads of row() that declare a type.
template <auto id>
struct Id {};

}  // namespace Orb
