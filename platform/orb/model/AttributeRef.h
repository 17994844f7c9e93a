#pragma once

#include <iterator>

#include "platform/orb/base/Error.h"
#include "platform/orb/model/TypeInfo.h"

/// Handles on values and attributes whose types are known at run time alone: what paths,
/// differences, copies, sessions, writers of trees and streams are made of. A handle owns nothing;
/// it is good as long as the entity or value that it was taken from, and costs two pointers.
///
///   for (AttributeRef a : attributesOf(entity)) {
///     if (a.ownsEntities()) a.eachOwned([&](ValueRef key, Entity const& child) { ... });
///     if (a.isValue()) a.visitValue([&](ValueRef value) { value.writeText(out); });
///   }
///
/// An AttributeRef looks, a MutableAttributeRef changes as well: by the attribute's own mutators,
/// with their notifications, but for what says otherwise. A value that the mutator would refuse is
/// refused before it is stored. Keys are ValueRefs of the
/// attribute's keyType(): those of another handle of the same attribute, of a C++ value
/// (valueRef() in Attribute.h), or read from a text by withKey().
namespace Orb {

class AttributeRef;
template <class Ref>
class AttributeRange;

/// A value of a type that is known at run time, or none.
class ROUTEPOLICY_EXPORT ValueRef {
 public:
  constexpr ValueRef() noexcept = default;
  constexpr ValueRef(ValueType const& type, void const* value) noexcept
      : type_(&type), value_(value) {}

  explicit operator bool() const noexcept { return value_ != nullptr; }
  /// REQUIRES of all that follows: there is a value.
  ValueType const& type() const noexcept { return *type_; }
  void const* get() const noexcept { return value_; }

  void writeText(std::string& out) const { type_->writeText(out, value_); }
  std::string text() const;
  /// The plain form (Value.h), for people; of a type without one, the text form.
  std::string plainText() const;
  bool hasPlainForm() const noexcept { return type_->writePlain != nullptr; }
  void writeBinary(std::string& out) const { type_->writeBinary(out, value_); }
  AttributeRange<AttributeRef> fields() const noexcept;

  /// Whether both are of one type and the same to a mutator.
  friend bool operator==(ValueRef const& a, ValueRef const& b) {
    return a.type_ == b.type_ && a.type_->same(a.value_, b.value_);
  }

 private:
  ValueType const* type_ = nullptr;
  void const* value_ = nullptr;
};

/// A key that one of two attributes has alone, or under which they differ.
struct MemberDifference {
  ValueRef key;  ///< none where a single entity has no name, and for single values
  ValueRef before;
  ValueRef after;
};
/// The same for owned entities; null where a side has none. They need not differ.
struct OwnedDifference {
  ValueRef key;
  Entity const* before;
  Entity const* after;
};

/// One attribute of an entity, or one field of a value.
class ROUTEPOLICY_EXPORT AttributeRef {
 public:
  /// REQUIRES: `holder` is an Entity of the type that has this row, or such a value.
  AttributeRef(AttributeInfo const& info, void const* holder) noexcept
      : info_(&info), object_(info.object(holder)) {}

  AttributeInfo const& info() const noexcept { return *info_; }
  std::string_view name() const noexcept { return info_->name; }
  AttributeKind kind() const noexcept { return info_->kind; }
  bool ownsEntities() const noexcept { return info_->ownsEntities; }
  bool hasMembers() const noexcept { return info_->hasMembers; }
  bool isValue() const noexcept { return info_->isValue(); }

  /// Appends the text form of what it holds: of an entity its key, or its type when it has none.
  void writeText(std::string& out) const;

  /// Visits a single value. REQUIRES: isValue().
  void visitValue(FunctionRef<void(ValueRef value)> visit) const;

  // Members of a collection of values. REQUIRES: hasMembers().
  bool hasNoMember() const;
  void eachMember(FunctionRef<void(ValueRef key, ValueRef member)> visit) const;
  /// Whether there is a member; it is visited.
  bool visitMember(ValueRef key, FunctionRef<void(ValueRef member)> visit) const;
  /// Visits what a new member is under that key.
  void visitNewMember(ValueRef key, FunctionRef<void(ValueRef member)> visit) const;

  // Owned entities. REQUIRES: ownsEntities(). No key stands for the single entity.
  void eachOwned(FunctionRef<void(ValueRef key, Entity const& entity)> visit) const;
  /// The entity, or null.
  Entity const* owned(ValueRef key = {}) const;
  /// Reads a key off the front of `in` and visits it. REQUIRES: the attribute has keys.
  void withKey(TextReader& in, FunctionRef<void(ValueRef key)> visit) const;
  void withKey(std::string_view text, FunctionRef<void(ValueRef key)> visit) const;

  /// Visits what differs between `before` and this in values; nothing for what is not stored.
  void differencesFrom(AttributeRef before, FunctionRef<void(MemberDifference const&)> visit) const;
  /// Visits what either of the two owns.
  void ownedDifferencesFrom(AttributeRef before,
                            FunctionRef<void(OwnedDifference const&)> visit) const;
  /// Whether stored values differ; owned entities and shared objects do not count.
  bool differsFrom(AttributeRef before) const;

  /// Appends the binary form of a stored value, or of all members: their number, then each key
  /// beside its member. REQUIRES: info().isStoredValue or hasMembers().
  void writeBinary(std::string& out) const;

 private:
  friend class MutableAttributeRef;
  AttributeInfo const* info_;
  void const* object_;
};

/// One attribute of an entity that may be changed, or one field of a value that is.
class ROUTEPOLICY_EXPORT MutableAttributeRef : public AttributeRef {
 public:
  MutableAttributeRef(Entity& owner, AttrId id) noexcept;
  /// Of a value: nothing is notified, and the value's invariant is the caller's to check.
  MutableAttributeRef(AttributeInfo const& field, void* value) noexcept;

  AttrId id() const noexcept { return id_; }

  // REQUIRES: info().isWritable.
  void set(ValueRef value) const;
  void setMember(ValueRef key, ValueRef member) const;
  /// Whether there was a member.
  bool eraseMember(ValueRef key) const;
  /// Removes all members, or all owned entities.
  void clear() const;
  /// The entity under `key`, made when it is not there; without a key, the single one if it is
  /// there or has no name.
  Ptr<Entity> makeOwned(ValueRef key = {}) const;
  /// A new entity for that key, which the attribute does not hold yet.
  Ptr<Entity> createOwned(ValueRef key = {}) const;
  /// Takes in what was created for it, and a single one in place of the one that is there.
  void insertOwned(Entity& entity) const;
  Ptr<Entity> owned(ValueRef key = {}) const;
  void eachOwned(FunctionRef<void(ValueRef key, Entity& entity)> visit) const;
  /// Visits what this and `from`, the same attribute of another entity, own: null where a side has
  /// none. `visit` may change either side.
  void eachOwnedBeside(
      AttributeRef from,
      FunctionRef<void(ValueRef key, Entity* mine, Entity const* theirs)> visit) const;
  /// Whether there was one.
  bool eraseOwned(ValueRef key = {}) const;

  /// Makes values and members equal to those of `from`, the same attribute of another entity, key
  /// by key; whether anything changed. Owned entities and shared objects stay as they are.
  bool copy(AttributeRef from) const;

  /// Reads what writeBinary() wrote, members in whatever order, and makes it the content by the
  /// mutators. What is no such form is a ParseException, and changes nothing.
  void readBinary(BinaryReader& in) const;

  // Without checks and notifications: for copies that nobody watches, and for who notifies later.
  /// Makes values and members those of `from`; strong exception guarantee.
  void assign(AttributeRef from) const;
  /// Takes in an entity that was created for this attribute of this or another owner.
  void adoptOwned(Entity& entity) const;
  /// Exchanges what two objects of the same attribute hold.
  void swap(MutableAttributeRef other) const noexcept;

 private:
  Entity* owner_;
  AttrId id_;
};

/// The attributes of an entity, or the fields of a value, in their order.
template <class Ref>
class AttributeRange {
 public:
  using Holder = std::conditional_t<std::is_same_v<Ref, AttributeRef>, void const*, Entity*>;

  AttributeRange(std::span<AttributeInfo const> rows, Holder holder) noexcept
      : rows_(rows), holder_(holder) {}

  class Iterator {
   public:
    using value_type = Ref;
    using difference_type = std::ptrdiff_t;
    Iterator() = default;
    Iterator(AttributeRange const& range, std::size_t at) : range_(range), at_(at) {}
    Ref operator*() const { return range_[at_]; }
    Iterator& operator++() {
      ++at_;
      return *this;
    }
    bool operator==(Iterator const& other) const { return at_ == other.at_; }

   private:
    AttributeRange range_;
    std::size_t at_;
  };
  Iterator begin() const { return {*this, 0}; }
  Iterator end() const { return {*this, rows_.size()}; }
  std::size_t size() const noexcept { return rows_.size(); }
  bool empty() const noexcept { return rows_.empty(); }
  Ref operator[](std::size_t at) const {
    if constexpr (std::is_same_v<Ref, AttributeRef>) {
      return Ref(rows_[at], holder_);
    } else {
      return Ref(*holder_, static_cast<AttrId>(at));
    }
  }

 private:
  std::span<AttributeInfo const> rows_;
  Holder holder_;
};

inline AttributeRange<AttributeRef> ValueRef::fields() const noexcept {
  return {type_->fields, value_};
}
inline AttributeRange<AttributeRef> attributesOf(Entity const& entity) {
  return {entity.type().attributes, &entity};
}
inline AttributeRange<MutableAttributeRef> attributesOf(Entity& entity) {
  return {entity.type().attributes, &entity};
}
inline AttributeRef attributeOf(Entity const& entity, AttrId id) {
  return {entity.type().attributes[id], &entity};
}
inline MutableAttributeRef attributeOf(Entity& entity, AttrId id) { return {entity, id}; }

}  // namespace Orb
