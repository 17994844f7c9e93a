#pragma once

#include <string>
#include <vector>

#include "platform/orb/model/TypeInfo.h"

namespace Cli::Session::detail {

/// Where an entity owns others: a key in an attribute of children, or an attribute that holds a
/// single one.
class OwnedPlace {
 public:
  /// `key` is the text of the key; empty for a single entity without a name.
  OwnedPlace(Orb::Entity const& owner, Orb::AttrId attribute, std::string_view key)
      : a_(owner.type().attributes[attribute]),
        place_{const_cast<void*>(a_.object(&owner)), const_cast<Orb::Entity*>(&owner), attribute},
        key_(key) {}

  /// The entity there, or null.
  Orb::Ptr<Orb::Entity> child() const {
    Orb::TextReader key(key_);
    return Orb::Ptr<Orb::Entity>(a_.ops->child(place_.attribute, keyOf(key)));
  }
  /// Whether it is the place of a single entity, and one of another name is there.
  bool isTaken() const {
    return a_.ops->kind == Orb::AttributeKind::child && a_.ops->child(place_.attribute, nullptr);
  }
  /// The entity there, made if there is none.
  Orb::Ptr<Orb::Entity> childIs() const {
    Orb::TextReader key(key_);
    return a_.ops->childIs(place_, keyOf(key));
  }
  /// Whether there was one to remove.
  bool del() const {
    Orb::TextReader key(key_);
    return a_.ops->delMember(place_, keyOf(key));
  }

  /// The texts of the keys under which `owner` owns entities.
  static std::vector<std::string> keys(Orb::Entity const& owner, Orb::AttrId attribute) {
    Orb::AttributeInfo const& a = owner.type().attributes[attribute];
    std::vector<std::string> all;
    a.ops->differ(nullptr, a.object(&owner), [&](Orb::MemberDifference const& member) {
      std::string& key = all.emplace_back();
      if (member.key) a.ops->key->write(key, member.key);
    });
    return all;
  }

 private:
  Orb::TextReader* keyOf(Orb::TextReader& reader) const { return key_.empty() ? nullptr : &reader; }

  Orb::AttributeInfo const& a_;
  Orb::Place const place_;
  std::string const key_;
};

}  // namespace Cli::Session::detail
