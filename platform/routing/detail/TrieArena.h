#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

#include "platform/orb/base/Types.h"

namespace Routing::detail {

/// Blocks of 64-bit words for the nodes of one trie. Memory is taken in chunks that are never
/// copied: a new chunk is a sixteenth to an eighth of what is held, and 512 bytes to 2 MB, so that
/// little lies idle and no step takes long. What is given back serves again, a larger block being
/// cut up when no other will do. Blocks do not know their size: the caller does.
///
/// What needs more memory than there is throws std::bad_alloc, and changes nothing. What makes a
/// block smaller never does.
class TrieArena {
 public:
  TrieArena() = default;
  TrieArena(TrieArena const&) = delete;
  TrieArena& operator=(TrieArena const&) = delete;

  /// A block of `words`, not initialised.
  Orb::U64* take(std::size_t words);
  void giveBack(Orb::U64* block, std::size_t words) noexcept;

  /// Makes room for `count` words in front of word `at` of a block of `words`. The block may move;
  /// the new words are not initialised.
  Orb::U64* insertWords(Orb::U64* block, std::size_t words, std::size_t at, std::size_t count);
  /// Takes out `count` words from word `at` on. The block may move; null when nothing remains.
  Orb::U64* eraseWords(Orb::U64* block, std::size_t words, std::size_t at,
                       std::size_t count) noexcept;

  /// Bytes held, used or not.
  std::size_t memory() const noexcept { return held_ + chunks_.capacity() * sizeof(Chunk); }

  /// Frees one chunk; false when none is left. After the first call only this may be called.
  bool freeChunk() noexcept;

 private:
  using Chunk = std::unique_ptr<Orb::U64[]>;

  static constexpr std::size_t kClasses = 40;  // up to 240 words; the largest node has 194
  static constexpr std::size_t kMinWords = 3;  // the smallest node: a bitmap and one result

  static std::size_t rounded(std::size_t words) noexcept;
  static std::size_t classOf(std::size_t words) noexcept;
  Orb::U64* takeOrNull(std::size_t words) noexcept;
  void keep(Orb::U64* block, std::size_t words) noexcept;
  void addChunk(std::size_t words);

  std::array<Orb::U64*, kClasses> free_{};  // by class; linked through the first word
  Orb::U64 nonEmpty_ = 0;                   // the classes that have a free block
  Orb::U64* next_ = nullptr;                // the rest of the last chunk
  Orb::U64* end_ = nullptr;
  std::size_t held_ = 0;
  std::vector<Chunk> chunks_;
};

}  // namespace Routing::detail
