#pragma once

#include <algorithm>
#include <vector>

#include "platform/routing/Cover.h"
#include "platform/routing/detail/TrieNode.h"

namespace Routing::detail {

/// Private to the trie: the form of the smallest ones, a sorted array that is read from end to
/// end. The words it returns are those of a Result.
template <class Traits>
class TrieScan {
 public:
  using Key = typename Traits::Key;

  std::size_t memory() const noexcept { return entries_.capacity() * sizeof(Entry); }

  U64* find(Key key, unsigned length) noexcept {
    auto const at = placeOf(Traits::stamp(key, length));
    return at != entries_.end() && at->stamp == Traits::stamp(key, length) ? at->result : nullptr;
  }

  /// The words of the prefix, which is added when it is not there: then `added` is set and the
  /// words are not yet.
  U64* place(Key key, unsigned length, bool& added) {
    auto const stamp = Traits::stamp(key, length);
    auto at = placeOf(stamp);
    added = at == entries_.end() || at->stamp != stamp;
    if (added) at = entries_.insert(at, {stamp, {}});
    return at->result;
  }

  /// Takes the prefix out and leaves the reference to its head to the caller. REQUIRES: it is
  /// there.
  void remove(Key key, unsigned length) { entries_.erase(placeOf(Traits::stamp(key, length))); }

  /// Writes all that cover the prefix, the shortest first, which is their order here too; and one
  /// more place of `out` at will. There are too few entries to fill it.
  std::size_t covering(Key key, unsigned length, Cover* out) const noexcept {
    Cover* end = out;
    for (Entry const& entry : entries_) {
      // Each is written, and kept if it covers: what covers is not to be guessed by the processor.
      unsigned const bits = Traits::stampLength(entry.stamp);
      unsigned const equal = Traits::leadingZeros(key ^ Traits::stampKey(entry.stamp));
      *end = {Result::summary(entry.result), Result::head(entry.result),
              static_cast<U8>(bits - Traits::kPad)};
      end += static_cast<unsigned>(bits <= length) & static_cast<unsigned>(equal >= bits);
    }
    return static_cast<std::size_t>(end - out);
  }

  U64 const* first(Key& key, unsigned& length) const noexcept {
    return found(entries_.begin(), key, length);
  }
  U64 const* next(Key& key, unsigned& length) const noexcept {
    auto const stamp = Traits::stamp(key, length);
    return found(std::find_if(entries_.begin(), entries_.end(),
                              [&](Entry const& entry) { return entry.stamp > stamp; }),
                 key, length);
  }

  /// Drops the references to the heads; nothing but the destructor may follow.
  void release() noexcept {
    for (Entry const& entry : entries_) Result::head(entry.result)->unref();
  }

 private:
  struct Entry {
    typename Traits::Stamp stamp;
    U64 result[Result::kWords];
  };

  typename std::vector<Entry>::iterator placeOf(typename Traits::Stamp const& stamp) noexcept {
    return std::find_if(entries_.begin(), entries_.end(),
                        [&](Entry const& entry) { return entry.stamp >= stamp; });
  }
  U64 const* found(typename std::vector<Entry>::const_iterator at, Key& key,
                   unsigned& length) const noexcept {
    if (at == entries_.end()) return nullptr;
    key = Traits::stampKey(at->stamp);
    length = Traits::stampLength(at->stamp);
    return at->result;
  }

  std::vector<Entry> entries_;
};

}  // namespace Routing::detail
