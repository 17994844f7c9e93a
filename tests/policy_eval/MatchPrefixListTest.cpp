#include "policy_eval/MatchPrefixList.h"

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <vector>

namespace {

using namespace Routing::RouteMap;
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

void expectAgreement(std::vector<GenPrefixEntry> const& entries, PrefixListStatus const& status,
                     Ipa::IpGenPrefix const& route) {
  auto const expected = plainMatch(entries, route);
  auto const found = Routing::PolicyEval::matchPrefixList(&status, route);
  ASSERT_EQ(found.outcome, expected ? Outcome::match : Outcome::noMatch) << route;
  if (!expected) return;
  EXPECT_EQ(found.seqno, expected->seqno()) << route;
  EXPECT_EQ(found.isPermit, expected->permit() == Acl::permitMatch);
  ASSERT_TRUE(found.entry);
  EXPECT_EQ(found.entry->data(), *expected);
}

TEST(MatchPrefixList, TellsNoListFromNoMatch) {
  Ipa::IpGenPrefix const route = Ipa::Prefix::parse("10.0.0.0/8");
  EXPECT_EQ(Routing::PolicyEval::matchPrefixList(nullptr, route).outcome, Outcome::noSuchList);
  auto const status = prefixListStatusFactory("L");
  EXPECT_EQ(Routing::PolicyEval::matchPrefixList(status, route).outcome, Outcome::noSuchList);
  auto const empty = compiled({}, Ipa::ipv4);
  EXPECT_EQ(Routing::PolicyEval::matchPrefixList(empty, route).outcome, Outcome::noMatch);
  auto const all = compiled(
      {GenPrefixEntry::of(1U, Ipa::IpGenPrefix(), Acl::permitMatch, 0U, 32U, 0U)}, Ipa::ipv4);
  EXPECT_EQ(Routing::PolicyEval::matchPrefixList(all, route).outcome, Outcome::match);
  EXPECT_EQ(Routing::PolicyEval::matchPrefixList(all, Ipa::Ip6Prefix()).outcome, Outcome::noMatch)
      << "the other family";
}

// All lists of up to three entries over the prefixes of two bits (in three positions of the bits,
// so that the strides of a trie are crossed), with the bounds that an entry can have there.
TEST(MatchPrefixList, AgreesWithAScanOverAllSmallLists) {
  std::vector<Ipa::IpGenPrefix> prefixes;  // "", 0, 1, 00, 01, 10, 11 at this place
  std::vector<GenPrefixEntry> kinds;
  for (Orb::U32 length = 0; length <= 2; ++length) {
    for (Orb::U32 bits = 0; bits < 1U << length; ++bits) {
      Orb::U32 const address = length == 0 ? 0 : bits << (32 - length);
      prefixes.emplace_back(Ipa::Prefix(Ipa::IpAddr(address), length));
      for (Orb::U32 ge = 0; ge <= 2; ++ge) {
        for (Orb::U32 le = ge; le <= 2; ++le) {
          kinds.push_back(GenPrefixEntry::of(
              0U, prefixes.back(), ge % 2 ? Acl::permitMatch : Acl::denyMatch, ge, le, 0U));
        }
      }
      kinds.push_back(GenPrefixEntry::of(0U, prefixes.back(), Acl::permitMatch, 0U, 0U, 1U));
    }
  }
  Orb::U64 lists = 0;
  for (std::size_t a = 0; a < kinds.size(); ++a) {
    for (std::size_t b = 0; b <= kinds.size(); ++b) {
      for (std::size_t c = b; c <= kinds.size(); ++c) {  // the last stands for "no entry"
        std::vector<GenPrefixEntry> entries{kinds[a]};
        if (b < kinds.size()) entries.push_back(kinds[b]);
        if (c < kinds.size()) entries.push_back(kinds[c]);
        // Sequence numbers that do not follow the order of insertion.
        for (std::size_t i = 0; i < entries.size(); ++i) {
          entries[i].seqnoIs(static_cast<Orb::U32>((i + a) % 3 * 10));
        }
        auto const status = compiled(entries, Ipa::ipv4);
        for (auto const& route : prefixes) expectAgreement(entries, *status, route);
        if (HasFatalFailure()) return;
        ++lists;
      }
    }
  }
  EXPECT_GT(lists, 60000U);
}

TEST(MatchPrefixList, AgreesWithAScanOverRandomLists) {
  std::mt19937_64 random(11);
  auto const below = [&](Orb::U32 n) { return static_cast<Orb::U32>(random() % n); };
  for (int trial = 0; trial < 400; ++trial) {
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
    Orb::U32 const count = 1 + below(trial % 10 == 0 ? 3000 : 60);
    for (Orb::U32 i = 0; i < count; ++i) {
      Orb::U32 const ge = below(most + 1);
      entries.push_back(GenPrefixEntry::of(
          i * 5, randomPrefix(), below(3) ? Acl::permitMatch : Acl::denyMatch, ge,
          below(8) ? ge + below(most + 1 - ge) : below(600), below(5) ? 0 : below(300)));
    }
    std::shuffle(entries.begin(), entries.end(), random);
    auto const status = compiled(entries, isIpv4 ? Ipa::ipv4 : Ipa::ipv6);
    for (int i = 0; i < 200; ++i) {
      expectAgreement(entries, *status, i % 2 ? randomPrefix() : entries[below(count)].prefix());
      if (HasFatalFailure()) return;
    }
  }
}

}  // namespace
