#include "platform/session/detail/Merge.h"

#include <unordered_set>

#include "platform/orb/model/Difference.h"
#include "platform/session/EntityCopy.h"

namespace Cli::Session::detail {

using Orb::AttributeInfo;
using Orb::AttributeKind;
using Orb::AttrId;
using Orb::Entity;

namespace {

bool differs(AttrId id, Entity const& a, Entity const& b) {
  AttributeInfo const& row = a.type().attributes[id];
  bool found = false;
  if (row.ops->differ && row.ops->kind != AttributeKind::counter) {
    row.ops->differ(row.object(&a), row.object(&b), [&](auto const&) { found = true; });
  }
  return found;
}

/// The same, with all that they own; counters aside.
bool same(Entity const& a, Entity const& b) {
  bool found = false;
  Orb::differences(a, b, [&](Orb::Difference const& d) {
    if (d.attribute != AttributeKind::counter) found = true;
  });
  return !found;
}

EntityCopy& engine() {
  static auto const copies = Orb::make<EntityCopy>(nullptr, EntityCopy::Purpose::privateTree);
  return *copies;
}

/// Whatever any of the three owns in that attribute: first what was there before, so that a single
/// entity that was replaced leaves its place before the new one comes.
std::vector<std::string> allKeys(AttrId id, Entity const& base, Entity const& running,
                                 Entity const& candidate) {
  std::vector<std::string> keys;
  std::unordered_set<std::string> seen;
  for (Entity const* const owner : {&base, &running, &candidate}) {
    for (std::string& key : OwnedPlace::keys(*owner, id)) {
      if (seen.insert(key).second) keys.push_back(std::move(key));
    }
  }
  return keys;
}

bool mergeOwners(AttrId id, Entity const& base, Entity const& running, Entity& candidate) {
  bool conflict = false;
  for (std::string const& key : allKeys(id, base, running, candidate)) {
    auto const before = OwnedPlace(base, id, key).child();
    auto const now = OwnedPlace(running, id, key).child();
    if (mergeOwned(before.get(), now.get(), OwnedPlace(candidate, id, key))) conflict = true;
  }
  return conflict;
}

bool mergeEntities(Entity const& base, Entity const& running, Entity& candidate) {
  std::span<AttributeInfo const> const rows = base.type().attributes;
  bool conflict = false;
  bool changedHere = false;
  bool changedThere = false;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    auto const id = static_cast<AttrId>(i);
    if (rows[i].ops->child) {
      conflict = mergeOwners(id, base, running, candidate) || conflict;
    } else {
      changedHere = changedHere || differs(id, base, candidate);
      changedThere =
          changedThere || (differs(id, base, running) && differs(id, running, candidate));
    }
  }
  for (std::size_t i = 0; i < rows.size(); ++i) {
    bool const isCounter = rows[i].ops->kind == AttributeKind::counter;
    if (rows[i].ops->child || (changedHere && !isCounter)) continue;
    engine().copyAttribute(static_cast<AttrId>(i), candidate, running);
  }
  return conflict || (changedHere && changedThere);
}

}  // namespace

bool mergeOwned(Entity const* base, Entity const* running, OwnedPlace const& candidate) {
  auto const mine = candidate.child();
  if (running && mine) {
    // Where both have made it, each began with an empty one.
    auto const blank = base ? nullptr : running->type().make({});
    return mergeEntities(base ? *base : *blank, *running, *mine);
  }
  if (base && running) return !same(*base, *running);
  if (base && mine) {
    if (!same(*base, *mine)) return true;
    candidate.del();
  } else if (running) {
    if (candidate.isTaken()) return true;
    engine().copyEntity(*candidate.childIs(), *running, {});
  }
  return false;
}

bool mergeAttribute(AttrId attribute, Entity const& base, Entity const& running,
                    Entity& candidate) {
  if (base.type().attributes[attribute].ops->child) {
    return mergeOwners(attribute, base, running, candidate);
  }
  if (!differs(attribute, base, candidate)) {
    engine().copyAttribute(attribute, candidate, running);
    return false;
  }
  return differs(attribute, base, running) && differs(attribute, running, candidate);
}

}  // namespace Cli::Session::detail
