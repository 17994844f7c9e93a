#pragma once

#include "platform/routing/detail/TreeBitmap.h"

/// Private to the trie: the reading side of the tree bitmap, on which the time of a match hangs.
namespace Routing::detail {

constexpr unsigned kWordsOfLine = 8;

/// Writes the `hits` among the prefixes of one node, whose words begin at `results`.
template <class Count>
[[gnu::always_inline]] inline Cover* writeCovers(U64 const* results, U64 internal, U64 hits,
                                                 unsigned shortest, Cover* out) noexcept {
  for (; hits != 0; hits &= hits - 1) {
    unsigned const p = static_cast<unsigned>(std::countr_zero(hits));
    U64 const* const words = results + Result::kWords * Count::count(internal & below(p));
    out->summary = Result::summary(words);
    out->head = Result::head(words);
    out->length = static_cast<U8>(shortest + bitsOf(p));
    ++out;
  }
  return out;
}

template <class Traits>
inline void TreeBitmap<Traits>::expectFar(Key key) const noexcept {
  Ref const node = Ref::ofWord(slot(key));
  if (!node) return;
  __builtin_prefetch(node.words(), 1);
  if (node.hasChildren()) __builtin_prefetch(node.words() + kWordsOfLine, 1);
}

template <class Traits>
template <class Count>
[[gnu::always_inline]] inline void TreeBitmap<Traits>::expectNear(Key key) const noexcept {
  Ref const node = Ref::ofWord(slot(key));
  if (!node.hasChildren() || node.hasKey()) return;
  unsigned const c = topStride(Key(key << rootDepth_));
  if ((node.external() & bit(c)) == 0) return;
  __builtin_prefetch(Ref::ofWord(*NodeOps<Traits, Count>::child(node, c)).words(), 1);
}

template <class Traits>
template <class Count>
[[gnu::always_inline]] inline std::size_t TreeBitmap<Traits>::covering(Key key, unsigned length,
                                                                       Cover* out) const noexcept {
  Cover* end = out;
  Key rest = key;  // what is behind `depth`, at the high end
  unsigned depth = 0;
  for (; depth < rootDepth_; depth += kStride, rest <<= kStride) {
    Top const& here = top(key, depth);
    U64 const hits = here.internal & covers(topStride(rest), length - depth);
    if (hits != 0) {
      end = writeCovers<Count>(here.results.words() + 1, here.internal, hits, depth - Traits::kPad,
                               end);
    }
    if (length < depth + kStride) return static_cast<std::size_t>(end - out);
  }
  Ref node = Ref::ofWord(slot(key));
  while (node) {
    U64 const* const words = node.words();
    // Where the child's word may be is known only when the bitmaps are here: ask for it now.
    if (node.hasChildren()) __builtin_prefetch(words + kWordsOfLine);
    U64 const* next = words + node.keyAt();
    if (node.hasKey()) {
      Key const way = Traits::load(next);
      // Equal up to the mark, which is the lowest bit set: no difference above it.
      if ((key ^ way) >= (way & (~way + 1)) << 1) break;
      depth = NodeOps<Traits, Count>::markedDepth(way);
      if (length < depth) break;
      rest = key << depth;
      next += Traits::kWords;
    }
    unsigned const stride = topStride(rest);
    U64 const internal = words[0];
    U64 const hits = internal & covers(stride, length - depth);
    if (!node.hasChildren()) {
      end = writeCovers<Count>(next, internal, hits, depth - Traits::kPad, end);
      break;
    }
    U64 const external = words[1];
    bool const more = length >= depth + kStride && (external >> stride & 1) != 0;
    node = more ? Ref::ofWord(next[Count::count(external & below(stride))]) : Ref();
    if (hits != 0) {
      end = writeCovers<Count>(next + Count::count(external), internal, hits, depth - Traits::kPad,
                               end);
    }
    depth += kStride;
    rest <<= kStride;
  }
  return static_cast<std::size_t>(end - out);
}

template <class Traits>
template <class Count>
[[gnu::always_inline]] inline U64* TreeBitmap<Traits>::find(Key key,
                                                            unsigned length) const noexcept {
  using Counted = NodeOps<Traits, Count>;
  unsigned const home = homeDepth(length);
  unsigned const p = position(topStride(Key(key << home)), length - home);
  if (home < rootDepth_) {
    Top const& here = top(key, home);
    return here.internal & bit(p) ? Counted::result(here.results, p) : nullptr;
  }
  unsigned depth = rootDepth_;
  Ref node = Ref::ofWord(slot(key));
  while (node) {
    if (node.hasKey()) {
      Key const way = Counted::key(node);
      depth = Counted::markedDepth(way);
      if (Traits::leadingZeros(key ^ way) < depth) return nullptr;
    }
    if (home <= depth) {
      return home == depth && node.internal() & bit(p) ? Counted::result(node, p) : nullptr;
    }
    unsigned const c = topStride(Key(key << depth));
    if ((node.external() & bit(c)) == 0) return nullptr;
    node = Ref::ofWord(*Counted::child(node, c));
    depth += kStride;
  }
  return nullptr;
}

}  // namespace Routing::detail
