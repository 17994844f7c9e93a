#pragma once

#include "platform/orb/model/AttributeRef.h"
#include "platform/orb/model/Collections.h"
#include "platform/orb/model/Declare.h"
#include "platform/orb/model/Owned.h"
#include "platform/orb/model/Scalar.h"
#include "platform/orb/model/detail/AttributeRows.h"

/// Attribute objects: what one attribute stores, how it changes, and how generic code sees it.
///
/// An attribute object does not know its owner: the owner hands itself and the attribute's id to
/// every mutation, so an attribute takes no more room than its value. Every mutator compares,
/// stores, checks and notifies, in this order. An observer may change the collection, or leave, or
/// delete the owner: the key that it is given is a copy, and nothing is touched after the
/// notification.
///
/// The mutators are called set (a single value), insert, erase and clear (collections and
/// children), and make (a single child). What assigns, takes in or swaps without notification is
/// for copies that nobody watches, and for who notifies later.
namespace Orb {

/// The collections by name: values, children and shared objects, each in the order of their keys or
/// hashed.
template <class V, auto keyOf>
using OrderedValues = ValueCollection<V, OrderedMap, keyOf>;
template <class V, auto keyOf>
using HashValues = ValueCollection<V, KeyedHashMap, keyOf>;
template <class E>
using OrderedChildren = Children<E, OrderedMap>;
template <class E>
using HashChildren = Children<E, KeyedHashMap>;
template <class E, auto keyOf>
using OrderedShared = SharedCollection<E, OrderedMap, keyOf>;
template <class E, auto keyOf>
using HashShared = SharedCollection<E, KeyedHashMap, keyOf>;

/// A C++ value as generic code sees it.
template <class T>
ValueRef valueRef(T const& value) noexcept {
  return {detail::kValueType<T>, &value};
}

}  // namespace Orb
