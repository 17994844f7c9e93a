#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/orb/containers/HashMap.h"
#include "platform/orb/model/Difference.h"

namespace Cli::Session::detail {

using Roots = std::vector<Orb::Ptr<Orb::Entity>>;

/// Which part of the configuration a unit is: an entity that a root owns by key, or another
/// attribute of a root as a whole.
struct UnitName {
  std::size_t root;  ///< its place among the roots
  Orb::AttrId attribute;
  std::string key;   ///< its text; empty for a whole attribute
  std::string path;  ///< such as "prefixList['P']"; units differ in it

  /// The unit into which a path leads; throws as Path.h says.
  static UnitName ofPath(Roots const& roots, std::string_view path);
  UnitName withKey(std::string key) const;

  bool isMember() const noexcept { return !key.empty(); }
  /// Whether it is a member of the attribute that the other one is as a whole.
  bool isMemberOf(UnitName const& whole) const noexcept {
    return isMember() && root == whole.root && attribute == whole.attribute;
  }
  /// The attribute in a root.
  Orb::AttributeRef in(Orb::Entity const& of) const { return attributeOf(of, attribute); }
  Orb::MutableAttributeRef in(Orb::Entity& of) const { return attributeOf(of, attribute); }
  /// The unit's entity in a root, or null. REQUIRES: isMember().
  Orb::Ptr<Orb::Entity const> entityIn(Orb::Entity const& of) const;
  Orb::Ptr<Orb::Entity> entityIn(Orb::Entity& of) const;
};

/// What a session says of a place that may hold an entity; each says more than the one before.
enum class Claim {
  kept,    ///< there is an entity, whoever else removes it
  made,    ///< the same, and the session made it: it has nothing of the base
  masked,  ///< whether there is an entity, and all that is in it, is for the session to say
};

/// Which places of a unit are a session's own edits, beside the entities that are marked as
/// modified. Places are paths as Orb::PathType::place gives them. (The place of a unit that is a
/// value of a root is kept when the session has set it.)
class Edits {
 public:
  /// Adds a claim, unless there is a stronger one.
  void claim(std::string const& place, Claim claim);
  std::optional<Claim> at(std::string const& place) const;
  /// Whether there is a claim for that place or one below it.
  bool reach(std::string_view place) const;

  /// Visits the places of claims that an entity is there.
  template <class Visit>
  void eachPresent(Visit const& visit) const {
    for (auto const& [place, claim] : claims_) {
      if (claim != Claim::masked) visit(place);
    }
  }

  /// Adds a claim for an edit that is about to be made, and takes it back unless that is.
  class Trial {
   public:
    Trial(Edits& edits, std::string place, Claim claim);
    ~Trial();
    Trial(Trial const&) = delete;
    Trial& operator=(Trial const&) = delete;
    void stays() noexcept { edits_ = nullptr; }

   private:
    Edits* edits_;
    std::string const place_;
    std::optional<Claim> const before_;
  };

 private:
  std::map<std::string, Claim, std::less<>> claims_;
};

/// What one commit of a session did to a unit, for the sessions that had touched the unit before.
struct ForeignCommit {
  std::string author;
  /// A root with the unit as it was, until `changes` is known; then null.
  Orb::Ptr<Orb::Entity const> before;
  /// The paths of what it changed (see Orb::Difference). Known before the next commit to the unit.
  std::set<std::string, std::less<>> changes;
};

/// One unit that a session has touched.
struct Unit {
  explicit Unit(UnitName unitName) : name(std::move(unitName)) {}

  UnitName const name;
  /// A root that holds the unit as the session wants it, and nothing else.
  Orb::Ptr<Orb::Entity> candidate;
  Edits edits;

  // Once others have committed the unit:
  /// A root with the unit as it was when the session touched it: the base of the merge.
  Orb::Ptr<Orb::Entity const> base;
  /// A root with the unit as the candidate last followed it; null when it is up to date.
  Orb::Ptr<Orb::Entity const> followed;
  std::vector<std::shared_ptr<ForeignCommit>> foreign;  ///< the oldest first
};

/// A root like `running` with a copy of that unit alone.
Orb::Ptr<Orb::Entity> copyOfUnit(UnitName const& name, Orb::Entity const& running);

/// Visits the differences of a unit between two roots, counters left out.
void unitDifferences(UnitName const& name, Orb::Entity const& before, Orb::Entity const& after,
                     Orb::FunctionRef<void(Orb::Difference const& difference)> visit);

/// The units that a session has touched, by path, in the order in which it did. Each is shared, so
/// that it outlives its session while something is done with it. A loop over them goes on correctly
/// when units are added, and ends when the session is closed.
struct PathOfUnit {
  std::string const& operator()(std::shared_ptr<Unit> const& unit) const noexcept {
    return unit->name.path;
  }
};
struct HashOfPath {
  Orb::U32 operator()(std::string const& path) const noexcept {
    return static_cast<Orb::U32>(std::hash<std::string>()(path));
  }
};
class Units : public Orb::HashMap<std::shared_ptr<Unit>, PathOfUnit, HashOfPath> {};

}  // namespace Cli::Session::detail
