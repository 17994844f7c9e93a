#pragma once

#include <memory>

#include "platform/ipa/Prefix.h"
#include "platform/orb/loop/Reaper.h"
#include "platform/routing/Cover.h"
#include "platform/routing/PrefixData.h"

/// Private to the trie: what its public face stands on, one implementation for each family.
namespace Routing::detail {

/// The inside of a trie. Every prefix handed in is of the trie's family. Once freeSome() was
/// called, nothing else may be.
class TrieCore : public Orb::Garbage {
 public:
  static std::unique_ptr<TrieCore> make(Ipa::AddressFamily family);

  virtual Ipa::AddressFamily family() const noexcept = 0;
  std::size_t size() const noexcept { return size_; }
  /// How many data were ever added: at least as many as there are to free.
  std::size_t added() const noexcept { return added_; }
  virtual std::size_t memory() const noexcept = 0;

  virtual void add(Ipa::IpGenPrefix const& prefix, PrefixData::Ptr const& data) = 0;
  virtual void expectFar(Ipa::IpGenPrefix const& prefix) const noexcept = 0;
  virtual void expectNear(Ipa::IpGenPrefix const& prefix) const noexcept = 0;
  /// Has the head remove `data`; false when nothing is at the prefix.
  virtual bool remove(Ipa::IpGenPrefix const& prefix, PrefixData::Ptr const& data) = 0;
  virtual bool removeAll(Ipa::IpGenPrefix const& prefix) = 0;

  virtual PrefixData const* find(Ipa::IpGenPrefix const& prefix) const noexcept = 0;
  virtual std::size_t covering(Ipa::IpGenPrefix const& prefix, Cover* out) const noexcept = 0;

  /// The first prefix, or the first behind `prefix`, which it replaces; null when there is none.
  virtual PrefixData const* first(Ipa::IpGenPrefix& prefix) const = 0;
  virtual PrefixData const* next(Ipa::IpGenPrefix& prefix) const = 0;

 protected:
  std::size_t size_ = 0;  // prefixes
  std::size_t added_ = 0;
};

}  // namespace Routing::detail
