#pragma once

#include <functional>
#include <memory>
#include <span>

#include "platform/ipa/Prefix.h"
#include "platform/orb/base/String.h"
#include "platform/routing/Cover.h"
#include "platform/routing/PrefixData.h"

namespace Routing {

namespace detail {
class TrieCore;
}

/// Prefixes of one family, each with the data that its user chains there. Made for matching: all
/// prefixes that cover a given one are found in about one access to memory.
///
/// A trie that is not changed any more may be read from any thread; one thread changes it. The
/// last reference may go in any thread: a large trie is then freed in slices by the reaper.
///
/// A routeIs() or routeDel() for which there is not enough memory throws std::bad_alloc and leaves
/// the trie as it was; what the data did in insertData() or removeData() is theirs to undo. Looking
/// up and freeing need none.
class ROUTEPOLICY_EXPORT PatriciaTrieWithNodeData : public Orb::RefCounted {
 public:
  using Ptr = Orb::Ptr<PatriciaTrieWithNodeData>;

  PatriciaTrieWithNodeData(Orb::String name, Ipa::AddressFamily family);

  Orb::String const& name() const noexcept { return name_; }
  Ipa::AddressFamily addressFamily() const noexcept;
  /// The number of prefixes.
  std::size_t size() const noexcept;
  /// Bytes held by the trie itself, without the data.
  std::size_t memory() const noexcept;

  /// Adds the data at the prefix, by insertData() of the head that is there, if one is. Throws
  /// Orb::RangeException for a prefix of the other family. REQUIRES: data is not null.
  void routeIs(Ipa::IpGenPrefix const& prefix, PrefixData::Ptr const& data);
  /// Hints that the prefix will be added soon: asks for the memory that this will touch, so that
  /// the additions of a long list in no order of prefixes wait for it together and not one by one.
  /// To be given twice, about kFar and about kNear additions ahead: what the second hint must read
  /// is what the first one asked for.
  void expectFar(Ipa::IpGenPrefix const& prefix) const noexcept;
  void expectNear(Ipa::IpGenPrefix const& prefix) const noexcept;
  static constexpr int kFar = 12;
  static constexpr int kNear = 6;
  /// Takes the data out by removeData() of the head; the prefix goes when that leaves nothing.
  /// onDeletion() is called on the data or, when it is null, on the head. False, and nothing is
  /// called, when the prefix is not there.
  bool routeDel(Ipa::IpGenPrefix const& prefix, PrefixData::Ptr const& data);
  /// Takes the prefix out with all that it holds, and calls onDeletion() on the head. False when
  /// the prefix is not there.
  bool routeDel(Ipa::IpGenPrefix const& prefix);

  /// The head at exactly this prefix, which the trie owns; null when there is none.
  PrefixData const* route(Ipa::IpGenPrefix const& prefix) const noexcept;

  /// Writes the prefixes that cover this one, itself included, the shortest first; returns their
  /// number. None covers a prefix of the other family.
  std::size_t covering(Ipa::IpGenPrefix const& prefix,
                       std::span<Cover, kMaxCovers> covers) const noexcept;

  /// Calls `visit` for every prefix and its head, by address and then by length. `visit` may
  /// change the trie: the walk goes on with the first prefix behind the one just visited, as
  /// things are then.
  void forEach(std::function<void(Ipa::IpGenPrefix const&, PrefixData const&)> const& visit) const;

 protected:
  ~PatriciaTrieWithNodeData() override;

 private:
  Orb::String name_;
  std::unique_ptr<detail::TrieCore> core_;
};

}  // namespace Routing
