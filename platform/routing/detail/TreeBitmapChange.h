#pragma once

#include <algorithm>

#include "platform/routing/detail/TreeBitmap.h"

/// Private to the trie: adding and removing prefixes in the tree bitmap.
namespace Routing::detail {

template <class Traits>
template <class Count>
[[gnu::always_inline]] inline U64* TreeBitmap<Traits>::place(Key key, unsigned length,
                                                             bool& added) {
  using Counted = NodeOps<Traits, Count>;
  unsigned const home = homeDepth(length);
  if (home < rootDepth_) return placeInTop<Count>(key, length, added);
  unsigned const p = position(topStride(Key(key << home)), length - home);
  added = true;
  U64* at = &slot(key);
  unsigned expected = rootDepth_;
  if (*at == 0) {
    Ref const leaf = Counted::leaf(arena_, key, home, home != expected, p);
    *at = leaf.word();
    noteFilled(key, rootDepth_);
    return Counted::leafResult(leaf);
  }
  for (;;) {
    Ref node = Ref::ofWord(*at);
    unsigned depth = expected;
    if (node.hasKey()) {
      Key const way = Counted::key(node);
      depth = Counted::markedDepth(way);
      unsigned const common = Traits::leadingZeros(key ^ way);
      if (common < depth || home < depth) {
        depth = std::min(home, homeDepth(common));
        node = fork(node, way, key, expected, depth);
        *at = node.word();
      }
    }
    if (depth == home) {
      if (node.internal() & bit(p)) {
        added = false;
        return Counted::result(node, p);
      }
      U64* const words = Counted::addResult(arena_, node, p);
      *at = node.word();
      return words;
    }
    unsigned const c = topStride(Key(key << depth));
    expected = depth + kStride;
    if ((node.external() & bit(c)) == 0) {
      Ref const leaf = Counted::leaf(arena_, key, home, home != expected, p);
      Counted::addChild(arena_, node, c, leaf);
      *at = node.word();
      return Counted::leafResult(leaf);
    }
    at = Counted::child(node, c);
  }
}

template <class Traits>
template <class Count>
U64* TreeBitmap<Traits>::placeInTop(Key key, unsigned length, bool& added) {
  using Counted = NodeOps<Traits, Count>;
  unsigned const home = homeDepth(length);
  unsigned const p = position(topStride(Key(key << home)), length - home);
  Top& here = top(key, home);
  added = (here.internal & bit(p)) == 0;
  if (!added) return Counted::result(here.results, p);
  if (here.empty()) noteFilled(key, home);
  here.internal |= bit(p);
  if (here.results) return Counted::addResult(arena_, here.results, p);
  here.results = Counted::leaf(arena_, key, home, false, p);
  return Counted::leafResult(here.results);
}

/// Puts a node at depth `at` in the place of `node`, whose key is `way`, and hangs it there.
template <class Traits>
Ref TreeBitmap<Traits>::fork(Ref node, Key way, Key key, unsigned expected, unsigned at) {
  if (Ops::markedDepth(way) == at + kStride) Ops::removeKey(arena_, node);
  return Ops::inner(arena_, key, at, at != expected, topStride(Key(way << at)), node);
}

template <class Traits>
void TreeBitmap<Traits>::remove(Key key, unsigned length) {
  unsigned const home = homeDepth(length);
  if (home < rootDepth_) return removeInTop(key, length);
  U64* parentAt = nullptr;
  unsigned parentDepth = 0;
  U64* at = &slot(key);
  unsigned depth = rootDepth_;
  Ref node = Ref::ofWord(*at);
  for (;;) {
    if (node.hasKey()) depth = Ops::markedDepth(Ops::key(node));
    if (depth == home) break;
    parentAt = at;
    parentDepth = depth;
    at = Ops::child(node, topStride(Key(key << depth)));
    node = Ref::ofWord(*at);
    depth += kStride;
  }
  Ops::removeResult(arena_, node, position(topStride(Key(key << home)), length - home));
  if (node) {
    *at = collapsed(node, key, depth).word();
  } else if (parentAt) {
    Ref parent = Ref::ofWord(*parentAt);
    Ops::removeChild(arena_, parent, topStride(Key(key << parentDepth)));
    *parentAt = collapsed(parent, key, parentDepth).word();
  } else {
    *at = 0;
    noteEmptied(key, rootDepth_);
  }
}

template <class Traits>
void TreeBitmap<Traits>::removeInTop(Key key, unsigned length) {
  unsigned const home = homeDepth(length);
  unsigned const p = position(topStride(Key(key << home)), length - home);
  Top& here = top(key, home);
  Ops::removeResult(arena_, here.results, p);
  here.internal &= ~bit(p);
  if (here.empty()) noteEmptied(key, home);
}

/// The node, or its only child when it has nothing else, in which case it is given back.
template <class Traits>
Ref TreeBitmap<Traits>::collapsed(Ref node, Key key, unsigned depth) {
  if (node.internal() != 0 || std::popcount(node.external()) != 1) return node;
  unsigned const c = static_cast<unsigned>(std::countr_zero(node.external()));
  Ref only = Ref::ofWord(*Ops::child(node, c));
  unsigned const below = depth + kStride;
  if (!only.hasKey())
    Ops::addKey(arena_, only, masked(key, depth) | strideAt<Key>(c, depth), below);
  arena_.giveBack(node.words(), Ops::size(node));
  return only;
}

/// What the key leads to at `depth` was empty and is not any more: the tops above are to know.
template <class Traits>
void TreeBitmap<Traits>::noteFilled(Key key, unsigned depth) {
  while (depth != 0) {
    depth -= kStride;
    Top& above = top(key, depth);
    bool const known = !above.empty();
    above.external |= bit(topStride(Key(key << depth)));
    if (known) return;
  }
}

/// What the key leads to at `depth` is empty now: the tops above are to know.
template <class Traits>
void TreeBitmap<Traits>::noteEmptied(Key key, unsigned depth) {
  while (depth != 0) {
    depth -= kStride;
    Top& above = top(key, depth);
    above.external &= ~bit(topStride(Key(key << depth)));
    if (!above.empty()) return;
  }
}

}  // namespace Routing::detail
