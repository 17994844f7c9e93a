#pragma once

#include "platform/routing/PrefixData.h"
#include "policy_status/GenPrefixEntry.h"

namespace Routing::RouteMap {

namespace detail {
class ChainIndex;
}

/// One compiled entry in the trie, and the link to the next entry of the same prefix. All entries
/// of a chain have one prefix, and their sequence numbers do not fall along it.
///
/// A large list holds a million of these: the entry is kept packed, so that an object takes
/// 56 bytes and fits the allocator's 64. The head of a long chain keeps an index of it in
/// the place of the prefix's last 64 bits, which the index holds then.
class ROUTEPOLICY_EXPORT PrefixListEntryData final : public Routing::PrefixData {
 public:
  explicit PrefixListEntryData(GenPrefixEntry const& entry) noexcept;

  /// The entry that this was made from.
  GenPrefixEntry data() const;
  Orb::U32 seqno() const noexcept { return seqno_; }
  bool isPrefixEntryPermit() const noexcept { return permit_; }
  /// Whether a route of that length is within the entry's bounds; its prefix is not looked at.
  bool matchesLength(Orb::U32 length) const noexcept {
    return eq_ ? length == eq_ : length >= ge_ && length <= le_;
  }
  /// Called on the head of a chain: the first of the entries behind it that holds the length and
  /// has a sequence number below `seqno`, or null.
  PrefixListEntryData const* firstBehind(Orb::U32 length, Orb::U64 seqno) const noexcept;
  /// The next entry of the chain; null at the tail.
  Orb::Ptr<PrefixListEntryData> const& nextEntryData() const noexcept { return nextEntryData_; }

  /// Called on the head of a chain: puts `data`, a PrefixListEntryData, behind the entries of a
  /// smaller sequence number and returns the new head. On purpose, one with the head's number goes
  /// behind the head, while one with a later entry's number goes before that entry. Null is a fatal
  /// assertion.
  Routing::PrefixData::Ptr insertData(Orb::Ptr<Routing::PrefixData> const& data) override;
  /// Called on the head of a chain: takes out the entry with the sequence number of `data`, which
  /// alone decides, and returns the new head, null when the chain is empty. Null for a null
  /// `data`, on purpose, and the chain is as it was.
  Routing::PrefixData::Ptr removeData(Orb::Ptr<Routing::PrefixData> const& data) override;
  /// An EntrySummary, packed.
  Orb::U64 summary() const noexcept override;

 protected:
  ~PrefixListEntryData() override;

 private:
  friend detail::ChainIndex;

  Orb::U32 const seqno_;
  Orb::U64 const high_;
  union {
    Orb::U64 low_;               // while there is no index
    detail::ChainIndex* index_;  // owned
  };
  Orb::U8 const length_;
  bool const isIpv4_;
  bool const permit_;
  bool hasIndex_ = false;
  Orb::U32 const ge_;
  Orb::U32 const le_;
  Orb::U32 const eq_;
  Orb::Ptr<PrefixListEntryData> nextEntryData_;
};

/// What a match needs of a chain's head, in the 64 bits that the trie keeps beside the node.
class EntrySummary {
 public:
  constexpr explicit EntrySummary(Orb::U64 packed) noexcept : packed_(packed) {}
  /// Bounds beyond 255 match no length, as they stand and when cut to 255.
  constexpr EntrySummary(Orb::U32 seqno, Orb::U32 shortest, Orb::U32 longest, bool permit,
                         bool isChained) noexcept
      : packed_(Orb::U64{seqno} << 32 | Orb::U64{cut(shortest)} << 16 |
                Orb::U64{cut(longest)} << 8 | (isChained ? kChained : 0) | (permit ? kPermit : 0)) {
  }

  constexpr Orb::U64 packed() const noexcept { return packed_; }
  constexpr Orb::U32 seqno() const noexcept { return static_cast<Orb::U32>(packed_ >> 32); }
  constexpr bool matchesLength(Orb::U32 length) const noexcept {
    return length >= (packed_ >> 16 & 0xff) && length <= (packed_ >> 8 & 0xff);
  }
  constexpr bool isPermit() const noexcept { return packed_ & kPermit; }
  /// Whether other entries of the prefix stand behind the head.
  constexpr bool isChained() const noexcept { return packed_ & kChained; }

 private:
  static constexpr Orb::U64 kPermit = 1;
  static constexpr Orb::U64 kChained = 2;
  static constexpr Orb::U32 cut(Orb::U32 bound) noexcept { return bound < 255 ? bound : 255; }

  Orb::U64 packed_;
};

ROUTEPOLICY_EXPORT Orb::Ptr<PrefixListEntryData> prefixListEntryDataFactory(
    GenPrefixEntry const& entry);

}  // namespace Routing::RouteMap
