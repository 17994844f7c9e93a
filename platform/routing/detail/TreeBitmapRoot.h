#pragma once

#include <algorithm>

#include "platform/routing/detail/TreeBitmap.h"

/// Private to the trie: moving the root of the tree bitmap, and freeing all of it.
namespace Routing::detail {

template <class Traits>
void TreeBitmap<Traits>::expandRoot() {
  unsigned const deeper = rootDepth_ + kStride;
  std::size_t const above = topsAbove(rootDepth_);
  auto slots = std::make_unique<U64[]>(slotCount(deeper));
  auto tops = std::make_unique<Top[]>(topsAbove(deeper));
  std::copy_n(tops_.get(), above, tops.get());
  for (std::size_t i = 0; i < slotCount(rootDepth_); ++i) {
    Ref node = Ref::ofWord(slots_[i]);
    if (!node) continue;
    Top& here = tops[above + i];
    if (node.hasKey()) {  // it is below this level, alone
      Key const way = Ops::key(node);
      here.external = bit(topStride(Key(way << rootDepth_)));
      if (Ops::markedDepth(way) == deeper) Ops::removeKey(arena_, node);
      slots[leading(way, deeper)] = node.word();
      continue;
    }
    here.internal = node.internal();
    here.external = node.external();
    for (U64 left = here.external; left != 0; left &= left - 1) {
      unsigned const c = static_cast<unsigned>(std::countr_zero(left));
      slots[i << kStride | c] = *Ops::child(node, c);
    }
    U64* const words = node.words();
    unsigned const results = Ops::resultsAt(node);
    unsigned const size = Ops::size(node);
    if (here.internal == 0) {
      arena_.giveBack(words, size);
    } else if (results > 1) {
      here.results = Ref(arena_.eraseWords(words, size, 1, results - 1), false, false);
    } else {
      here.results = node;
    }
  }
  slots_ = std::move(slots);
  tops_ = std::move(tops);
  rootDepth_ = deeper;
}

template <class Traits>
void TreeBitmap<Traits>::shrinkRoot() {
  unsigned const level = rootDepth_ - kStride;
  std::size_t const above = topsAbove(level);
  auto slots = std::make_unique<U64[]>(slotCount(level));
  for (std::size_t i = 0; i < slotCount(level); ++i) {
    Top const& here = tops_[above + i];
    if (here.empty()) continue;
    U64 const* const below = &slots_[i << kStride];
    unsigned const children = static_cast<unsigned>(std::popcount(here.external));
    if (here.internal == 0 && children == 1) {
      unsigned const c = static_cast<unsigned>(std::countr_zero(here.external));
      Ref only = Ref::ofWord(below[c]);
      if (!only.hasKey()) {
        Key const key = level == 0 ? Key{0} : Key{i} << (kKeyBits<Key> - level);
        Ops::addKey(arena_, only, key | strideAt<Key>(c, level), rootDepth_);
      }
      slots[i] = only.word();
      continue;
    }
    Ref node = here.results;
    if (children != 0) {
      U64* const words = node ? arena_.insertWords(node.words(), Ops::size(node), 1, 1 + children)
                              : arena_.take(2 + children);
      words[0] = here.internal;
      words[1] = here.external;
      U64* to = words + 2;
      for (U64 left = here.external; left != 0; left &= left - 1) {
        *to++ = below[std::countr_zero(left)];
      }
      node = Ref(words, true, false);
    }
    slots[i] = node.word();
  }
  auto tops = std::make_unique<Top[]>(above);
  std::copy_n(tops_.get(), above, tops.get());
  slots_ = std::move(slots);
  tops_ = std::move(tops);
  rootDepth_ = level;
}

template <class Traits>
std::size_t TreeBitmap<Traits>::memory() const noexcept {
  return sizeof *this + arena_.memory() + slotCount(rootDepth_) * sizeof(U64) +
         topsAbove(rootDepth_) * sizeof(Top);
}

/// Drops the references that a node holds and puts its children aside; returns how many there were.
template <class Traits>
std::size_t TreeBitmap<Traits>::release(Ref node) noexcept {
  unsigned const count = static_cast<unsigned>(std::popcount(node.internal()));
  U64 const* words = node.words() + Ops::resultsAt(node);
  for (unsigned i = 0; i < count; ++i, words += Result::kWords) Result::head(words)->unref();
  for (U64 left = node.external(); left != 0; left &= left - 1) {
    unsigned const c = static_cast<unsigned>(std::countr_zero(left));
    pending_.push_back(Ref::ofWord(*Ops::child(node, c)));
  }
  return count;
}

template <class Traits>
bool TreeBitmap<Traits>::freeSome(std::size_t count) noexcept {
  constexpr std::size_t kEmptyPerObject = 64;  // slots that are skipped in the time of one object
  // The deepest way down leaves the other children of each node on it.
  if (pending_.capacity() == 0) pending_.reserve(kMaxSteps << kStride);
  std::size_t done = 0;
  std::size_t skipped = 0;
  while (done + skipped / kEmptyPerObject < count) {
    Ref node;
    if (!pending_.empty()) {
      node = pending_.back();
      pending_.pop_back();
      ++done;
    } else if (slotsFreed_ < slotCount(rootDepth_)) {
      node = Ref::ofWord(slots_[slotsFreed_++]);
    } else if (topsFreed_ < topsAbove(rootDepth_)) {
      node = tops_[topsFreed_++].results;
    } else {
      return arena_.freeChunk();
    }
    ++skipped;
    if (node) done += release(node);
  }
  return true;
}

}  // namespace Routing::detail
