#pragma once

#include "platform/orb/model/detail/ValueTypes.h"

/// The rows of attribute tables, and the operations that they point to: made in the one source
/// file that has ORB_ENTITY_TYPE.
namespace Orb {

namespace detail {

/// One value that an entity stores.
template <class A>
constexpr AttributeOps scalarOps() {
  using T = typename A::Value;
  AttributeOps ops = valueOps<T, [](void const* attribute) -> Param<T> {
    return static_cast<A const*>(attribute)->get();
  }>(A::kKind);
  ops.edit = [](Place const& place, Edit edit) {
    A& attribute = *static_cast<A*>(place.attribute);
    T value = attribute.get();
    edit(&value);
    attribute.is(*place.owner, place.id, value);
  };
  ops.take = [](void* attribute, void const* from) {
    return static_cast<A*>(attribute)->take(*static_cast<A const*>(from));
  };
  if (A::kKind == AttributeKind::scalar) {
    ops.copy = [](Place const& place, void const* from, CopyChild) {
      A& attribute = *static_cast<A*>(place.attribute);
      A const& other = *static_cast<A const*>(from);
      if (sameValue<T>(attribute.get(), other.get())) return false;
      A::check(other.get());  // unlike the mutator, a copy stores nothing that is not allowed
      attribute.is(*place.owner, place.id, other.get());
      return true;
    };
  }
  return ops;
}

/// A collection of values.
template <class A>
constexpr AttributeOps collectionOps() {
  using Key = typename A::Key;
  AttributeOps ops = memberOps<A>();
  ops.copy = [](Place const& place, void const* from, CopyChild) {
    A& attribute = *static_cast<A*>(place.attribute);
    A const& other = *static_cast<A const*>(from);
    if (attribute.all().empty() && !place.owner->isWatched()) return attribute.adopt(other);
    bool changed = false;
    eachDifference(attribute.all(), other.all(), std::equal_to<>(),
                   [&](Key const& key, auto const*, auto const* theirs) {
                     changed = true;
                     if (theirs) {
                       attribute.put(place, key, A::member(*theirs));
                     } else {
                       attribute.drop(place, key);
                     }
                   });
    return changed;
  };
  return ops;
}

/// Entities that an Owner owns by key.
template <class A, class Owner>
constexpr AttributeOps childrenOps() {
  using Key = typename A::Key;
  AttributeOps ops{};
  ops.kind = A::kKind;
  ops.type = A::Target::typeName;
  ops.key = &kValueType<Key>;
  ops.text = [](void const* attribute, std::string& out) {
    writeMembers(out, static_cast<A const*>(attribute)->all());
  };
  ops.child = [](void const* attribute, TextReader* key) -> Entity* {
    if (!key) return nullptr;
    return static_cast<A const*>(attribute)->get(readKey<Key>(*key)).get();
  };
  ops.childIs = [](Place const& place, TextReader* key) -> Ptr<Entity> {
    if (!key) return nullptr;
    return static_cast<A*>(place.attribute)
        ->is(static_cast<Owner&>(*place.owner), place.id, readKey<Key>(*key));
  };
  ops.delMember = [](Place const& place, TextReader* key) {
    A& attribute = *static_cast<A*>(place.attribute);
    if (!key) {
      bool const had = !attribute.all().empty();
      attribute.delAll(*place.owner, place.id);
      return had;
    }
    Key const gone = readKey<Key>(*key);
    if (!attribute.has(gone)) return false;
    attribute.del(*place.owner, place.id, gone);
    return true;
  };
  ops.copy = [](Place const& place, void const* from, CopyChild copyChild) {
    A& attribute = *static_cast<A*>(place.attribute);
    bool changed = false;
    auto const never = [](auto const&, auto const&) { return false; };
    eachDifference(attribute.all(), static_cast<A const*>(from)->all(), never,
                   [&](Key const& key, auto const* mine, auto const* theirs) {
                     if (!mine || !theirs) changed = true;
                     if (!theirs) return attribute.del(*place.owner, place.id, key);
                     auto const source = *theirs;
                     auto const child =
                         mine ? *mine
                              : attribute.is(static_cast<Owner&>(*place.owner), place.id, key);
                     if (copyChild(*child, *source)) changed = true;
                   });
    return changed;
  };
  ops.differ = [](void const* before, void const* after, DifferVisit visit) {
    static typename A::Items const nothing;
    auto const never = [](auto const&, auto const&) { return false; };
    eachDifference(before ? static_cast<A const*>(before)->all() : nothing,
                   static_cast<A const*>(after)->all(), never,
                   [&](Key const& key, auto const* mine, auto const* theirs) {
                     visit({&key, mine ? static_cast<Entity const*>(mine->get()) : nullptr,
                            theirs ? static_cast<Entity const*>(theirs->get()) : nullptr});
                   });
  };
  return ops;
}

/// One entity that is owned, or none.
template <class A>
constexpr AttributeOps childOps() {
  AttributeOps ops{};
  ops.kind = A::kKind;
  ops.type = A::Target::typeName;
  if constexpr (A::kIsNamed) ops.key = &kValueType<Name>;
  ops.text = [](void const* attribute, std::string& out) {
    static_cast<A const*>(attribute)->text(out);
  };
  ops.child = [](void const* attribute, TextReader* key) -> Entity* {
    auto const& child = static_cast<A const*>(attribute)->get();
    if constexpr (A::kIsNamed) {
      if (key && readKey<Name>(*key) != (child ? child->name() : Name())) return nullptr;
    }
    return child.get();
  };
  ops.childIs = [](Place const& place, TextReader* key) -> Ptr<Entity> {
    A& attribute = *static_cast<A*>(place.attribute);
    if constexpr (A::kIsNamed) {
      if (key) return attribute.is(*place.owner, place.id, readKey<Name>(*key));
      return attribute.get();
    } else {
      return attribute.is(*place.owner, place.id);
    }
  };
  ops.delMember = [](Place const& place, TextReader* key) {
    A& attribute = *static_cast<A*>(place.attribute);
    if constexpr (A::kIsNamed) {
      if (key && attribute.get() && readKey<Name>(*key) != attribute.get()->name()) return false;
    }
    bool const had = attribute.get() != nullptr;
    attribute.del(*place.owner, place.id);
    return had;
  };
  ops.copy = [](Place const& place, void const* from, CopyChild copyChild) {
    A& attribute = *static_cast<A*>(place.attribute);
    auto const source = static_cast<A const*>(from)->get();
    auto const old = attribute.get();
    if (!source) {
      attribute.del(*place.owner, place.id);
      return old != nullptr;
    }
    Ptr<typename A::Target> child;
    if constexpr (A::kIsNamed) {
      child = attribute.is(*place.owner, place.id, source->name());
    } else {
      child = attribute.is(*place.owner, place.id);
    }
    bool const changed = copyChild(*child, *source);
    return changed || child != old;
  };
  ops.differ = [](void const* before, void const* after, DifferVisit visit) {
    Entity const* const mine = before ? static_cast<A const*>(before)->get().get() : nullptr;
    auto const& theirs = static_cast<A const*>(after)->get();
    if constexpr (A::kIsNamed) {
      auto const* const old = before ? static_cast<A const*>(before)->get().get() : nullptr;
      if (old && theirs && old->name() != theirs->name()) {
        visit({&old->name(), old, nullptr});
        return visit({&theirs->name(), nullptr, theirs.get()});
      }
      if (theirs || old) visit({theirs ? &theirs->name() : &old->name(), mine, theirs.get()});
    } else if (theirs || mine) {
      visit({nullptr, mine, theirs.get()});
    }
  };
  return ops;
}

/// The name of a type of shared objects, if it has one.
template <class E>
constexpr std::string_view targetName() {
  if constexpr (requires { E::typeName; }) return E::typeName;
  return {};
}

/// Shared objects: their owner is elsewhere, so by name they can only be looked at.
template <class A>
constexpr AttributeOps sharedOps() {
  AttributeOps ops{};
  ops.kind = A::kKind;
  ops.type = A::kTargetName;
  ops.text = [](void const* attribute, std::string& out) {
    static_cast<A const*>(attribute)->text(out);
  };
  return ops;
}

/// The operations on attribute objects of class A in an entity of class Owner. The owner counts
/// only where entities are made, so that most operations are shared by all entities.
template <class A, class Owner>
constexpr AttributeOps makeOps() {
  if constexpr (A::kKind == AttributeKind::child) {
    return childOps<A>();
  } else if constexpr (A::kKind == AttributeKind::children) {
    return childrenOps<A, Owner>();
  } else if constexpr (requires { A::kTargetName; }) {
    return sharedOps<A>();
  } else if constexpr (A::kKind == AttributeKind::collection) {
    return collectionOps<A>();
  } else {
    return scalarOps<A>();
  }
}
template <class A, class Owner>
inline constexpr AttributeOps kOps = makeOps<A, Owner>();

template <class M>
struct MemberOf;
template <class C, class T>
struct MemberOf<T C::*> {
  using Class = C;
  using Type = T;
};

template <class C>
Ptr<Entity> makeBlank([[maybe_unused]] Name const& name) {
  if constexpr (std::is_abstract_v<C>) {
    return nullptr;
  } else if constexpr (std::is_constructible_v<C, Name const&>) {
    return make<C>(name);
  } else if constexpr (std::is_default_constructible_v<C>) {
    return make<C>();
  } else if constexpr (std::is_constructible_v<C, U32>) {
    return make<C>(U32{0});
  } else if constexpr (requires { C::blank(); }) {
    return C::blank();
  } else {
    return nullptr;
  }
}

}  // namespace detail

/// A row that still knows its types; AttributeInfo is its erased form.
template <auto objectMember>
struct Row {
  using Class = typename detail::MemberOf<decltype(objectMember)>::Class;
  using Attribute = typename detail::MemberOf<decltype(objectMember)>::Type;
  using Owner = std::conditional_t<Attribute::kKind == AttributeKind::children, Class, Entity>;
  char const* name;
  constexpr operator AttributeInfo() const {
    return {name, &detail::kOps<Attribute, Owner>, [](void const* holder) -> void const* {
              auto const& entity = *static_cast<Entity const*>(holder);
              return &(static_cast<Class const&>(entity).*objectMember);
            }};
  }
};

/// The row of an attribute that a getter computes; the entity itself stands in for its object.
template <class Class, auto getter, AttributeKind kind>
struct DerivedRow {
  struct Attribute {
    using Key = void;
  };
  using Value = std::remove_cvref_t<std::invoke_result_t<decltype(getter), Class const&>>;
  static constexpr AttributeOps kOps = detail::valueOps<Value, [](void const* entity) {
    return std::invoke(getter, static_cast<Class const&>(*static_cast<Entity const*>(entity)));
  }>(kind);
  char const* name;
  constexpr operator AttributeInfo() const {
    return {name, &kOps, [](void const* holder) { return holder; }};
  }
};

/// The table of C; ORB_ENTITY_TYPE emits it in one source file.
template <class C>
TypeInfo const& typeInfoOf() {
  if constexpr (C::kAttributeCount == 0) {
    static constexpr TypeInfo kInfo{C::typeName, {}, &detail::makeBlank<C>};
    return kInfo;
  } else {
    static constexpr auto kRows = []<std::size_t... i>(std::index_sequence<i...>) {
      return std::array<AttributeInfo, sizeof...(i)>{C::row(Id<typename C::Attr{i}>())...};
    }
    (std::make_index_sequence<C::kAttributeCount>());
    static constexpr TypeInfo kInfo{C::typeName, kRows, &detail::makeBlank<C>};
    return kInfo;
  }
}

}  // namespace Orb
