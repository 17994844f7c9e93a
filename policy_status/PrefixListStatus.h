#pragma once

#include "platform/routing/PatriciaTrieWithNodeData.h"

namespace Routing::RouteMap {

/// The compiled form of one IPv4 or IPv6 prefix list. Once it is installed in a symbol it is never
/// changed again, so whoever holds it may match against it on any thread.
class ROUTEPOLICY_EXPORT PrefixListStatus final : public Orb::RefCounted {
 public:
  explicit PrefixListStatus(Orb::String name) : name_(std::move(name)) {}

  Orb::String const& name() const noexcept { return name_; }
  /// The entries by prefix, each node a chain of PrefixListEntryData; null until it is set.
  Orb::Ptr<PatriciaTrieWithNodeData const> const& trie() const noexcept { return trie_; }
  void trieIs(Orb::Ptr<PatriciaTrieWithNodeData const> trie) noexcept { trie_ = std::move(trie); }
  PatriciaTrieWithNodeData const* trieRawPtr() const noexcept { return trie_.get(); }

 private:
  Orb::String const name_;
  Orb::Ptr<PatriciaTrieWithNodeData const> trie_;
};

ROUTEPOLICY_EXPORT Orb::Ptr<PrefixListStatus> prefixListStatusFactory(Orb::String name);

}  // namespace Routing::RouteMap
