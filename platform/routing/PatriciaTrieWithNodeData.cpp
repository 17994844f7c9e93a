#include "platform/routing/PatriciaTrieWithNodeData.h"

#include <new>
#include <string>
#include <utility>

#include "platform/orb/base/Error.h"
#include "platform/routing/detail/TrieCore.h"

namespace Routing {

// A trie to which more data than this were added is freed by the reaper.
constexpr std::size_t kMaxFreedAtOnce = 1023;

PatriciaTrieWithNodeData::PatriciaTrieWithNodeData(Orb::String name, Ipa::AddressFamily family)
    : name_(std::move(name)), core_(detail::TrieCore::make(family)) {}

PatriciaTrieWithNodeData::~PatriciaTrieWithNodeData() {
  if (core_->added() <= kMaxFreedAtOnce) return;
  try {
    Orb::reap(std::move(core_));
  } catch (std::bad_alloc const&) {
    // No memory for the piece of garbage: the core has been freed at once.
  }
}

Ipa::AddressFamily PatriciaTrieWithNodeData::addressFamily() const noexcept {
  return core_->family();
}

std::size_t PatriciaTrieWithNodeData::size() const noexcept { return core_->size(); }

std::size_t PatriciaTrieWithNodeData::memory() const noexcept {
  return sizeof *this + core_->memory();
}

void PatriciaTrieWithNodeData::routeIs(Ipa::IpGenPrefix const& prefix,
                                       PrefixData::Ptr const& data) {
  ORB_ASSERT(data);
  if (prefix.family() != addressFamily()) {
    throw Orb::RangeException("prefix " + prefix.toString() + " is not of the family of trie " +
                              name_.str());
  }
  core_->add(prefix, data);
  data->onAddition();
}

void PatriciaTrieWithNodeData::expectFar(Ipa::IpGenPrefix const& prefix) const noexcept {
  if (prefix.family() == addressFamily()) core_->expectFar(prefix);
}

void PatriciaTrieWithNodeData::expectNear(Ipa::IpGenPrefix const& prefix) const noexcept {
  if (prefix.family() == addressFamily()) core_->expectNear(prefix);
}

bool PatriciaTrieWithNodeData::routeDel(Ipa::IpGenPrefix const& prefix,
                                        PrefixData::Ptr const& data) {
  return prefix.family() == addressFamily() && core_->remove(prefix, data);
}

bool PatriciaTrieWithNodeData::routeDel(Ipa::IpGenPrefix const& prefix) {
  return prefix.family() == addressFamily() && core_->removeAll(prefix);
}

PrefixData const* PatriciaTrieWithNodeData::route(Ipa::IpGenPrefix const& prefix) const noexcept {
  return prefix.family() == addressFamily() ? core_->find(prefix) : nullptr;
}

std::size_t PatriciaTrieWithNodeData::covering(Ipa::IpGenPrefix const& prefix,
                                               std::span<Cover, kMaxCovers> covers) const noexcept {
  return prefix.family() == addressFamily() ? core_->covering(prefix, covers.data()) : 0;
}

void PatriciaTrieWithNodeData::forEach(
    std::function<void(Ipa::IpGenPrefix const&, PrefixData const&)> const& visit) const {
  Ipa::IpGenPrefix prefix;
  for (PrefixData const* head = core_->first(prefix); head; head = core_->next(prefix)) {
    visit(prefix, *head);
  }
}

}  // namespace Routing
