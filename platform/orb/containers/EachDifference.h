#pragma once

#include <vector>

#include "platform/orb/containers/HashMap.h"
#include "platform/orb/containers/OrderedMap.h"

/// Walking two collections side by side.
namespace Orb {

/// Calls `visit(key, mine, theirs)` for each key under which the two do not hold the same:
/// pointers to the items, one of them null where a side has none. `visit` may change either
/// collection, but must hold what it reads from an item before it does. Ordered collections are
/// walked in the order of the keys, each once, but for what both share: `same` holds for an item
/// and itself.
template <class Item, class KeyOf, class Same, class Visit>
void eachDifference(OrderedMap<Item, KeyOf> const& mine, OrderedMap<Item, KeyOf> const& theirs,
                    Same const& same, Visit const& visit) {
  using Items = OrderedMap<Item, KeyOf>;
  std::default_sentinel_t const end;
  auto a = mine.begin();
  auto b = theirs.begin();
  while (a != end || b != end) {
    if (a != end && b != end && &*a == &*b) {
      Items::skipShared(a, b);
      continue;
    }
    bool const onlyMine = b == end || (a != end && Items::keyOf(*a) < Items::keyOf(*b));
    bool const onlyTheirs = !onlyMine && (a == end || Items::keyOf(*b) < Items::keyOf(*a));
    if (!onlyMine && !onlyTheirs && same(*a, *b)) {
      ++a;
      ++b;
      continue;
    }
    typename Items::Key const key = Items::keyOf(onlyTheirs ? *b : *a);
    visit(key, onlyTheirs ? nullptr : &*a, onlyMine ? nullptr : &*b);
    a = mine.upperBound(key);
    b = theirs.upperBound(key);
  }
}

/// Hashed ones: first what only this side has, in its order, then the rest in the other's order.
/// The keys are taken down before the first visit: a key that comes back does not come up again.
template <class Item, class KeyOf, class Hash, class Same, class Visit>
void eachDifference(HashMap<Item, KeyOf, Hash> const& mine,
                    HashMap<Item, KeyOf, Hash> const& theirs, Same const& same,
                    Visit const& visit) {
  using Items = HashMap<Item, KeyOf, Hash>;
  std::vector<typename Items::Key> keys;
  for (Item const& item : mine) {
    if (!theirs.has(Items::keyOf(item))) keys.push_back(Items::keyOf(item));
  }
  for (Item const& item : theirs) {
    Item const* const other = mine.find(Items::keyOf(item));
    if (!other || !same(*other, item)) keys.push_back(Items::keyOf(item));
  }
  for (auto const& key : keys) {
    Item const* const a = mine.find(key);
    Item const* const b = theirs.find(key);
    if (a || b) visit(key, a, b);
  }
}

}  // namespace Orb
