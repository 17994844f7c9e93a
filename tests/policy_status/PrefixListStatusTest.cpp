#include "policy_status/RouteMapStatusImpl.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "platform/orb/base/Error.h"
#include "platform/orb/loop/Activity.h"
#include "platform/orb/loop/Reaper.h"
#include "policy_status/DynPrefixListStatus.h"
#include "tests/support/Observer.h"
#include "tests/support/ScarceMemory.h"
#include "tests/support/Traced.h"

namespace {

using namespace Routing::RouteMap;
using Data = Orb::Ptr<Routing::PrefixData>;
using TestSupport::Observer;

using Entries = std::vector<GenPrefixEntry>;

Ipa::IpGenPrefix const kPrefix4 = Ipa::Prefix::parse("10.0.0.0/8");
Ipa::IpGenPrefix const kPrefix6 = Ipa::Ip6Prefix::parse("2001:db8:1:2:3:4:5:6/128");

GenPrefixEntry entry(Orb::U32 seqno, Orb::U32 le = 24, Ipa::IpGenPrefix const& prefix = kPrefix4) {
  return GenPrefixEntry::of(seqno, prefix, Acl::permitMatch, 8U, le, 0U);
}

/// A chain, as a trie keeps it.
struct Chain {
  Data head;
  void insert(GenPrefixEntry const& entry) {
    Data const added = prefixListEntryDataFactory(entry);
    head = head ? head->insertData(added) : added;
  }
  Entries entries() const {
    Entries out;
    for (auto* at = static_cast<PrefixListEntryData*>(head.get()); at;
         at = at->nextEntryData().get()) {
      out.push_back(at->data());
    }
    return out;
  }
  void remove(Orb::U32 seqno) { head = head->removeData(prefixListEntryDataFactory(entry(seqno))); }
};

// Short and long chains, of which the long ones have an index, against a sorted list. An equal
// number goes behind the head, but in front of a later entry, on purpose; the upper bounds
// distinguish entries of one number.
TEST(PrefixListEntryData, AgreesWithAListUnderRandomChanges) {
  std::mt19937 random(3);
  auto const below = [&](Orb::U32 n) { return static_cast<Orb::U32>(random() % n); };
  for (auto const& [numbers, prefix] : {std::pair{5U, kPrefix4},
                                        {40U, kPrefix4},
                                        {40U, kPrefix6},
                                        {150U, kPrefix4},
                                        {150U, kPrefix6}}) {
    Chain c;
    Entries model;  // in the order of the chain
    Orb::U32 const longest = prefix.family() == Ipa::ipv4 ? 32 : 128;
    for (int step = 0; step < 1600; ++step) {
      Orb::U32 const seqno = below(numbers);
      bool const grows = step / 400 % 2 == 0;
      auto const at = std::find_if(model.begin(), model.end(),
                                   [&](auto const& earlier) { return earlier.seqno() >= seqno; });
      bool const isThere = at != model.end() && at->seqno() == seqno;
      if (below(4) == 0 ? !grows : grows) {
        auto const added = entry(seqno, below(longest + 8), prefix);
        c.insert(added);
        model.insert(isThere && at == model.begin() ? at + 1 : at, added);
      } else if (c.head) {
        c.remove(seqno);
        if (isThere) model.erase(at);
      }
      ASSERT_EQ(c.entries(), model);
      if (!c.head) continue;
      Orb::U32 const length = below(longest + 1);
      Orb::U32 const limit = below(numbers + 1);
      auto const expected = std::find_if(model.begin() + 1, model.end(), [&](auto const& behind) {
        return length >= 8 && length <= behind.le();
      });
      auto const* const found =
          static_cast<PrefixListEntryData const&>(*c.head).firstBehind(length, limit);
      if (expected == model.end() || expected->seqno() >= limit) {
        EXPECT_FALSE(found);
      } else {
        ASSERT_TRUE(found);
        EXPECT_EQ(found->data(), *expected);
      }
    }
  }
}

// Few prefixes, many entries: it is the entries that take the time.
TEST(PrefixListEntryData, ChainsGoInSlicesWithTheirTrie) {
  Orb::reapAll();
  Orb::ActivityManager manager;
  Orb::ActivityManager::Scope const scope(manager);
  double now = 0;
  manager.clock()->timeSourceIs([&] { return now += 0.001; });  // for each step of freeing
  for (auto const& [prefixes, entries] : {std::pair{1U, 300000U}, {100U, 50U}}) {
    auto trie = Orb::make<Routing::PatriciaTrieWithNodeData>("t", Ipa::ipv4);
    auto const prefixOf = [](Orb::U32 i) { return Ipa::Prefix(Ipa::IpAddr(i << 24), 8U); };
    for (Orb::U32 i = 0; i < prefixes; ++i) {
      for (Orb::U32 seqno = entries; seqno > 0; --seqno) {
        trie->routeIs(prefixOf(i), prefixListEntryDataFactory(GenPrefixEntry::of(
                                       seqno, prefixOf(i), Acl::permitMatch, 8U, 24U, 0U)));
      }
    }
    Orb::Ptr<Routing::PrefixData const> head = trie->route(prefixOf(0));
    trie = nullptr;
    EXPECT_EQ(head->refCount(), 2U) << "nothing was freed at once";
    EXPECT_EQ(Orb::pendingGarbage(), 1U);
    head = nullptr;
    int turns = 0;
    for (; Orb::pendingGarbage() != 0; ++turns) manager.turn();
    EXPECT_GT(turns, 5);
  }
}

TEST(PrefixListEntryData, AChainThatTheReaperHasNoMemoryForIsFreedAtOnce) {
  Orb::reapAll();
  std::vector<Orb::Ptr<PrefixListEntryData>> tails;
  for (long i = 0; i < 300; ++i) {  // so many that the reaper's queue must grow
    Chain c;
    c.insert(entry(100));
    tails.emplace_back(static_cast<PrefixListEntryData*>(c.head.get()));
    for (Orb::U32 seqno = 99; seqno > 50; --seqno) c.insert(entry(seqno));
    TestSupport::ScarceMemory const scarce(i % 2);
    c.head = nullptr;
    if (i % 2 == 0) {
      EXPECT_EQ(tails.back()->refCount(), 1U);
    }
  }
  Orb::reapAll();
  for (auto const& tail : tails) EXPECT_EQ(tail->refCount(), 1U);
}

TEST(PrefixListEntryData, KeepsTheWholeEntry) {
  for (auto const& entry :
       {GenPrefixEntry(), entry(4294967295U),
        GenPrefixEntry::of(7U, kPrefix6, Acl::denyMatch, 4294967295U, 300U, 7U)}) {
    auto const data = prefixListEntryDataFactory(entry);
    EXPECT_EQ(data->data(), entry);
    EXPECT_EQ(data->isPrefixEntryPermit(), entry.permit() == Acl::permitMatch);
    EXPECT_EQ(GenPrefixEntry(Orb::toText(entry)), entry);
    EntrySummary const summary(data->summary());
    for (Orb::U32 length = 0; length <= 128; ++length) {
      EXPECT_EQ(summary.matchesLength(length), data->matchesLength(length)) << entry << length;
    }
  }
  EXPECT_EQ(sizeof(PrefixListEntryData), 56U) << "what a million of them weigh";
}

TEST(PrefixListEntryData, NullsAndTraces) {
  Chain c;
  c.insert(entry(10));
  EXPECT_FALSE(c.head->removeData(nullptr)) << "on purpose";
  EXPECT_DEATH(c.head->insertData(nullptr), "assertion failed: data");

  TestSupport::Traced const traced(6);
  c.insert(entry(30));
  c.remove(99);
  std::string const method =
      "6 virtual Routing::PrefixData::Ptr Routing::RouteMap::PrefixListEntryData::";
  EXPECT_EQ(traced.lines, method + "insertData(const Ptr&) inserting " + Orb::toText(entry(30)) +
                              '\n' + method + "removeData(const Ptr&) removing " +
                              Orb::toText(entry(99)) + '\n' + method +
                              "removeData(const Ptr&)no element with seq: 99 in the list\n");
}

TEST(PrefixListEntryData, EntriesNameTheirFields) {
  EXPECT_EQ(Orb::toText(GenPrefixEntry()),
            "Value('Routing::RouteMap::GenPrefixEntry', ** {'seqno': 0, 'prefix': 0.0.0.0/0, "
            "'permit': denyMatch, 'ge': 0, 'le': 0, 'eq': 0})");
  EXPECT_EQ(Orb::toText(SeqPrefix()),
            "Value('Routing::RouteMap::SeqPrefix', ** {'seqno': 0, 'prefix': 0.0.0.0/0})");
}

TEST(PolicySymbol, IsDeduplicatedByNameAlone) {
  auto const table = prefixListSymbolDedupTableFactory();
  auto fresh = prefixListSymbolFactory("A");
  fresh->statusIs(prefixListStatusFactory("A"));
  auto const first = fresh->dedup(table);
  EXPECT_EQ(first, fresh);
  EXPECT_EQ(prefixListSymbolFactory("A")->dedup(table), first);
  EXPECT_NE(prefixListSymbolFactory("B")->dedup(table), first);
  EXPECT_TRUE(first->status());

  EXPECT_EQ(prefixListSymbolFactory("")->hash(), 0U);
  Orb::U32 const h = Orb::String("A").hash();
  Orb::U32 const b = h * 9 ^ h * 9 >> 11;
  EXPECT_EQ(first->hash(), b * 32769);
  EXPECT_EQ(Orb::inspect(*allPrefixListSymbolFactory()).substr(0, 38),
            "Routing::RouteMap::AllPrefixListSymbol");
}

TEST(PolicySymbol, RaisesItsVersion) {
  auto symbol = prefixListSymbolFactory("A");
  ASSERT_TRUE(symbol->symbolNotifier());
  EXPECT_EQ(symbol->symbolNotifierIs(), symbol->symbolNotifier());
  Observer listener(*symbol->symbolNotifier());
  EXPECT_EQ(symbol->versionInc(4294967295U), 4294967295U);
  EXPECT_EQ(symbol->versionInc(0), 4294967295U);
  EXPECT_EQ(listener.notified, 1);
  EXPECT_EQ(symbol->versionInc(1), 0U) << "wraps";
  symbol->symbolNotifier()->versionIs(0);
  EXPECT_EQ(listener.notified, 2);

  Observer late([](auto...) {});
  listener.changed = [&](auto...) {  // drops the symbol with its notifier in the notice
    symbol->symbolNotifier()->notifieeIs(late);
    symbol = nullptr;
  };
  EXPECT_EQ(symbol->versionInc(7), 7U);
  EXPECT_EQ(late.notified, 0);
  EXPECT_FALSE(listener.isLinked());

  struct Follower final : PolicySymbolNotifier::Notifiee {
    void onVersion() override { ++notified; }
    int notified = 0;
  } follower;
  symbol = prefixListSymbolFactory("A");
  follower.notifierIs(symbol->symbolNotifier());
  auto const other = prefixListSymbolFactory("B");
  {
    TestSupport::ScarceMemory const scarce(0);
    EXPECT_THROW(follower.notifierIs(other->symbolNotifier()), std::bad_alloc);
  }
  symbol->versionInc(1);
  EXPECT_EQ(follower.notified, 1) << "it follows the first one as before";
  EXPECT_TRUE(symbol->symbolNotifierDel());
  EXPECT_EQ(symbol->versionInc(1), 0U) << "there is nothing to raise";
}

TEST(DynPrefixListStatus, HoldsAStateForEachVrf) {
  using Routing::DynamicPrefixList::active, Routing::DynamicPrefixList::inactive;
  auto const status = dynPrefixListStatusFactory("D");
  status->activeInVrfDelAll();
  for (auto const state : {inactive, active}) {
    auto const& element = status->activeInVrfIs(7, state);
    EXPECT_TRUE(element.key == 7 && element.value == state);
    EXPECT_EQ(status->activeInVrf(7), state);
  }
  EXPECT_EQ(status->activeInVrf().size(), 1U);
  EXPECT_EQ(status->activeInVrf(8), inactive) << "it has none";
  status->activeInVrfDel(7);
  EXPECT_TRUE(status->activeInVrf().empty());
}

}  // namespace
