#pragma once

#include "platform/session/detail/Unit.h"

/// The three-way merge of base, candidate and running of one unit (RFC 6241, section 8.3, names the
/// last two). Others have committed the unit since the session touched it: its candidate is brought
/// up to date, entity by entity.
///
///  1. An entity of which the session changed an attribute (Entity::isModified()) keeps all its own
///     attributes; every other entity takes over those that run now. Counters follow always.
///  2. A place that the session masked (it removed what was there, or put an entity of its own in
///     its stead) stays as the candidate has it, with everything below.
///  3. Elsewhere the candidate holds an entity when the running tree does.
///  4. But where that does not, and the session has edits in the entity or said that it is to be
///     there, it stays. What the session has not edited in it is as in the base; in an entity that
///     the session made itself, as it is in a new one.
///  5. A place that holds a single entity: that of the session stays when it has edits in it and
///     the running tree holds one of another name, or none.
///
/// So what the merge makes depends on base, running and edits alone, not on when it is done or how
/// often. It allocates all that it needs before it changes anything; the rest does not throw, and
/// observers of the candidate are notified after it, when the unit is whole again.
namespace Cli::Session::detail {

/// The changes of one merge.
class Merge {
 public:
  /// Finds out what the session has edited since its candidate last followed, and what is to
  /// change. Changes nothing but `unit.edits` and marks, so it may be done again when it throws.
  /// REQUIRES: unit.followed.
  Merge(Unit& unit, Orb::Entity const& running);

  /// Makes the changes.
  void apply() noexcept;
  /// Notifies the observers of the candidate; rethrows what the first of them threw.
  void notify() const;

 private:
  /// One attribute of the candidate that takes over what a scratch entity of its type holds; that
  /// holds what was before then.
  struct Step {
    Orb::Ptr<Orb::Entity> target;
    Orb::Ptr<Orb::Entity> scratch;
    Orb::AttrId attribute;
  };

  void settlePlace(Orb::Entity const* followed, Orb::Entity* mine);
  void settleRemoved();
  void settleBelow(Orb::Entity const* followed, Orb::Entity& mine);

  bool isEdited(Orb::Entity const& mine) const;
  /// The entity that is to be at the place: `mine`, a copy of `running`, or null.
  Orb::Ptr<Orb::Entity> mergePlace(Orb::Entity const* base, Orb::Entity const* running,
                                   Orb::Entity* mine, Orb::MutableAttributeRef owner,
                                   Orb::ValueRef key);
  void mergeEntity(Orb::Entity const* base, Orb::Entity const& running, Orb::Entity& mine);
  void mergeOwned(Orb::Entity const* base, Orb::AttributeRef running, Orb::Entity& owner,
                  Orb::MutableAttributeRef mine);

  template <class Do>
  void atPlace(Orb::AttributeRef const& attribute, Orb::ValueRef key, Do const& act);
  Orb::MutableAttributeRef addStep(Orb::Entity& target, Orb::AttrId attribute);

  Unit& unit_;
  std::string place_;  // where the walk is
  std::vector<Step> steps_;
};

}  // namespace Cli::Session::detail
