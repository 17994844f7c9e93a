#include "policy_eval/MatchPrefixList.h"

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <vector>

namespace {

using namespace Routing::RouteMap;
using Routing::PolicyEval::matchPrefixList;
using Outcome = Routing::PolicyEval::PrefixListMatch::Outcome;

/// A compiled list of these entries.
Orb::Ptr<PrefixListStatus const> compiled(std::vector<GenPrefixEntry> const& entries,
                                          Ipa::AddressFamily family) {
  auto const trie = Orb::make<Routing::PatriciaTrieWithNodeData>("L", family);
  for (auto const& entry : entries)
    trie->routeIs(entry.prefix(), prefixListEntryDataFactory(entry));
  auto const status = prefixListStatusFactory("L");
  status->trieIs(trie);
  return status;
}

/// The same by the words of the contract: every entry in the order of the sequence numbers.
std::optional<GenPrefixEntry> plainMatch(std::vector<GenPrefixEntry> const& entries,
                                         Ipa::IpGenPrefix const& route) {
  std::optional<GenPrefixEntry> first;
  for (auto const& entry : entries) {
    Orb::U32 const length = route.length();
    bool const inBounds =
        entry.eq() ? length == entry.eq() : length >= entry.ge() && length <= entry.le();
    if (!entry.prefix().contains(route) || !inBounds) continue;
    if (!first || entry.seqno() < first->seqno()) first = entry;
  }
  return first;
}

TEST(MatchPrefixList, DistinguishesNoListFromNoMatch) {
  Ipa::IpGenPrefix const route = Ipa::Prefix::parse("10.0.0.0/8");
  EXPECT_EQ(matchPrefixList(nullptr, route).outcome, Outcome::noSuchList);
  EXPECT_EQ(matchPrefixList(prefixListStatusFactory("L"), route).outcome, Outcome::noSuchList);
  EXPECT_EQ(matchPrefixList(compiled({}, Ipa::ipv4), route).outcome, Outcome::noMatch);
  auto const all = compiled(
      {GenPrefixEntry::of(1U, Ipa::IpGenPrefix(), Acl::permitMatch, 0U, 32U, 0U)}, Ipa::ipv4);
  EXPECT_EQ(matchPrefixList(all, route).outcome, Outcome::match);
  EXPECT_EQ(matchPrefixList(all, Ipa::Ip6Prefix()).outcome, Outcome::noMatch) << "other family";
}

// Many lists of few entries over few prefixes, and large ones.
TEST(MatchPrefixList, AgreesWithAScanOverRandomLists) {
  std::mt19937_64 random(11);
  auto const below = [&](Orb::U32 n) { return static_cast<Orb::U32>(random() % n); };
  for (int trial = 0; trial < 4000; ++trial) {
    bool const isIpv4 = trial % 2 == 0;
    Orb::U32 const most = isIpv4 ? 32 : 128;
    Orb::U32 const spread = 1 + below(12);  // bits in which the addresses differ
    auto const randomPrefix = [&] {
      Orb::U64 const high = (random() & ((Orb::U64{1} << spread) - 1)) << (64 - spread - below(8));
      Orb::U32 const length = below(4) ? below(spread + 8) : below(most + 1);
      if (isIpv4) {
        return Ipa::IpGenPrefix(Ipa::Prefix::subnet(Ipa::IpAddr(static_cast<Orb::U32>(high >> 32)),
                                                    std::min(length, most)));
      }
      return Ipa::IpGenPrefix(Ipa::Ip6Prefix::subnet(Ipa::Ip6Addr(high, random()), length));
    };
    std::vector<GenPrefixEntry> entries;
    Orb::U32 const count = 1 + below(trial % 100 == 0 ? 3000 : trial % 10 == 0 ? 60 : 5);
    for (Orb::U32 i = 0; i < count; ++i) {
      Orb::U32 const ge = below(most + 1);
      entries.push_back(GenPrefixEntry::of(
          i * 5, randomPrefix(), below(3) ? Acl::permitMatch : Acl::denyMatch, ge,
          below(8) ? ge + below(most + 1 - ge) : below(600), below(5) ? 0 : below(300)));
    }
    std::shuffle(entries.begin(), entries.end(), random);
    auto const status = compiled(entries, isIpv4 ? Ipa::ipv4 : Ipa::ipv6);
    for (int i = 0; i < 100; ++i) {
      auto const route = i % 2 ? randomPrefix() : entries[below(count)].prefix();
      auto const expected = plainMatch(entries, route);
      auto const found = matchPrefixList(status, route);
      ASSERT_EQ(found.outcome, expected ? Outcome::match : Outcome::noMatch) << route;
      ASSERT_EQ(found.seqno, expected ? expected->seqno() : 0) << route;
      if (!expected) continue;
      ASSERT_EQ(found.isPermit, expected->permit() == Acl::permitMatch);
      ASSERT_EQ(found.entry->data(), *expected);
    }
  }
}

}  // namespace
