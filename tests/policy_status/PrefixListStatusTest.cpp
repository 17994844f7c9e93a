#include "policy_status/RouteMapStatusImpl.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "platform/orb/base/Error.h"
#include "platform/orb/base/Trace.h"
#include "platform/orb/loop/Activity.h"
#include "platform/orb/loop/Reaper.h"
#include "tests/support/ScarceMemory.h"

namespace {

using namespace Routing::RouteMap;
using Data = Orb::Ptr<Routing::PrefixData>;

GenPrefixEntry entry(Orb::U32 seqno, Orb::U32 le = 24) {
  return GenPrefixEntry::of(seqno, Ipa::Prefix::parse("10.0.0.0/8"), Acl::permitMatch, 8U, le, 0U);
}

/// A chain, as a trie keeps it, with the bounds that tell equal sequence numbers apart.
struct Chain {
  Data head;
  void insert(Orb::U32 seqno, Orb::U32 le = 24) {
    Data const added = prefixListEntryDataFactory(entry(seqno, le));
    head = head ? head->insertData(added) : added;
  }
  std::vector<std::pair<Orb::U32, Orb::U32>> entries() const {
    std::vector<std::pair<Orb::U32, Orb::U32>> out;
    for (auto* at = static_cast<PrefixListEntryData*>(head.get()); at;
         at = at->nextEntryData().get()) {
      out.emplace_back(at->seqno(), at->data().le());
    }
    return out;
  }
  void remove(Orb::U32 seqno) { head = head->removeData(prefixListEntryDataFactory(entry(seqno))); }
};
using Entries = std::vector<std::pair<Orb::U32, Orb::U32>>;

TEST(PrefixListEntryData, ChainsBySequenceNumber) {
  // An equal number goes behind the head, but in front of a later entry, on purpose.
  Chain c;
  c.insert(10, 1);
  c.insert(10, 2);
  c.insert(30, 3);
  c.insert(30, 4);
  c.insert(5, 5);
  c.insert(20, 6);
  EXPECT_EQ(c.entries(), (Entries{{5, 5}, {10, 1}, {10, 2}, {20, 6}, {30, 4}, {30, 3}}));
  c.remove(5);
  c.remove(30);
  c.remove(99);
  EXPECT_EQ(c.entries(), (Entries{{10, 1}, {10, 2}, {20, 6}, {30, 3}}));
  for (Orb::U32 const seqno : {10U, 10U, 20U, 30U}) c.remove(seqno);
  EXPECT_FALSE(c.head) << "the node empties";
}

// Short and long chains, of which the long ones have an index, against a sorted list.
TEST(PrefixListEntryData, AgreesWithAListUnderRandomChanges) {
  std::mt19937 random(3);
  for (Orb::U32 const numbers : {5U, 40U, 150U}) {
    Chain c;
    Entries model;  // in the order of the chain
    for (int step = 0; step < 4000; ++step) {
      auto const seqno = static_cast<Orb::U32>(random() % numbers);
      bool const grows = step / 400 % 2 == 0;
      if (random() % 4 == 0 ? !grows : grows) {
        auto const le = static_cast<Orb::U32>(random() % 40);
        c.insert(seqno, le);
        auto at = std::find_if(model.begin(), model.end(),
                               [&](auto const& entry) { return entry.first >= seqno; });
        if (!model.empty() && at == model.begin() && at->first == seqno) ++at;
        model.insert(at, {seqno, le});
      } else if (c.head) {
        c.remove(seqno);
        auto const at = std::find_if(model.begin(), model.end(),
                                     [&](auto const& entry) { return entry.first == seqno; });
        if (at != model.end()) model.erase(at);
      }
      ASSERT_EQ(c.entries(), model);
      if (!c.head) continue;
      auto const& head = static_cast<PrefixListEntryData const&>(*c.head);
      auto const length = static_cast<Orb::U32>(random() % 34);
      auto const below = static_cast<Orb::U32>(random() % (numbers + 1));
      auto const expected = std::find_if(model.begin() + 1, model.end(), [&](auto const& entry) {
        return length >= 8 && length <= entry.second;
      });
      auto const* const found = head.firstBehind(length, below);
      if (length > 32 || expected == model.end() || expected->first >= below) {
        EXPECT_FALSE(found);
      } else {
        ASSERT_TRUE(found);
        EXPECT_EQ(std::pair(found->seqno(), found->data().le()), *expected);
      }
      EXPECT_EQ(head.data().prefix(), entry(1).prefix());
    }
  }
}

TEST(PrefixListEntryData, AVeryLongChainGoesWithoutRecursion) {
  Chain c;
  for (Orb::U32 i = 300000; i > 0; --i) c.insert(i);
  auto const kept = static_cast<PrefixListEntryData&>(*c.head).nextEntryData();
  c.head = nullptr;
  EXPECT_EQ(kept->seqno(), 2U) << "who holds a entry holds those behind it";
}

// Few prefixes, many entries: it is the entries that take the time.
TEST(PrefixListEntryData, ChainsGoInSlicesWithTheirTrie) {
  Orb::reapAll();
  Orb::ActivityManager manager;
  Orb::ActivityManager::Scope const scope(manager);
  double now = 0;
  manager.clock()->timeSourceIs([&] { return now += 0.001; });  // for each step of freeing
  for (auto const& [prefixes, entries] : {std::pair{1U, 20000U}, {100U, 50U}}) {
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
    c.insert(100);
    tails.emplace_back(static_cast<PrefixListEntryData*>(c.head.get()));
    for (Orb::U32 seqno = 99; seqno > 50; --seqno) c.insert(seqno);
    TestSupport::ScarceMemory const scarce(i % 2);
    c.head = nullptr;
    if (i % 2 == 0) {
      EXPECT_EQ(tails.back()->refCount(), 1U);
    }
  }
  Orb::reapAll();
  for (auto const& tail : tails) EXPECT_EQ(tail->refCount(), 1U);
}

TEST(PrefixListEntryData, KeepsTheWholeRule) {
  for (auto const& entry :
       {GenPrefixEntry(), entry(4294967295U),
        GenPrefixEntry::of(7U, Ipa::Ip6Prefix::parse("2001:db8:1:2:3:4:5:6/128"), Acl::denyMatch,
                           4294967295U, 300U, 7U)}) {
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
  c.insert(10);
  EXPECT_FALSE(c.head->removeData(nullptr)) << "the chain is not asked, on purpose";
  EXPECT_DEATH(c.head->insertData(nullptr), "assertion failed: data");

  std::vector<std::string> lines;
  Orb::traceSinkIs([&](std::string_view, int level, std::string_view line) {
    EXPECT_EQ(level, 6);
    lines.emplace_back(line);
  });
  c.insert(20);
  EXPECT_TRUE(lines.empty());
  Orb::traceLevelIs("RouteMapStatusType", 6);
  c.insert(30);
  c.remove(99);
  Orb::traceReset();
  std::string const method =
      "virtual Routing::PrefixData::Ptr Routing::RouteMap::PrefixListEntryData::";
  EXPECT_EQ(lines,
            (std::vector{method + "insertData(const Ptr&) inserting " + Orb::toText(entry(30)),
                         method + "removeData(const Ptr&) removing " + Orb::toText(entry(99)),
                         method + "removeData(const Ptr&)no element with seq: 99 in the list"}));
}

TEST(PrefixListEntryData, TextFormsReadBack) {
  auto const entry = GenPrefixEntry::of(5U, Ipa::Ip6Prefix::parse("2001:db8::/32"),
                                        Acl::permitMatch, 33U, 48U, 0U);
  std::string const text =
      "Value('Routing::RouteMap::GenPrefixEntry', ** {'seqno': 5, 'prefix': 2001:db8::/32, "
      "'permit': permitMatch, 'ge': 33, 'le': 48, 'eq': 0})";
  EXPECT_EQ(Orb::toText(entry), text);
  EXPECT_EQ(GenPrefixEntry(text), entry);
  std::string bad = text;
  bad.replace(bad.find("permitMatch"), 11, "permitMatsch");
  try {
    GenPrefixEntry const read(bad);
    FAIL();
  } catch (Orb::RangeException const& e) {
    EXPECT_NE(std::string(e.what()).find("permit"), std::string::npos);
  }
  auto const named = SeqPrefix::of(7U, Ipa::Prefix::parse("10.0.0.0/8"));
  EXPECT_EQ(Orb::toText(named),
            "Value('Routing::RouteMap::SeqPrefix', ** {'seqno': 7, 'prefix': 10.0.0.0/8})");
  EXPECT_EQ(SeqPrefix(Orb::toText(named)), named);
}

struct Listener final : PolicySymbolNotifier::Notifiee {
  explicit Listener(Orb::Ptr<PolicySymbolNotifier const> const& n) { notifierIs(n); }
  ~Listener() = default;
  void onVersion() override {
    ++told;
    then();
  }
  int told = 0;
  std::function<void()> then = [] {};
};

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
}

TEST(PolicySymbol, RaisesItsVersion) {
  auto symbol = prefixListSymbolFactory("A");
  ASSERT_TRUE(symbol->symbolNotifier());
  EXPECT_EQ(symbol->symbolNotifierIs(), symbol->symbolNotifier());
  Listener listener(symbol->symbolNotifier());
  EXPECT_EQ(symbol->versionInc(4294967295U), 4294967295U);
  EXPECT_EQ(symbol->versionInc(0), 4294967295U);
  EXPECT_EQ(listener.told, 1);
  EXPECT_EQ(symbol->versionInc(1), 0U) << "wraps";
  symbol->symbolNotifier()->versionIs(0);
  EXPECT_EQ(listener.told, 2);

  auto const late = std::make_unique<Listener>(nullptr);
  listener.then = [&] {  // drops the symbol with its notifier while it is told
    late->notifierIs(symbol->symbolNotifier());
    symbol = nullptr;
  };
  EXPECT_EQ(symbol->versionInc(7), 7U);
  EXPECT_EQ(late->told, 0);
  EXPECT_FALSE(listener.isLinked());

  symbol = prefixListSymbolFactory("A");
  EXPECT_TRUE(symbol->symbolNotifierDel());
  EXPECT_EQ(symbol->versionInc(1), 0U) << "nobody to raise";
}

TEST(AllPrefixListSymbol, KeepsSymbolsUnderTheirNames) {
  auto const all = allPrefixListSymbolFactory();
  auto const a = prefixListSymbolFactory("A");
  all->symbolIs(a);
  all->symbolIs(prefixListSymbolFactory("B"));
  EXPECT_EQ(all->symbol("A"), a);
  auto const other = prefixListSymbolFactory("A");
  all->symbolIs(other);
  EXPECT_EQ(all->symbol("A"), other);
  EXPECT_EQ(all->symbol().size(), 2U);
  all->symbolDel("A");
  all->symbolDel("A");
  EXPECT_FALSE(all->symbol("A"));
  try {
    all->symbolIs(nullptr);
    FAIL();
  } catch (Orb::RangeException const& e) {
    EXPECT_STREQ(e.what(),
                 "null _symbol parameter to mutator for Routing::RouteMap::AllPrefixListSymbol::"
                 "symbol not allowed\"");
  }
  all->symbolDelAll();
  EXPECT_TRUE(all->symbol().empty());
}

}  // namespace
