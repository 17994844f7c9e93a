#pragma once

#include "platform/routing/detail/TreeBitmap.h"

/// Private to the trie: the prefixes of the tree bitmap in ascending order.
///
/// The items of a node, its prefixes and its children, are sorted by the part of the stride at
/// which they begin and then by their length, a child being the longest of all. So an item is
/// named like a position, with 64 + c for the child at c. next() takes no notes between one prefix
/// and the next, so that the tree may change meanwhile: it goes down to where the given prefix is
/// or would be, and up again until a node has an item behind it.
namespace Routing::detail {

/// The first item behind the one of `bits` bits at `value` of the stride; behind nothing when
/// `bits` is -1 and `value` 0. Returns 0 when there is none.
inline unsigned nextItem(U64 internal, U64 external, unsigned value, int bits) noexcept {
  unsigned best = 0;
  unsigned bestRank = ~0u;
  for (unsigned r = 0; r <= kStride; ++r) {
    unsigned const span = kStride - r;
    unsigned const from =
        static_cast<int>(r) > bits ? (value + (1u << span) - 1) >> span : (value >> span) + 1;
    if (from >> r != 0) continue;
    U64 const level = r == kStride ? external : internal >> (1u << r) & below(1u << r);
    U64 const left = level >> from;
    if (left == 0) continue;
    unsigned const number = from + static_cast<unsigned>(std::countr_zero(left));
    unsigned const rank = (number << span) * (kStride + 1) + r;
    if (rank < bestRank) {
      bestRank = rank;
      best = 1u << r | number;
    }
  }
  return best;
}

constexpr unsigned kFirstChild = 1u << kStride;

/// The step to the node of a reference that hangs where `expected` is the depth.
template <class Traits>
auto TreeBitmap<Traits>::stepTo(U64 word, Key key, unsigned expected) const noexcept -> Step {
  Ref const node = Ref::ofWord(word);
  if (!node.hasKey()) return {expected, key, nullptr, node};
  Key const way = Ops::key(node);
  unsigned const depth = Ops::markedDepth(way);
  return {depth, masked(way, depth), nullptr, node};
}

template <class Traits>
auto TreeBitmap<Traits>::rootStep() const noexcept -> Step {
  if (rootDepth_ == 0) return stepTo(slots_[0], Key{0}, 0);
  return {0, Key{0}, &tops_[0], tops_[0].results};
}

template <class Traits>
auto TreeBitmap<Traits>::child(Step const& from, unsigned c) const noexcept -> Step {
  Key const key = from.key | strideAt<Key>(c, from.depth);
  unsigned const depth = from.depth + kStride;
  if (!from.top) return stepTo(*Ops::child(from.ref, c), key, depth);
  if (depth == rootDepth_) return stepTo(slot(key), key, depth);
  Top const& below = top(key, depth);
  return {depth, key, &below, below.results};
}

template <class Traits>
U64 const* TreeBitmap<Traits>::found(Step const& step, unsigned p, Key& key,
                                     unsigned& length) noexcept {
  unsigned const bits = bitsOf(p);
  key = step.key | strideAt<Key>((p - (1u << bits)) << (kStride - bits), step.depth);
  length = step.depth + bits;
  return Ops::result(step.ref, p);
}

template <class Traits>
U64 const* TreeBitmap<Traits>::firstOf(Step step, Key& key, unsigned& length) const noexcept {
  for (;;) {
    unsigned const item = nextItem(step.internal(), step.external(), 0, -1);
    if (item < kFirstChild) return found(step, item, key, length);
    step = child(step, item - kFirstChild);
  }
}

template <class Traits>
U64 const* TreeBitmap<Traits>::first(Key& key, unsigned& length) const noexcept {
  if (rootDepth_ == 0 ? slots_[0] == 0 : tops_[0].empty()) return nullptr;
  return firstOf(rootStep(), key, length);
}

template <class Traits>
U64 const* TreeBitmap<Traits>::next(Key& key, unsigned& length) const noexcept {
  if (rootDepth_ == 0 && slots_[0] == 0) return nullptr;
  Step steps[kMaxSteps];
  unsigned count = 0;
  unsigned const home = homeDepth(length);
  unsigned value = 0;  // the item of the last step that leads to the prefix, as nextItem() has it
  int bits = -1;
  Step step = rootStep();
  for (;;) {
    if (home < step.depth || step.key != masked(key, step.depth)) {  // the prefix is not in here
      if (step.key >= key) return firstOf(step, key, length);
      break;
    }
    steps[count++] = step;
    value = topStride(Key(key << step.depth));
    bits = static_cast<int>(home == step.depth ? length - home : kStride);
    if (home == step.depth || (step.external() & bit(value)) == 0) break;
    step = child(step, value);
  }
  for (; count != 0; --count) {
    Step const& last = steps[count - 1];
    unsigned const item = nextItem(last.internal(), last.external(), value, bits);
    if (item >= kFirstChild) return firstOf(child(last, item - kFirstChild), key, length);
    if (item != 0) return found(last, item, key, length);
    if (count > 1) value = topStride(Key(key << steps[count - 2].depth));
    bits = kStride;
  }
  return nullptr;
}

}  // namespace Routing::detail
