#pragma once

#include <algorithm>

#include "platform/routing/detail/TreeBitmap.h"

/// Private to the trie: moving the root of the tree bitmap, and freeing all of it. Freeing needs no
/// memory: the nodes whose children are still to be freed are a list through their own words, of
/// which the walk down holds one a level.
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
      Ops::giveBack(arena_, node);
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
std::size_t TreeBitmap<Traits>::memory() const noexcept {
  return sizeof *this + arena_.memory() + slotCount(rootDepth_) * sizeof(U64) +
         topsAbove(rootDepth_) * sizeof(Top);
}

/// Drops the references that a node holds and notes it when it has children; returns how many
/// references there were.
template <class Traits>
std::size_t TreeBitmap<Traits>::release(Ref node) noexcept {
  unsigned const count = static_cast<unsigned>(std::popcount(node.internal()));
  U64 const* words = node.words() + Ops::resultsAt(node);
  for (unsigned i = 0; i < count; ++i, words += Result::kWords) Result::head(words)->unref();
  if (node.hasChildren()) {
    node.words()[0] = pending_.word();
    pending_ = node;
  }
  return count;
}

/// Takes the last child from the last node that has one. REQUIRES: there is one.
template <class Traits>
Ref TreeBitmap<Traits>::takePending() noexcept {
  Ref const node = pending_;
  U64& left = node.words()[1];
  unsigned const last = static_cast<unsigned>(std::bit_width(left)) - 1;
  Ref const child = Ref::ofWord(*Ops::child(node, last));
  left &= ~bit(last);
  if (left == 0) pending_ = Ref::ofWord(node.words()[0]);
  return child;
}

template <class Traits>
bool TreeBitmap<Traits>::freeSome(std::size_t count) noexcept {
  constexpr std::size_t kEmptyPerObject = 64;  // slots that are skipped in the time of one object
  std::size_t done = 0;
  std::size_t skipped = 0;
  while (done + skipped / kEmptyPerObject < count) {
    Ref node;
    if (pending_) {
      node = takePending();
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
