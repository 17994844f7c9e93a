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
      if (Traits::leadingZeros(key ^ way) < depth || home < depth) {
        return fork(*at, way, key, expected, home, p);
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
      typename Counted::Loose leaf(arena_, Counted::leaf(arena_, key, home, home != expected, p));
      Counted::addChild(arena_, node, c, leaf.ref());
      *at = node.word();
      return Counted::leafResult(leaf.hung());
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
  U64* words = nullptr;
  if (here.results) {
    words = Counted::addResult(arena_, here.results, p);
  } else {
    here.results = Counted::leaf(arena_, key, home, false, p);
    words = Counted::leafResult(here.results);
  }
  if (here.empty()) noteFilled(key, home);
  here.internal |= bit(p);
  return words;
}

/// Puts a node in the place of the one at `at`, whose key is `way`, and hangs that and the prefix
/// there. Returns the words of the prefix.
template <class Traits>
U64* TreeBitmap<Traits>::fork(U64& at, Key way, Key key, unsigned expected, unsigned home,
                              unsigned p) {
  unsigned const depth = std::min(home, homeDepth(Traits::leadingZeros(key ^ way)));
  bool const parts = depth != home;
  unsigned const c = topStride(Key(way << depth));
  unsigned const other = topStride(Key(key << depth));
  typename Ops::Loose leaf(
      arena_, parts ? Ops::leaf(arena_, key, home, home != depth + kStride, p) : Ref());
  Ref const inner = Ops::inner(arena_, key, depth, depth != expected, parts ? 0 : bit(p),
                               bit(c) | (parts ? bit(other) : 0));
  Ref node = Ref::ofWord(at);
  if (Ops::markedDepth(way) == depth + kStride) Ops::removeKey(arena_, node);
  *Ops::child(inner, c) = node.word();
  at = inner.word();
  if (!parts) return Ops::result(inner, p);
  *Ops::child(inner, other) = leaf.ref().word();
  return Ops::leafResult(leaf.hung());
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
  unsigned const p = position(topStride(Key(key << home)), length - home);
  int const children = std::popcount(node.external());
  if (node.internal() != bit(p) || children > 1) {
    Ops::removeResult(arena_, node, p);
    *at = node.word();
    return;
  }
  if (children == 1) {
    *at = lifted(node, node.external(), key, depth).word();
  } else if (!parentAt) {
    *at = 0;
    noteEmptied(key, rootDepth_);
  } else {
    Ref parent = Ref::ofWord(*parentAt);
    unsigned const c = topStride(Key(key << parentDepth));
    U64 const others = parent.external() & ~bit(c);
    if (parent.internal() == 0 && std::popcount(others) == 1) {
      *parentAt = lifted(parent, others, key, parentDepth).word();
      Ops::giveBack(arena_, parent);
    } else {
      Ops::removeChild(arena_, parent, c);
      *parentAt = parent.word();
    }
  }
  Ops::giveBack(arena_, node);
}

template <class Traits>
void TreeBitmap<Traits>::removeInTop(Key key, unsigned length) noexcept {
  unsigned const home = homeDepth(length);
  unsigned const p = position(topStride(Key(key << home)), length - home);
  Top& here = top(key, home);
  Ops::removeResult(arena_, here.results, p);
  here.internal &= ~bit(p);
  if (here.empty()) noteEmptied(key, home);
}

/// The child of the node that is the only one in `external`, with a key, so that it can take the
/// place of the node.
template <class Traits>
Ref TreeBitmap<Traits>::lifted(Ref node, U64 external, Key key, unsigned depth) {
  unsigned const c = static_cast<unsigned>(std::countr_zero(external));
  Ref only = Ref::ofWord(*Ops::child(node, c));
  if (!only.hasKey()) {
    Ops::addKey(arena_, only, masked(key, depth) | strideAt<Key>(c, depth), depth + kStride);
  }
  return only;
}

/// What the key leads to at `depth` was empty and is not any more: the tops above are to know.
template <class Traits>
void TreeBitmap<Traits>::noteFilled(Key key, unsigned depth) noexcept {
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
void TreeBitmap<Traits>::noteEmptied(Key key, unsigned depth) noexcept {
  while (depth != 0) {
    depth -= kStride;
    Top& above = top(key, depth);
    above.external &= ~bit(topStride(Key(key << depth)));
    if (!above.empty()) return;
  }
}

}  // namespace Routing::detail
