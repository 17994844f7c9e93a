#pragma once

#include "policy_config/PrefixListFamily.h"
#include "policy_sm/ListReactor.h"
#include "policy_status/GenPrefixEntry.h"
#include "policy_status/PrefixListSymbol.h"

namespace Routing::RouteMap {

template <class Family>
class PrefixListReactor;

/// The prefix lists of a family, Acl::Ipv4Family or Acl::Ipv6Family, as a kind of lists.
template <class Family>
struct ROUTEPOLICY_EXPORT PrefixLists : Family {
  using Root = Acl::AclListConfig;
  using Source = Orb::Ptr<typename Family::List const>;
  using ListSm = PrefixListReactor<Family>;
  using SymbolKind = PrefixListKind;
  static constexpr bool kInstallsWithStatus = false;

  static HandlerNames const& names();
  /// With an empty trie.
  static Orb::Ptr<PrefixListStatus const> initialStatus(ListMachine<PrefixLists> const& machine,
                                                        Orb::Name const& name,
                                                        typename Family::List const& list);
};

/// Compiles one prefix list: a changed list goes in time slices, entry by entry, into a fresh trie,
/// which is swapped in when it is complete; until then the symbol serves the old one. When there is
/// no memory for the trie, the next slice makes it.
///
/// Entries are taken in ascending sequence number. What comes, changes or goes behind the last one
/// that was taken is seen, by the slice that runs too; the rest is not. All entries below the
/// bookmark are in newTrie, and no other one is. The handlers bear the family's name.
template <class Family>
class ROUTEPOLICY_EXPORT PrefixListReactor final : public ListReactor<PrefixLists<Family>> {
 public:
  using typename ListReactor<PrefixLists<Family>>::List;
  using typename ListReactor<PrefixLists<Family>>::Machine;

  PrefixListReactor(Orb::Ptr<List const> list, Machine& machine);

  Orb::Ptr<List const> const& prefixList() const noexcept { return this->list(); }
  Machine* prefixListConfigSm() const noexcept { return this->machine(); }

  /// The sequence number at which the next slice continues; 0 for the first entry.
  Orb::U32 bookmark() const noexcept { return bookmark_; }
  /// The trie under construction; null when there is none.
  Orb::Ptr<PatriciaTrieWithNodeData> const& newTrie() const noexcept { return newTrie_; }

  void handlePrefixEntry() requires(Family::kFamily == Ipa::AddressFamily::ipv4) {
    this->handleInitial();
  }
  void handleIpv6PrefixEntry() requires(Family::kFamily == Ipa::AddressFamily::ipv6) {
    this->handleInitial();
  }
  void handlePrefixListVersion() requires(Family::kFamily == Ipa::AddressFamily::ipv4) {
    this->handleVersion();
  }
  void handleIpv6PrefixListVersion() requires(Family::kFamily == Ipa::AddressFamily::ipv6) {
    this->handleVersion();
  }

 private:
  using Slice = SlicedBuild::Slice;

  void prepare() override;
  void compileSome(Orb::U64& count) override;
  void drop() noexcept override;
  bool addEntries(Slice const& slice, Orb::U64& count);

  Orb::U32 bookmark_ = 0;
  Orb::Ptr<PatriciaTrieWithNodeData> newTrie_;
};

}  // namespace Routing::RouteMap
