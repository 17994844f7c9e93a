#include "platform/routing/detail/TrieArena.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

namespace Routing::detail {

using Orb::U64;

namespace {

constexpr std::size_t kMinChunk = 512;
constexpr std::size_t kMaxChunk = std::size_t{2} << 20;

// Sizes of blocks in words: each up to 8, then every 4th up to 32, then every 8th. A node that has
// children grows often, and mostly stays where it is.
constexpr std::size_t sizeOfClass(std::size_t index) {
  return index <= 8 ? index : index <= 14 ? 8 + 4 * (index - 8) : 32 + 8 * (index - 14);
}

U64* linkOf(U64 const* block) {
  U64* next;
  std::memcpy(&next, block, sizeof next);
  return next;
}

void linkIs(U64* block, U64* next) { std::memcpy(block, &next, sizeof next); }

void copyWords(U64* to, U64 const* from, std::size_t count) {
  if (count != 0) std::memcpy(to, from, count * sizeof(U64));
}

}  // namespace

std::size_t TrieArena::classOf(std::size_t words) noexcept {
  return words <= 8    ? std::max(words, kMinWords)
         : words <= 32 ? 8 + (words - 8 + 3) / 4
                       : 14 + (words - 32 + 7) / 8;
}

std::size_t TrieArena::rounded(std::size_t words) noexcept { return sizeOfClass(classOf(words)); }

U64* TrieArena::takeOrNull(std::size_t words) noexcept {
  try {
    return take(words);
  } catch (std::bad_alloc const&) {
    return nullptr;
  }
}

U64* TrieArena::take(std::size_t words) {
  std::size_t const wanted = classOf(words);
  std::size_t const size = sizeOfClass(wanted);
  U64 const fitting = nonEmpty_ >> wanted;
  if (fitting != 0) {
    std::size_t const found = wanted + static_cast<std::size_t>(std::countr_zero(fitting));
    U64* const block = free_[found];
    free_[found] = linkOf(block);
    if (!free_[found]) nonEmpty_ &= ~(U64{1} << found);
    keep(block + size, sizeOfClass(found) - size);
    return block;
  }
  if (static_cast<std::size_t>(end_ - next_) < size) addChunk(size);
  U64* const block = next_;
  next_ += size;
  return block;
}

void TrieArena::giveBack(U64* block, std::size_t words) noexcept { keep(block, rounded(words)); }

// Puts memory of any length into the free lists, in pieces whose sizes are those of classes.
void TrieArena::keep(U64* block, std::size_t words) noexcept {
  while (words >= kMinWords) {
    std::size_t index = std::min(classOf(words), kClasses - 1);
    if (sizeOfClass(index) > words) --index;
    linkIs(block, free_[index]);
    free_[index] = block;
    nonEmpty_ |= U64{1} << index;
    block += sizeOfClass(index);
    words -= sizeOfClass(index);
  }
}

void TrieArena::addChunk(std::size_t words) {
  std::size_t const bytes =
      std::max(words * sizeof(U64), std::clamp(std::bit_floor(held_ / 8), kMinChunk, kMaxChunk));
  chunks_.push_back(std::make_unique_for_overwrite<U64[]>(bytes / sizeof(U64)));
  keep(next_, static_cast<std::size_t>(end_ - next_));
  next_ = chunks_.back().get();
  end_ = next_ + bytes / sizeof(U64);
  held_ += bytes;
}

U64* TrieArena::insertWords(U64* block, std::size_t words, std::size_t at, std::size_t count) {
  if (classOf(words) == classOf(words + count)) {
    std::memmove(block + at + count, block + at, (words - at) * sizeof(U64));
    return block;
  }
  U64* const grown = take(words + count);
  copyWords(grown, block, at);
  copyWords(grown + at + count, block + at, words - at);
  giveBack(block, words);
  return grown;
}

U64* TrieArena::eraseWords(U64* block, std::size_t words, std::size_t at,
                           std::size_t count) noexcept {
  std::size_t const left = words - count;
  if (left != 0 && classOf(words) == classOf(left)) {
    std::memmove(block + at, block + at + count, (left - at) * sizeof(U64));
    return block;
  }
  U64* const shrunk = left != 0 ? takeOrNull(left) : nullptr;
  if (shrunk) {
    copyWords(shrunk, block, at);
    copyWords(shrunk + at, block + at + count, left - at);
  } else if (left != 0) {  // no memory: the block is cut, and a rest of a word or two is lost
    std::memmove(block + at, block + at + count, (left - at) * sizeof(U64));
    keep(block + rounded(left), rounded(words) - rounded(left));
    return block;
  }
  giveBack(block, words);
  return shrunk;
}

bool TrieArena::freeChunk() noexcept {
  if (chunks_.empty()) return false;
  chunks_.pop_back();
  return !chunks_.empty();
}

}  // namespace Routing::detail
