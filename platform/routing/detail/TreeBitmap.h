#pragma once

#include <memory>

#include "platform/routing/Cover.h"
#include "platform/routing/detail/TrieNode.h"

/// Private to the trie: the tree bitmap, the form of all but the smallest tries.
///
/// The idea. A radix tree is walked six bits at a time. A node (TrieNode.h) has
/// one word of bits for which of its 63 prefixes exist, so that the ones which cover an address are
/// found by one `and`, and another for which children exist; the number of bits below a bit is the
/// index among those that are stored. Levels in which nothing branches are skipped.
///
/// The root. In place of the nodes at the top there may be a table over the leading `rootDepth`
/// bits of the key, so that a match begins at the node in which it is likely to end. What the
/// nodes above the table would hold is kept in `tops_`, one array for each level, found by
/// index and not by reference: each says without a miss that no short prefix covers. The
/// owner decides how deep the root is; expandRoot() moves it by one stride and touches only the
/// nodes of one level.
///
/// Invariants:
///  1. rootDepth is a multiple of the stride; there are 2^(rootDepth - kPad) slots, one at depth 0.
///  2. A prefix shorter than rootDepth is in the top that it leads to; any other is below a slot.
///  3. Bit c of a top's `external` is set exactly when the top or slot that c leads to is not
///     empty.
///  4. A node below a slot has what TrieNode.h says; the depth expected below a slot is rootDepth.
///  5. All that a change needs is there before anything is changed: one that throws, for want of
///     memory, leaves the tree as it was.
///
/// place(), from the slot down, with the home of the prefix being the depth of its node:
///  1. nothing is there: a leaf at home;
///  2. the node has a key, and the prefix leaves it on the way or has its home above the node: a
///     node is put in between, at home with the prefix, or where they part with a leaf beside it;
///  3. the node is above home and has the child: continue with the child;
///  4. the node is above home and lacks the child: a leaf at home is hung there;
///  5. the node is at home: the prefix is found there or added.
/// remove() undoes this: a node left with nothing goes and leaves its parent; a node (the parent
/// too) left with one child and no prefix is replaced by the child, which then has a key.
namespace Routing::detail {

template <class Traits>
class TreeBitmap {
 public:
  using Key = typename Traits::Key;

  TreeBitmap() = default;
  TreeBitmap(TreeBitmap const&) = delete;
  TreeBitmap& operator=(TreeBitmap const&) = delete;

  /// The words (see Result) of the prefix, or null.
  template <class Count>
  U64* find(Key key, unsigned length) const noexcept;

  /// The words of the prefix, which is added when it is not there: then `added` is set and the
  /// words are not yet.
  template <class Count>
  U64* place(Key key, unsigned length, bool& added);

  /// Ask for the memory of the node below the slot; then, when that is near, of the one below it.
  void expectFar(Key key) const noexcept;
  template <class Count>
  void expectNear(Key key) const noexcept;

  /// Takes the prefix out and leaves the reference to its head to the caller. REQUIRES: it is
  /// there.
  void remove(Key key, unsigned length);

  /// Writes all that cover the prefix, itself included, the shortest first; returns their number.
  template <class Count>
  std::size_t covering(Key key, unsigned length, Cover* out) const noexcept;

  /// Finds the first prefix of all, by address and then by length. Returns its words or null.
  U64 const* first(Key& key, unsigned& length) const noexcept;
  /// Finds the first prefix behind the given one, which need not be there and in whose place it
  /// is returned. Returns its words or null.
  U64 const* next(Key& key, unsigned& length) const noexcept;

  unsigned rootDepth() const noexcept { return rootDepth_; }
  /// Makes the root one stride deeper.
  void expandRoot();

  std::size_t memory() const noexcept;

  /// Frees about `count` prefixes, dropping the references to their heads; false when nothing is
  /// left. After the first call only this may be called.
  bool freeSome(std::size_t count) noexcept;

 private:
  using Ops = NodeOps<Traits, SoftCount>;

  /// What a node above the root table holds, apart from its children.
  struct Top {
    U64 internal = 0;
    U64 external = 0;
    Ref results;  // a node without children and key, or null

    bool empty() const { return internal == 0 && external == 0; }
  };

  /// A step on the way of next(): a top, or a node.
  struct Step {
    unsigned depth;
    Key key;         // the bits in front of the node
    Top const* top;  // null for a node
    Ref ref;         // the node, or the top's results

    U64 internal() const { return top ? top->internal : ref.internal(); }
    U64 external() const { return top ? top->external : ref.external(); }
  };

  static constexpr unsigned kMaxSteps = kKeyBits<Key> / kStride + 1;

  static constexpr std::size_t slotCount(unsigned depth) {
    return depth == 0 ? 1 : std::size_t{1} << (depth - Traits::kPad);
  }
  /// The number of tops above `depth`; those of this depth begin behind them.
  static std::size_t topsAbove(unsigned depth) {
    static constexpr std::size_t kAbove[] = {0, slotCount(0), slotCount(0) + slotCount(6),
                                             slotCount(0) + slotCount(6) + slotCount(12)};
    return kAbove[depth / kStride];
  }
  Top& top(Key key, unsigned depth) const { return tops_[topsAbove(depth) + leading(key, depth)]; }
  U64& slot(Key key) const { return slots_[leading(key, rootDepth_)]; }

  template <class Count>
  U64* placeInTop(Key key, unsigned length, bool& added);
  void removeInTop(Key key, unsigned length) noexcept;
  U64* fork(U64& at, Key way, Key key, unsigned expected, unsigned home, unsigned p);
  Ref lifted(Ref node, U64 external, Key key, unsigned depth);
  void noteFilled(Key key, unsigned depth) noexcept;
  void noteEmptied(Key key, unsigned depth) noexcept;

  Step stepTo(U64 word, Key key, unsigned expected) const noexcept;
  Step rootStep() const noexcept;
  Step child(Step const& from, unsigned c) const noexcept;
  static U64 const* found(Step const& step, unsigned p, Key& key, unsigned& length) noexcept;
  U64 const* firstOf(Step step, Key& key, unsigned& length) const noexcept;

  std::size_t release(Ref node) noexcept;
  Ref takePending() noexcept;

  TrieArena arena_;
  unsigned rootDepth_ = 0;
  std::unique_ptr<U64[]> slots_ = std::make_unique<U64[]>(1);  // a Ref each
  std::unique_ptr<Top[]> tops_;                                // level by level, from depth 0 on

  // While it is being freed.
  Ref pending_;  // the last node that has children left; leads to the next one by its first word
  std::size_t slotsFreed_ = 0;
  std::size_t topsFreed_ = 0;
};

}  // namespace Routing::detail
