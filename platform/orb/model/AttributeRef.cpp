#include "platform/orb/model/AttributeRef.h"

#include <utility>

#include "platform/orb/model/detail/AttributeClass.h"

// The one place where types are gone: attribute objects, keys and values are plain addresses here,
// and the tables of their classes say what they are. Constness is cast away here alone, too: rows
// lead to attribute objects that may not be changed, and a MutableAttributeRef is made of an entity
// or value that may.

namespace Orb {

using detail::AttributeClass;
using detail::Place;

namespace {

AttributeClass const& classOf(AttributeInfo const& info) { return *info.objectClass; }

/// Appends "{ a, b }", and "{}" for nothing.
class Listing {
 public:
  explicit Listing(std::string& out) : out_(out) {}
  void next() { out_ += std::exchange(separator_, ", "); }
  void end() { out_ += separator_[0] == '{' ? "{}" : " }"; }

 private:
  std::string& out_;
  char const* separator_ = "{ ";
};

ValueRef keyRef(AttributeClass const& a, void const* key) {
  return key ? ValueRef(*a.key, key) : ValueRef();
}
ValueRef memberRef(AttributeClass const& a, void const* member) {
  return member ? ValueRef(*a.value, member) : ValueRef();
}

/// The address of a key of that attribute, or null for none.
void const* addressOf(AttributeClass const& a, ValueRef key) {
  if (!key) return nullptr;
  ORB_ASSERT(&key.type() == a.key);
  return key.get();
}

}  // namespace

std::string_view AttributeInfo::typeName() const noexcept { return objectClass->typeName; }
ValueType const* AttributeInfo::keyType() const noexcept { return objectClass->key; }
ValueType const* AttributeInfo::valueType() const noexcept { return objectClass->value; }

std::string ValueRef::text() const {
  std::string out;
  writeText(out);
  return out;
}

std::string ValueRef::plainText() const {
  if (!hasPlainForm()) return text();
  std::string out;
  type_->writePlain(out, value_);
  return out;
}

// To look at

void AttributeRef::writeText(std::string& out) const {
  AttributeClass const& a = classOf(*info_);
  if (a.sharedText) return a.sharedText(object_, out);
  if (a.scalar) {
    return a.scalar->visit(object_, [&](void const* value) { a.value->writeText(out, value); });
  }
  if (a.kind == AttributeKind::child) {
    bool isThere = false;
    a.owned->each(object_, [&](void const* key, Entity& child) {
      isThere = true;
      key ? a.key->writeText(out, key) : void(out += child.type().name);
    });
    if (!isThere) out += detail::kNoEntity;
    return;
  }
  Listing listing(out);
  if (a.owned) {
    a.owned->each(object_, [&](void const* key, Entity&) {
      listing.next();
      a.key->writeText(out, key);
    });
  } else {
    a.members->each(object_, [&](void const* key, void const* member) {
      listing.next();
      if (a.members->keyIsApart) {
        a.key->writeText(out, key);
        out += ": ";
      }
      a.value->writeText(out, member);
    });
  }
  listing.end();
}

void AttributeRef::visitValue(FunctionRef<void(ValueRef)> visit) const {
  AttributeClass const& a = classOf(*info_);
  a.scalar->visit(object_, [&](void const* value) { visit({*a.value, value}); });
}

bool AttributeRef::hasNoMember() const { return classOf(*info_).members->empty(object_); }

void AttributeRef::eachMember(FunctionRef<void(ValueRef, ValueRef)> visit) const {
  AttributeClass const& a = classOf(*info_);
  a.members->each(object_, [&](void const* key, void const* member) {
    visit({*a.key, key}, {*a.value, member});
  });
}

bool AttributeRef::visitMember(ValueRef key, FunctionRef<void(ValueRef)> visit) const {
  AttributeClass const& a = classOf(*info_);
  return a.members->find(object_, addressOf(a, key), [&](void const* member) {
    visit({*a.value, member});
  });
}

void AttributeRef::visitNewMember(ValueRef key, FunctionRef<void(ValueRef)> visit) const {
  AttributeClass const& a = classOf(*info_);
  a.members->fresh(addressOf(a, key), [&](void const* member) { visit({*a.value, member}); });
}

void AttributeRef::eachOwned(FunctionRef<void(ValueRef, Entity const&)> visit) const {
  AttributeClass const& a = classOf(*info_);
  a.owned->each(object_, [&](void const* key, Entity& entity) { visit(keyRef(a, key), entity); });
}

Entity const* AttributeRef::owned(ValueRef key) const {
  AttributeClass const& a = classOf(*info_);
  return a.owned->find(object_, addressOf(a, key));
}

void AttributeRef::withKey(TextReader& in, FunctionRef<void(ValueRef)> visit) const {
  ValueType const& type = *classOf(*info_).key;
  type.readTyped(in, [&](void const* key) { visit({type, key}); });
}

void AttributeRef::withKey(std::string_view text, FunctionRef<void(ValueRef)> visit) const {
  TextReader in(text);
  withKey(in, [&](ValueRef key) {
    in.end();
    visit(key);
  });
}

void AttributeRef::differencesFrom(AttributeRef before,
                                   FunctionRef<void(MemberDifference const&)> visit) const {
  AttributeClass const& a = classOf(*info_);
  if (a.members) {
    a.members->differ(before.object_, object_,
                      [&](void const* key, void const* was, void const* is) {
                        visit({{*a.key, key}, memberRef(a, was), memberRef(a, is)});
                      });
  } else if (info_->isStoredValue) {
    before.visitValue([&](ValueRef was) {
      visitValue([&](ValueRef is) {
        if (!(was == is)) visit({{}, was, is});
      });
    });
  }
}

void AttributeRef::ownedDifferencesFrom(AttributeRef before,
                                        FunctionRef<void(OwnedDifference const&)> visit) const {
  AttributeClass const& a = classOf(*info_);
  a.owned->differ(before.object_, object_,
                  [&](void const* key, Entity const* was, Entity const* is) {
                    visit({keyRef(a, key), was, is});
                  });
}

bool AttributeRef::differsFrom(AttributeRef before) const {
  bool differs = false;
  differencesFrom(before, [&](MemberDifference const&) { differs = true; });
  return differs;
}

void AttributeRef::writeBinary(std::string& out) const {
  if (isValue()) return visitValue([&](ValueRef value) { value.writeBinary(out); });
  U64 count = 0;
  eachMember([&](ValueRef, ValueRef) { ++count; });
  Orb::writeBinary(out, count);
  eachMember([&](ValueRef key, ValueRef member) {
    key.writeBinary(out);
    member.writeBinary(out);
  });
}

// To change

namespace {

/// An attribute object of something that may be changed.
void* mutableObject(void const* object) { return const_cast<void*>(object); }

Place placeOf(void const* object, Entity* owner, AttrId id) {
  return {mutableObject(object), owner, id};
}

}  // namespace

MutableAttributeRef::MutableAttributeRef(Entity& owner, AttrId id) noexcept
    : AttributeRef(owner.type().attributes[id], &owner), owner_(&owner), id_(id) {}

MutableAttributeRef::MutableAttributeRef(AttributeInfo const& field, void* value) noexcept
    : AttributeRef(field, value), owner_(nullptr), id_(0) {}

void MutableAttributeRef::set(ValueRef value) const {
  AttributeClass const& a = classOf(*info_);
  ORB_ASSERT(&value.type() == a.value);
  if (a.scalar->check) a.scalar->check(value.get());
  a.scalar->set(placeOf(object_, owner_, id_), value.get());
}

void MutableAttributeRef::setMember(ValueRef key, ValueRef member) const {
  AttributeClass const& a = classOf(*info_);
  ORB_ASSERT(&member.type() == a.value);
  a.members->set(placeOf(object_, owner_, id_), addressOf(a, key), member.get());
}

bool MutableAttributeRef::eraseMember(ValueRef key) const {
  AttributeClass const& a = classOf(*info_);
  return a.members->erase(placeOf(object_, owner_, id_), addressOf(a, key));
}

void MutableAttributeRef::clear() const {
  AttributeClass const& a = classOf(*info_);
  Place const place = placeOf(object_, owner_, id_);
  a.owned ? static_cast<void>(a.owned->erase(place, nullptr)) : a.members->clear(place);
}

Ptr<Entity> MutableAttributeRef::makeOwned(ValueRef key) const {
  AttributeClass const& a = classOf(*info_);
  Ptr<Entity> entity = owned(key);
  if (entity || (a.key && !key)) return entity;
  entity = createOwned(key);
  insertOwned(*entity);
  return entity;
}

Ptr<Entity> MutableAttributeRef::owned(ValueRef key) const {
  AttributeClass const& a = classOf(*info_);
  return Ptr<Entity>(a.owned->find(object_, addressOf(a, key)));
}

void MutableAttributeRef::eachOwned(FunctionRef<void(ValueRef, Entity&)> visit) const {
  AttributeClass const& a = classOf(*info_);
  a.owned->each(object_, [&](void const* key, Entity& entity) { visit(keyRef(a, key), entity); });
}

void MutableAttributeRef::eachOwnedBeside(
    AttributeRef from, FunctionRef<void(ValueRef, Entity*, Entity const*)> visit) const {
  AttributeClass const& a = classOf(*info_);
  a.owned->differ(object_, from.object_, [&](void const* key, Entity* mine, Entity const* theirs) {
    visit(keyRef(a, key), mine, theirs);
  });
}

bool MutableAttributeRef::eraseOwned(ValueRef key) const {
  AttributeClass const& a = classOf(*info_);
  return a.owned->erase(placeOf(object_, owner_, id_), addressOf(a, key));
}

bool MutableAttributeRef::copy(AttributeRef from) const {
  AttributeClass const& a = classOf(*info_);
  if (a.scalar && a.scalar->copy)
    return a.scalar->copy(placeOf(object_, owner_, id_), from.object_);
  if (!a.members) return false;
  Place const place = placeOf(object_, owner_, id_);
  if (hasNoMember() && !owner_->isWatched()) {
    a.members->clear(place);  // of nothing: an owner may have derived something from that
    assign(from);             // at once, as no observer is to be notified of each key
    if (hasNoMember()) return false;
    owner_->isModifiedIs(true);
    return true;
  }
  bool changed = false;
  a.members->differ(object_, from.object_, [&](void const* key, void const*, void const* theirs) {
    changed = true;
    if (theirs) {
      a.members->set(place, key, theirs);
    } else {
      a.members->erase(place, key);
    }
  });
  return changed;
}

void MutableAttributeRef::readBinary(BinaryReader& in) const {
  AttributeClass const& a = classOf(*info_);
  if (isValue()) {
    return a.value->readBinary(in, [&](void const* value) { set({*a.value, value}); });
  }
  // Into an object of its own first: nothing changes when the bytes are no such form.
  Ptr<Entity> const scratch = owner_->type().make({});
  ORB_ASSERT(scratch && "an entity type with a collection of values can be made alone");
  MutableAttributeRef const read(*scratch, id_);
  U64 count = 0;
  for (Orb::readBinary(in, count); count > 0; --count) {
    a.key->readBinary(in, [&](void const* key) {
      a.value->readBinary(in, [&](void const* member) {
        if (read.visitMember({*a.key, key}, [](ValueRef) {})) {
          throw ParseException({}, "a key of a collection stands twice");
        }
        read.setMember({*a.key, key}, {*a.value, member});
      });
    });
  }
  copy(attributeOf(std::as_const(*scratch), id_));
}

void MutableAttributeRef::assign(AttributeRef from) const {
  classOf(*info_).assign(mutableObject(object_), from.object_);
}

Ptr<Entity> MutableAttributeRef::createOwned(ValueRef key) const {
  AttributeClass const& a = classOf(*info_);
  return a.owned->create(placeOf(object_, owner_, id_), addressOf(a, key));
}

void MutableAttributeRef::insertOwned(Entity& entity) const {
  classOf(*info_).owned->insert(placeOf(object_, owner_, id_), entity);
}

void MutableAttributeRef::adoptOwned(Entity& entity) const {
  classOf(*info_).owned->adopt(mutableObject(object_), entity);
}

void MutableAttributeRef::swap(MutableAttributeRef other) const noexcept {
  classOf(*info_).swap(mutableObject(object_), mutableObject(other.object_));
}

}  // namespace Orb
