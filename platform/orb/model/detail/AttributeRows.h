#pragma once

#include <algorithm>

#include "platform/orb/model/Owned.h"
#include "platform/orb/model/Scalar.h"
#include "platform/orb/model/detail/ValueTypes.h"

/// The rows of attribute tables, and the operations that they point to: made in the one source
/// file that has ORB_ENTITY_TYPE. Operations are erased once for each class of attribute objects,
/// and what a type of values can do once for each type, so a type with 75 attributes costs a
/// table, not code.
namespace Orb {

namespace detail {

template <class A>
A& attributeAt(Place const& place) {
  return *static_cast<A*>(place.attribute);
}
template <class A>
void assignAttribute(void* to, void const* from) {
  static_cast<A*>(to)->assign(as<A>(from));
}
template <class A>
void swapAttributes(void* a, void* b) noexcept {
  swap(*static_cast<A*>(a), *static_cast<A*>(b));
}

/// One value that an entity stores.
template <class A>
struct ScalarClass {
  using T = typename A::Value;

  static void visit(void const* attribute, Visit visit) {
    T const& value = as<A>(attribute).get();
    visit(&value);
  }
  static void check(void const* value) { A::check(as<T>(value)); }
  static void set(Place const& place, void const* value) {
    attributeAt<A>(place).set(*place.owner, place.id, as<T>(value));
  }
  static bool copy(Place const& place, void const* from) {
    T const& value = as<A>(from).get();
    if (sameValue<T>(attributeAt<A>(place).get(), value)) return false;
    A::check(value);
    attributeAt<A>(place).set(*place.owner, place.id, value);
    return true;
  }

  static constexpr ScalarOps kOps{visit, A::kIsChecked ? check : nullptr, set, copy};
  static constexpr AttributeClass make() {
    AttributeClass made{};
    made.kind = A::kKind;
    made.isWritable = true;
    made.typeName = kTypeName<T>;
    made.value = &kValueType<T>;
    made.scalar = &kOps;
    made.assign = assignAttribute<A>;
    made.swap = swapAttributes<A>;
    return made;
  }
};

/// A collection of values.
template <class A>
struct CollectionClass {
  static constexpr AttributeClass make() {
    AttributeClass made{};
    made.kind = A::kKind;
    made.isWritable = true;
    made.typeName = kTypeName<typename A::Member>;
    made.key = &kValueType<typename A::Key>;
    made.value = &kValueType<typename A::Member>;
    made.members = &Members<A>::kOps;
    made.assign = assignAttribute<A>;
    made.swap = swapAttributes<A>;
    return made;
  }
};

/// Entities that are owned by key, whatever their type; Erased is an OwnedEntities.
template <class Erased>
struct ErasedChildren {
  using Key = typename Erased::Key;
  using Base = typename Erased::Base;
  using Items = typename Erased::Items;

  static Items const& items(void const* attribute) {
    return as<Erased>(attribute).Collection<Items>::all();
  }
  static void each(void const* attribute, VisitOwned visit) {
    for (Ptr<Base> const& child : items(attribute)) {
      Key const key = child->ownKey();
      visit(&key, *child);
    }
  }
  static Entity* find(void const* attribute, void const* key) {
    return key ? as<Erased>(attribute).find(as<Key>(key)) : nullptr;
  }
  static bool erase(Place const& place, void const* key) {
    Erased& attribute = attributeAt<Erased>(place);
    if (key) return attribute.erase(*place.owner, place.id, as<Key>(key));
    bool const had = !items(place.attribute).empty();
    attribute.clear(*place.owner, place.id);
    return had;
  }
  static void insert(Place const& place, Entity& entity) {
    attributeAt<Erased>(place).add(*place.owner, place.id, Ptr<Base>(&static_cast<Base&>(entity)));
  }
  static void adopt(void* attribute, Entity& entity) {
    static_cast<Erased*>(attribute)->adopt(Ptr<Base>(&static_cast<Base&>(entity)));
  }
  static void differ(void const* before, void const* after, VisitOwnedDifference visit) {
    auto const never = [](auto const&, auto const&) { return false; };
    eachDifference(items(before), items(after), never,
                   [&](Key const& key, Ptr<Base> const* mine, Ptr<Base> const* theirs) {
                     Ptr<Base> const was = mine ? *mine : nullptr;
                     Ptr<Base> const is = theirs ? *theirs : nullptr;
                     visit(&key, was.get(), is.get());
                   });
  }
};

/// The same of one type, in an Owner. The operations that do not ask for the type are those of the
/// erased class; rows lead to that part of an attribute object.
template <class A, class Owner>
struct ChildrenClass {
  using Key = typename A::Key;
  using E = typename A::Target;
  using Erased = ErasedChildren<typename A::Erased>;

  static Ptr<Entity> create(Place const& place, void const* key) {
    return A::create(static_cast<Owner&>(*place.owner), as<Key>(key));
  }

  static constexpr OwnedOps kOps{Erased::each,  Erased::find,  create,        Erased::insert,
                                 Erased::erase, Erased::adopt, Erased::differ};
  static constexpr AttributeClass makeClass() {
    AttributeClass made{};
    made.kind = A::kKind;
    made.isWritable = true;
    made.typeName = E::typeName;
    made.key = &kValueType<Key>;
    made.owned = &kOps;
    made.swap = swapAttributes<typename A::Erased>;
    return made;
  }
};

/// One entity that is owned, or none; the key is its name, if it has one.
template <class A>
struct ChildClass {
  using E = typename A::Target;

  static void const* keyOf(Entity const& entity) {
    if constexpr (A::kIsNamed) return &static_cast<NamedEntity const&>(entity).name();
    return nullptr;
  }
  /// Whether an entity is the one that a key asks for.
  static bool isMeant([[maybe_unused]] E const& entity, [[maybe_unused]] void const* key) {
    if constexpr (A::kIsNamed) return !key || as<Name>(key) == entity.name();
    return true;
  }
  static void each(void const* attribute, VisitOwned visit) {
    Ptr<E> const child = as<A>(attribute).get();
    if (child) visit(keyOf(*child), *child);
  }
  static Entity* find(void const* attribute, void const* key) {
    Ptr<E> const& child = as<A>(attribute).get();
    return child && isMeant(*child, key) ? child.get() : nullptr;
  }
  static void insert(Place const& place, Entity& entity) {
    attributeAt<A>(place).add(*place.owner, place.id, Ptr<E>(&static_cast<E&>(entity)));
  }
  static bool erase(Place const& place, void const* key) {
    return find(place.attribute, key) && attributeAt<A>(place).erase(*place.owner, place.id);
  }
  static Ptr<Entity> create(Place const&, [[maybe_unused]] void const* key) {
    if constexpr (A::kIsNamed) {
      return Orb::make<E>(as<Name>(key));
    } else {
      return Orb::make<E>();
    }
  }
  static void adopt(void* attribute, Entity& entity) {
    static_cast<A*>(attribute)->adopt(Ptr<E>(&static_cast<E&>(entity)));
  }
  static void differ(void const* before, void const* after, VisitOwnedDifference visit) {
    Ptr<E> const mine = as<A>(before).get();
    Ptr<E> const theirs = as<A>(after).get();
    if (mine && theirs && isMeant(*theirs, keyOf(*mine))) {
      return visit(keyOf(*mine), mine.get(), theirs.get());
    }
    if (mine) visit(keyOf(*mine), mine.get(), nullptr);
    if (theirs) visit(keyOf(*theirs), nullptr, theirs.get());
  }

  static constexpr OwnedOps kOps{each, find, create, insert, erase, adopt, differ};
  static constexpr AttributeClass makeClass() {
    AttributeClass made{};
    made.kind = A::kKind;
    made.isWritable = true;
    made.typeName = E::typeName;
    if constexpr (A::kIsNamed) made.key = &kValueType<Name>;
    made.owned = &kOps;
    made.swap = swapAttributes<A>;
    return made;
  }
};

/// Shared objects: their owner is elsewhere, so by name they can only be looked at.
template <class A>
struct SharedClass {
  static constexpr AttributeClass make() {
    AttributeClass made{};
    made.kind = A::kKind;  // and not writable
    made.typeName = A::kTargetName;
    made.sharedText = [](void const* attribute, std::string& out) {
      as<A>(attribute).writeText(out);
    };
    return made;
  }
};

/// The class of attribute objects A in an entity of class Owner. The owner counts only where
/// entities are made, so that most classes are shared by all entities.
template <class A, class Owner>
constexpr AttributeClass makeClass() {
  if constexpr (A::kKind == AttributeKind::child) {
    return ChildClass<A>::makeClass();
  } else if constexpr (A::kKind == AttributeKind::children) {
    return ChildrenClass<A, Owner>::makeClass();
  } else if constexpr (requires { A::kTargetName; }) {
    return SharedClass<A>::make();
  } else if constexpr (A::kKind == AttributeKind::collection) {
    return CollectionClass<A>::make();
  } else {
    return ScalarClass<A>::make();
  }
}
template <class A, class Owner>
inline constexpr AttributeClass kClass = makeClass<A, Owner>();

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
    return detail::makeInfo(name, detail::kClass<Attribute, Owner>, object);
  }

 private:
  static void const* object(void const* holder) {
    auto const& entity = *static_cast<Entity const*>(holder);
    Attribute const& attribute = static_cast<Class const&>(entity).*objectMember;
    if constexpr (Attribute::kKind == AttributeKind::children) {
      return static_cast<typename Attribute::Erased const*>(&attribute);
    } else {
      return &attribute;
    }
  }
};

/// The row of an attribute that a getter computes; the entity itself stands in for its object.
template <class Class, auto getter, AttributeKind kind>
struct DerivedRow {
  struct Attribute {
    using Key = void;
  };
  using Value = std::remove_cvref_t<std::invoke_result_t<decltype(getter), Class const&>>;
  static constexpr detail::ScalarOps kOps{
      [](void const* entity, Visit visit) {
        Value const& value =
            std::invoke(getter, static_cast<Class const&>(*static_cast<Entity const*>(entity)));
        visit(&value);
      },
      nullptr, nullptr, nullptr};
  static constexpr detail::AttributeClass kClass = detail::computedClass<Value>(kind, false, kOps);
  char const* name;
  constexpr operator AttributeInfo() const {
    return detail::makeInfo(name, kClass, [](void const* holder) { return holder; });
  }
};

namespace detail {

/// Whether an attribute of that row is stored in its entity.
constexpr bool isStored(AttributeInfo const& row) {
  return row.isStoredValue || row.hasMembers || row.ownsEntities;
}

template <auto const& rows>
constexpr auto storedIds() {
  constexpr std::size_t kCount =
      static_cast<std::size_t>(std::count_if(rows.begin(), rows.end(), isStored));
  std::array<AttrId, kCount> ids{};
  std::size_t next = 0;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (isStored(rows[i])) ids[next++] = static_cast<AttrId>(i);
  }
  return ids;
}

/// The table of a type that has attributes.
template <class C>
struct Table {
  static constexpr auto kRows = []<std::size_t... i>(std::index_sequence<i...>) {
    return std::array<AttributeInfo, sizeof...(i)>{C::row(Id<typename C::Attr{i}>())...};
  }
  (std::make_index_sequence<C::kAttributeCount>());
  static constexpr auto kStored = storedIds<kRows>();
  static constexpr bool kOwns = std::any_of(
      kRows.begin(), kRows.end(), [](AttributeInfo const& row) { return row.ownsEntities; });
  static constexpr TypeInfo kInfo{C::typeName, kRows, &makeBlank<C>, kOwns, kStored};
};

}  // namespace detail

/// The table of C; ORB_ENTITY_TYPE emits it in one source file.
template <class C>
TypeInfo const& typeInfoOf() {
  if constexpr (C::kAttributeCount == 0) {
    static constexpr TypeInfo kInfo{C::typeName, {}, &detail::makeBlank<C>, false, {}};
    return kInfo;
  } else {
    return detail::Table<C>::kInfo;
  }
}

}  // namespace Orb
