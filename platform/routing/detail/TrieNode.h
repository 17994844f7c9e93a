#pragma once

#include <algorithm>
#include <bit>
#include <utility>

#include "platform/routing/PrefixData.h"
#include "platform/routing/detail/TrieArena.h"
#include "platform/routing/detail/TrieKey.h"

/// Private to the trie: one node of the tree bitmap.
///
/// A node stands at a depth that is a multiple of the stride and keeps the prefixes whose length
/// is depth to depth + 5, at most 63 of them: the prefix with `r` bits of the stride, of value `v`,
/// is position 2^r + v, as in a binary heap. It has up to 64 children, one for each value of the
/// stride. A node is one block of 64-bit words:
///
///     internal   bit p: there is a prefix at position p
///     external   bit c: there is a child at c          (only when there are children)
///     key        the node's own bits and a 1 behind them     (only when levels are skipped)
///     children   a Ref each, in the order of c
///     results    summary and head each, in the order of p
///
/// What is there besides the internal bitmap stands in the low bits of the reference to the node,
/// so that the place of everything is known before the node is read.
///
/// Invariants: a node has a prefix or at least two children; it has a key exactly when its depth
/// is not the one that its parent (or the root table) leads to; a bit that is set has its word.
namespace Routing::detail {

/// Counting by arithmetic, for processors that have no instruction for it.
struct SoftCount {
  static constexpr unsigned count(U64 bits) noexcept {
    bits -= bits >> 1 & 0x5555555555555555;
    bits = (bits & 0x3333333333333333) + (bits >> 2 & 0x3333333333333333);
    bits = (bits + (bits >> 4)) & 0x0f0f0f0f0f0f0f0f;
    return static_cast<unsigned>(bits * 0x0101010101010101 >> 56);
  }
};

/// Counting by the instruction: use it only where the target has one, see TrieCore.cpp.
struct HardCount {
  [[gnu::always_inline]] static inline unsigned count(U64 bits) noexcept {
    return static_cast<unsigned>(__builtin_popcountll(bits));
  }
};

constexpr U64 bit(unsigned index) { return U64{1} << index; }
constexpr U64 below(unsigned index) { return bit(index) - 1; }

/// Position of the prefix that ends after `r` < 6 bits of the stride `value`.
constexpr unsigned position(unsigned value, unsigned r) { return 1u << r | value >> (kStride - r); }

/// Bits of a position's length within the stride.
constexpr unsigned bitsOf(unsigned position) {
  return static_cast<unsigned>(std::bit_width(position)) - 1;
}

struct CoverTable {
  U64 of[32]{};
  constexpr CoverTable() {
    for (unsigned value = 0; value < 64; value += 2) {
      for (unsigned r = 0; r < kStride; ++r) of[value / 2] |= bit(position(value, r));
    }
  }
};
inline constexpr CoverTable kCovers;

/// The positions that cover the stride `value`, no longer than `length` bits of it.
inline U64 covers(unsigned value, unsigned length) {
  unsigned const longest = length < kStride - 1 ? length : kStride - 1;
  return kCovers.of[value / 2] & ~U64{0} >> (64 - (2u << longest));
}

/// A reference to a node. Null when there is none.
class Ref {
 public:
  Ref() = default;
  // NOLINTNEXTLINE(readability-non-const-parameter): words() hands it out again, to be written
  Ref(U64* words, bool hasChildren, bool hasKey)
      : bits_(reinterpret_cast<std::uintptr_t>(words) | (hasChildren ? kChildren : 0) |
              (hasKey ? kKey : 0)) {}
  static Ref ofWord(U64 word) {
    Ref ref;
    ref.bits_ = static_cast<std::uintptr_t>(word);
    return ref;
  }
  U64 word() const { return bits_; }

  explicit operator bool() const { return bits_ != 0; }
  bool hasChildren() const { return (bits_ & kChildren) != 0; }
  bool hasKey() const { return (bits_ & kKey) != 0; }
  U64* words() const { return reinterpret_cast<U64*>(bits_ & ~(kChildren | kKey)); }

  U64 internal() const { return words()[0]; }
  U64 external() const { return hasChildren() ? words()[1] : 0; }
  unsigned keyAt() const { return hasChildren() ? 2 : 1; }

 private:
  static constexpr std::uintptr_t kChildren = 1;
  static constexpr std::uintptr_t kKey = 2;

  std::uintptr_t bits_ = 0;
};

/// One prefix's words in a node: the head's summary, and the head, to which they own a reference.
struct Result {
  static constexpr unsigned kWords = 2;

  static U64 summary(U64 const* words) { return words[0]; }
  static PrefixData* head(U64 const* words) {
    return reinterpret_cast<PrefixData*>(static_cast<std::uintptr_t>(words[1]));
  }
  static void set(U64* words, U64 summary, PrefixData* head) {
    words[0] = summary;
    words[1] = reinterpret_cast<std::uintptr_t>(head);
  }
};

/// What is done to the nodes of one arena. `Traits` is the address family's, `Count` counts bits.
/// Every change may move the node's block and then stores the new place in `ref`. A change that
/// throws, for want of memory, has done nothing.
template <class Traits, class Count>
struct NodeOps {
  using Key = typename Traits::Key;

  [[gnu::always_inline]] static inline unsigned childrenAt(Ref ref) {
    return ref.keyAt() + (ref.hasKey() ? Traits::kWords : 0);
  }
  [[gnu::always_inline]] static inline unsigned resultsAt(Ref ref) {
    return childrenAt(ref) + (ref.hasChildren() ? Count::count(ref.words()[1]) : 0);
  }
  [[gnu::always_inline]] static inline unsigned size(Ref ref) {
    return resultsAt(ref) + Result::kWords * Count::count(ref.internal());
  }
  /// The word that holds the child at `c`. REQUIRES: there is one.
  [[gnu::always_inline]] static inline U64* child(Ref ref, unsigned c) {
    return ref.words() + childrenAt(ref) + Count::count(ref.words()[1] & below(c));
  }
  /// The words of the prefix at `p`, or where they would go.
  [[gnu::always_inline]] static inline U64* result(Ref ref, unsigned p) {
    return ref.words() + resultsAt(ref) + Result::kWords * Count::count(ref.internal() & below(p));
  }

  /// The key words of a node at `depth`, and the depth that they encode.
  static Key marked(Key key, unsigned depth) {
    return masked(key, depth) | Key{1} << (kKeyBits<Key> - 1 - depth);
  }
  static unsigned markedDepth(Key marked) {
    return kKeyBits<Key> - 1 - Traits::trailingZeros(marked);
  }
  static Key key(Ref ref) { return Traits::load(ref.words() + ref.keyAt()); }

  /// A node of which everything but the words of the children and of the results is set.
  static Ref inner(TrieArena& arena, Key key, unsigned depth, bool hasKey, U64 internal,
                   U64 external) {
    U64* const words = arena.take(2 + (hasKey ? Traits::kWords : 0) + Count::count(external) +
                                  Result::kWords * Count::count(internal));
    words[0] = internal;
    words[1] = external;
    if (hasKey) Traits::store(words + 2, marked(key, depth));
    return Ref(words, true, hasKey);
  }

  /// A node with one prefix, whose words, leafResult(), are still to be set.
  [[gnu::always_inline]] static inline Ref leaf(TrieArena& arena, Key key, unsigned depth,
                                                bool hasKey, unsigned p) {
    U64* const words = arena.take(1 + (hasKey ? Traits::kWords : 0) + Result::kWords);
    words[0] = bit(p);
    if (hasKey) Traits::store(words + 1, marked(key, depth));
    return Ref(words, false, hasKey);
  }

  static U64* leafResult(Ref leaf) {
    return leaf.words() + 1 + (leaf.hasKey() ? Traits::kWords : 0);
  }

  static void giveBack(TrieArena& arena, Ref ref) noexcept {
    arena.giveBack(ref.words(), size(ref));
  }

  /// A node, or null, that goes back to its arena unless it is hung somewhere.
  class Loose {
   public:
    [[gnu::always_inline]] Loose(TrieArena& arena, Ref ref) : arena_(arena), ref_(ref) {}
    Loose(Loose const&) = delete;
    Loose& operator=(Loose const&) = delete;
    [[gnu::always_inline]] ~Loose() {
      if (ref_) giveBack(arena_, ref_);
    }
    [[gnu::always_inline]] Ref ref() const { return ref_; }
    /// It hangs now.
    [[gnu::always_inline]] Ref hung() { return std::exchange(ref_, Ref()); }

   private:
    TrieArena& arena_;
    Ref ref_;
  };

  /// Adds a prefix; returns its words, which are still to be set. REQUIRES: `p` is free.
  [[gnu::always_inline]] static inline U64* addResult(TrieArena& arena, Ref& ref, unsigned p) {
    unsigned const at = static_cast<unsigned>(result(ref, p) - ref.words());
    U64* const words = arena.insertWords(ref.words(), size(ref), at, Result::kWords);
    words[0] |= bit(p);
    ref = Ref(words, ref.hasChildren(), ref.hasKey());
    return words + at;
  }

  /// Takes a prefix out. The node may be left with nothing: then `ref` is null.
  static void removeResult(TrieArena& arena, Ref& ref, unsigned p) noexcept {
    unsigned const at = static_cast<unsigned>(result(ref, p) - ref.words());
    unsigned const words = size(ref);
    if (!ref.hasChildren() && ref.internal() == bit(p)) {
      giveBack(arena, ref);
      ref = Ref();
      return;
    }
    U64* const left = arena.eraseWords(ref.words(), words, at, Result::kWords);
    left[0] &= ~bit(p);
    ref = Ref(left, ref.hasChildren(), ref.hasKey());
  }

  /// Hangs a child at `c`. REQUIRES: `c` is free.
  [[gnu::always_inline]] static inline void addChild(TrieArena& arena, Ref& ref, unsigned c,
                                                     Ref added) {
    if (!ref.hasChildren()) {  // room for the bitmap and the child, between which the key is
      unsigned const keyWords = ref.hasKey() ? Traits::kWords : 0;
      U64* const words = arena.insertWords(ref.words(), size(ref), 1, 2);
      words[1] = bit(c);
      std::copy_n(words + 3, keyWords, words + 2);
      words[2 + keyWords] = added.word();
      ref = Ref(words, true, ref.hasKey());
      return;
    }
    unsigned const at = static_cast<unsigned>(child(ref, c) - ref.words());
    U64* const words = arena.insertWords(ref.words(), size(ref), at, 1);
    words[at] = added.word();
    words[1] |= bit(c);
    ref = Ref(words, true, ref.hasKey());
  }

  /// Unhooks the child at `c`; what it refers to is the caller's.
  static void removeChild(TrieArena& arena, Ref& ref, unsigned c) noexcept {
    unsigned const at = static_cast<unsigned>(child(ref, c) - ref.words());
    U64* words = arena.eraseWords(ref.words(), size(ref), at, 1);
    words[1] &= ~bit(c);
    ref = Ref(words, true, ref.hasKey());
    if (words[1] == 0) {
      words = arena.eraseWords(words, size(ref), 1, 1);
      ref = Ref(words, false, ref.hasKey());
    }
  }

  /// Gives the node a key, because it is to hang where its depth is not the expected one.
  static void addKey(TrieArena& arena, Ref& ref, Key key, unsigned depth) {
    unsigned const at = ref.keyAt();
    U64* const words = arena.insertWords(ref.words(), size(ref), at, Traits::kWords);
    Traits::store(words + at, marked(key, depth));
    ref = Ref(words, ref.hasChildren(), true);
  }

  static void removeKey(TrieArena& arena, Ref& ref) noexcept {
    U64* const words = arena.eraseWords(ref.words(), size(ref), ref.keyAt(), Traits::kWords);
    ref = Ref(words, ref.hasChildren(), false);
  }
};

}  // namespace Routing::detail
