#include "platform/routing/PatriciaTrieWithNodeData.h"

#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/orb/base/Error.h"
#include "platform/orb/loop/Reaper.h"
#include "tests/support/ScarceMemory.h"

namespace {

using Ipa::IpGenPrefix;
using Orb::U64;
using Routing::PatriciaTrieWithNodeData;
using Routing::PrefixData;

int alive = 0;  // data that exist

/// A datum that chains: the newest is the head. Its summary is its number.
class Datum : public PrefixData {
 public:
  using Ptr = Orb::Ptr<Datum>;

  explicit Datum(U64 number) : number_(number) { ++alive; }

  PrefixData::Ptr insertData(PrefixData::Ptr const& data) override {
    auto const added = Orb::ptrCast<Datum>(data);
    added->next_ = this;
    return added;
  }
  PrefixData::Ptr removeData(PrefixData::Ptr const& data) override {
    if (data.get() == this) return std::exchange(next_, nullptr);
    for (Datum* at = this; at->next_; at = at->next_.get()) {
      if (at->next_.get() != data.get()) continue;
      at->next_ = Ptr(at->next_)->next_;
      break;
    }
    return this;
  }
  void onAddition() override { ++additions; }
  void onDeletion() override { ++deletions; }
  U64 summary() const noexcept override { return number_; }

  int additions = 0;
  int deletions = 0;

 protected:
  ~Datum() override { --alive; }

 private:
  U64 number_;
  Ptr next_;
};

using Random = std::mt19937_64;
using Model = std::map<IpGenPrefix, std::vector<Datum::Ptr>>;  // the head is the last
using Covers = std::array<Routing::Cover, Routing::kMaxCovers>;

IpGenPrefix p(char const* text) { return IpGenPrefix::parse(text); }

IpGenPrefix ip4(U64 address, unsigned length) {
  return Ipa::Prefix::subnet(Ipa::IpAddr(static_cast<Orb::U32>(address)), length);
}
IpGenPrefix ip6(U64 high, U64 low, unsigned length) {
  return Ipa::Ip6Prefix::subnet(Ipa::Ip6Addr(high, low), length);
}

PatriciaTrieWithNodeData::Ptr emptyTrie(Ipa::AddressFamily family) {
  return Orb::make<PatriciaTrieWithNodeData>("t", family);
}

/// Prefixes that cover `prefix` by the model, the shortest first.
std::vector<std::pair<unsigned, Datum const*>> covering(Model const& model,
                                                        IpGenPrefix const& prefix) {
  std::vector<std::pair<unsigned, Datum const*>> found;
  for (unsigned length = 0; length <= prefix.length(); ++length) {
    auto const at = model.find(IpGenPrefix::subnet(prefix.address(), length));
    if (at != model.end()) found.emplace_back(length, at->second.back().get());
  }
  return found;
}

void expectCovering(PatriciaTrieWithNodeData const& trie, Model const& model,
                    IpGenPrefix const& prefix) {
  Covers covers;
  std::size_t const count = trie.covering(prefix, covers);
  auto const expected = covering(model, prefix);
  ASSERT_EQ(count, expected.size()) << prefix.toString();
  for (std::size_t i = 0; i < count; ++i) {
    ASSERT_EQ(covers[i].length, expected[i].first) << prefix.toString();
    ASSERT_EQ(covers[i].head, expected[i].second) << prefix.toString();
    ASSERT_EQ(covers[i].summary, expected[i].second->summary()) << prefix.toString();
  }
}

/// The walk and every exact look-up say the same as the model.
void expectSame(PatriciaTrieWithNodeData const& trie, Model const& model) {
  ASSERT_EQ(trie.size(), model.size());
  auto at = model.begin();
  trie.forEach([&](IpGenPrefix const& prefix, PrefixData const& head) {
    ASSERT_NE(at, model.end());
    ASSERT_EQ(prefix.toString(), at->first.toString());
    ASSERT_EQ(&head, at->second.back().get());
    ++at;
  });
  ASSERT_EQ(at, model.end());
  for (auto const& [prefix, chain] : model) ASSERT_EQ(trie.route(prefix), chain.back().get());
}

/// How prefixes are drawn; each shape has something that the tree treats in its own way.
struct Shape {
  char const* name;
  Ipa::AddressFamily family;
  std::size_t most;  // prefixes at the height of the test
  IpGenPrefix (*draw)(Random&);
};

// Some draw from few addresses, so that prefixes meet, nest and part at every bit.
Shape const kShapes[] = {
    {"tiny4", Ipa::ipv4, 40, [](Random& r) { return ip4(r() & 0xc0000000, unsigned(r() % 4)); }},
    {"any4", Ipa::ipv4, 40000, [](Random& r) { return ip4(r(), unsigned(r() % 33)); }},
    {"short4", Ipa::ipv4, 2000, [](Random& r) { return ip4(r(), unsigned(r() % 17)); }},
    {"dense4", Ipa::ipv4, 30000,
     [](Random& r) { return ip4(0x0a000000 | (r() & 0xffff), 16 + unsigned(r() % 17)); }},
    {"chain4", Ipa::ipv4, 400,
     [](Random& r) { return ip4((r() & 7) * 0x24924924, unsigned(r() % 33)); }},
    {"host4", Ipa::ipv4, 30000, [](Random& r) { return ip4(r(), 32); }},
    {"any6", Ipa::ipv6, 12000, [](Random& r) { return ip6(r(), r(), unsigned(r() % 129)); }},
    {"dense6", Ipa::ipv6, 12000,
     [](Random& r) { return ip6(0x20010db800000000 | (r() & 0xffff) << 16, 0, 48); }},
    {"chain6", Ipa::ipv6, 1500,
     [](Random& r) {
       U64 const half = (r() & 3) * 0x5555555555555555;
       return ip6(half, half, unsigned(r() % 129));
     }},
    {"parting6", Ipa::ipv6, 2000,
     [](Random& r) {
       unsigned const at = unsigned(r() % 128);  // one bit off a common address
       return ip6(at < 64 ? U64{1} << at : 0, at < 64 ? 0 : U64{1} << (at - 64),
                  unsigned(r() % 129));
     }},
};

class TrieModelTest : public testing::TestWithParam<Shape> {};
INSTANTIATE_TEST_SUITE_P(Shapes, TrieModelTest, testing::ValuesIn(kShapes),
                         [](auto const& shape) { return std::string(shape.param.name); });

// The size goes up and down over every threshold at which the trie changes its form.
TEST_P(TrieModelTest, saysWhatAMapSays) {
  Shape const& shape = GetParam();
  Random random(1);
  Model model;
  std::vector<IpGenPrefix> added;
  auto trie = emptyTrie(shape.family);
  U64 number = 0;
  auto const add = [&] {
    IpGenPrefix const prefix = shape.draw(random);
    auto const datum = Orb::make<Datum>(++number);
    trie->routeIs(prefix, datum);
    auto& chain = model[prefix];
    if (chain.empty()) added.push_back(prefix);
    chain.push_back(datum);
    ASSERT_EQ(datum->additions, 1);
  };
  auto const remove = [&] {
    std::size_t const victim = random() % added.size();
    IpGenPrefix const prefix = added[victim];
    auto& chain = model[prefix];
    std::size_t const place = random() % chain.size();
    Datum::Ptr const datum = random() % 4 == 0 ? nullptr : chain[place];
    Datum::Ptr const told = datum ? datum : chain.back();
    ASSERT_TRUE(datum ? trie->routeDel(prefix, datum) : trie->routeDel(prefix));
    ASSERT_EQ(told->deletions, 1);
    if (datum) chain.erase(chain.begin() + static_cast<std::ptrdiff_t>(place));
    if (datum && !chain.empty()) return;
    model.erase(prefix);
    added[victim] = added.back();
    added.pop_back();
    ASSERT_FALSE(trie->routeDel(prefix));
    ASSERT_EQ(trie->route(prefix), nullptr);
  };
  auto const look = [&] {
    expectCovering(*trie, model, shape.draw(random));
    if (added.empty()) return;
    IpGenPrefix const known = added[random() % added.size()];
    expectCovering(*trie, model, known);
    U64 const noise = random();
    unsigned const length = known.length();
    unsigned const longer = length + unsigned(random() % (known.maxLength() + 1 - length));
    expectCovering(*trie, model,
                   shape.family == Ipa::ipv4
                       ? ip4((known.high() | noise >> length) >> 32, longer)
                       : ip6(known.high() | (length < 64 ? noise >> length : 0),
                             known.low() | (length > 64 ? 0 : random()), longer));
  };
  std::size_t const most = shape.most;
  // Two of ten steps go the other way; where there are too few prefixes, the target is missed.
  for (std::size_t const target :
       {std::size_t{20}, std::size_t{5}, most, most / 5, most, std::size_t{0}}) {
    for (std::size_t steps = 4 * most + 500; model.size() != target && steps != 0; --steps) {
      bool const up = model.size() < target;
      ((random() % 10 < 8) == up || model.empty()) ? add() : remove();
      if (HasFatalFailure()) return;
      if (random() % 8 == 0) look();
      if (HasFatalFailure()) return;
    }
    expectSame(*trie, model);
    if (HasFatalFailure()) return;
    for (int i = 0; i < 300; ++i) look();
  }
  model.clear();
  trie = nullptr;
  Orb::reapAll();
  EXPECT_EQ(alive, 0);
}

// Every second change is first tried with no allocation granted, then with one, and so on: each
// one that fails has changed nothing. Many small tries, in which most changes need memory, and one
// whose root grows and shrinks.
TEST_P(TrieModelTest, isWholeWhateverAllocationFails) {
  Shape const& shape = GetParam();
  Orb::reapAll();  // the reaper's own memory is there from here on
  Random random(2);
  long failed = 0;
  for (std::size_t round = 0; round < 60; ++round) {
    std::size_t const most = round == 0 ? std::size_t{4000} : 10 + round;
    Model model;
    std::vector<IpGenPrefix> added;
    auto trie = emptyTrie(shape.family);
    auto const change = [&](auto const& act) {
      if (random() % 2 == 0) return act();
      failed += TestSupport::withEverMoreMemory(act, [&] { expectSame(*trie, model); });
    };
    for (std::size_t steps = 0; steps < 5 * most; ++steps) {
      if (added.empty() || random() % 10 < (steps < 2 * most ? 8 : 2)) {
        IpGenPrefix const prefix = shape.draw(random);
        auto const datum = Orb::make<Datum>(steps);
        change([&] { trie->routeIs(prefix, datum); });
        auto& chain = model[prefix];
        if (chain.empty()) added.push_back(prefix);
        chain.push_back(datum);
      } else {
        std::swap(added[random() % added.size()], added.back());
        change([&] { trie->routeDel(added.back()); });
        model.erase(added.back());
        added.pop_back();
      }
      expectCovering(*trie, model, shape.draw(random));
      if (steps == 2 * most || steps == 5 * most - 1) expectSame(*trie, model);
      if (HasFatalFailure()) return;
    }
    for (std::size_t i = 0; i < most; ++i) trie->routeIs(shape.draw(random), Orb::make<Datum>(i));
    TestSupport::ScarceMemory const none(0);  // what is freed must not need any
    trie = nullptr;
    Orb::reapAll();
  }
  EXPECT_GT(failed, 0);
  EXPECT_EQ(alive, 0);
}

// Every two prefixes of at most three bits, and every prefix of up to four bits looked up among
// them, at the depths where strides meet.
TEST(PatriciaTrie, coversRightlyInASmallSpace) {
  for (unsigned const base : {0u, 2u, 9u, 14u, 21u, 27u}) {
    std::vector<IpGenPrefix> all;
    for (unsigned length = 0; length <= 4; ++length) {
      for (U64 value = 0; value < U64{1} << length; ++value) {
        all.push_back(ip4((0xa5a5a5a5U & ~(0xffffffffU >> base)) | value << (32 - length) >> base,
                          base + length));
      }
    }
    for (std::size_t i = 0; i < 15; ++i) {
      for (std::size_t j = i + 1; j < 15; ++j) {
        auto const trie = emptyTrie(Ipa::ipv4);
        Model model;
        // So many elsewhere that the trie is not a scan.
        for (unsigned k = 0; k < 32; ++k) {
          model[ip4(U64{0x01010101} * k, 32)] = {Orb::make<Datum>(k)};
        }
        for (std::size_t const n : {i, j}) model[all[n]] = {Orb::make<Datum>(n)};
        for (auto const& [prefix, chain] : model) trie->routeIs(prefix, chain[0]);
        for (auto const& prefix : all) expectCovering(*trie, model, prefix);
        ASSERT_TRUE(trie->routeDel(all[i]));
        model.erase(all[i]);
        for (auto const& prefix : all) expectCovering(*trie, model, prefix);
        if (HasFatalFailure()) return;
      }
    }
  }
}

TEST(PatriciaTrie, keepsTheSummaryOfTheHead) {
  for (unsigned const others : {0u, 100u, 30000u}) {
    auto const trie = emptyTrie(Ipa::ipv4);
    for (unsigned i = 0; i < others; ++i) trie->routeIs(ip4(i << 12, 30), Orb::make<Datum>(i));
    auto const first = Orb::make<Datum>(1U);
    auto const second = Orb::make<Datum>(2U);
    Covers covers;
    auto const summary = [&] {
      EXPECT_EQ(trie->covering(p("224.1.2.3/32"), covers), 1U);
      return covers[0].summary;
    };
    trie->routeIs(p("224.0.0.0/3"), first);
    EXPECT_EQ(summary(), 1U);
    trie->routeIs(p("224.0.0.0/3"), second);
    EXPECT_EQ(summary(), 2U);
    EXPECT_TRUE(trie->routeDel(p("224.0.0.0/3"), second));
    EXPECT_EQ(summary(), 1U);
    EXPECT_EQ(covers[0].head, first.get());
    EXPECT_EQ(first->refCount(), 2U);
    EXPECT_EQ(second->refCount(), 1U);
  }
}

TEST(PatriciaTrie, replacesAndEmptiesWhereDataDoNotChain) {
  class Plain : public PrefixData {};
  auto const trie = emptyTrie(Ipa::ipv6);
  auto const first = Orb::make<Plain>();
  auto const second = Orb::make<Plain>();
  trie->routeIs(p("2001:db8::/32"), first);
  trie->routeIs(p("2001:db8::/32"), second);
  EXPECT_EQ(first->refCount(), 1U);
  EXPECT_EQ(trie->route(p("2001:db8::/32")), second.get());
  EXPECT_TRUE(trie->routeDel(p("2001:db8::/32"), first));
  EXPECT_EQ(second->refCount(), 1U);
  EXPECT_EQ(trie->size(), 0U);
}

TEST(PatriciaTrie, keepsTheFamiliesApart) {
  auto const trie = Orb::make<PatriciaTrieWithNodeData>("customers", Ipa::ipv4);
  EXPECT_EQ(trie->name(), "customers");
  EXPECT_EQ(trie->addressFamily(), Ipa::ipv4);
  auto const datum = Orb::make<Datum>(1U);
  trie->routeIs(p("0.0.0.0/0"), datum);
  EXPECT_THROW(trie->routeIs(p("::/0"), datum), Orb::RangeException);
  EXPECT_FALSE(trie->routeDel(p("::/0")));
  EXPECT_FALSE(trie->routeDel(p("::/0"), datum));
  EXPECT_EQ(trie->route(p("::/0")), nullptr);
  Covers covers;
  EXPECT_EQ(trie->covering(p("::/0"), covers), 0U);
  EXPECT_EQ(datum->additions, 1);
  EXPECT_EQ(datum->deletions, 0);
  EXPECT_DEATH(trie->routeIs(p("0.0.0.0/0"), nullptr), "data");
}

TEST(PatriciaTrie, walksOnAfterAChangeByTheVisitor) {
  for (unsigned const count : {6u, 600u}) {
    auto const trie = emptyTrie(Ipa::ipv4);
    for (unsigned i = 0; i < count; ++i) trie->routeIs(ip4(i << 16, 16), Orb::make<Datum>(i));
    std::vector<IpGenPrefix> visited;
    trie->forEach([&](IpGenPrefix const& prefix, PrefixData const&) {
      visited.push_back(prefix);
      if (prefix.length() != 16) return;
      U64 const address = prefix.high() >> 32;
      trie->routeIs(ip4(address, 24), Orb::make<Datum>(0U));  // comes next
      trie->routeIs(ip4(address, 8), Orb::make<Datum>(0U));  // is behind already, but for the first
      trie->routeDel(prefix);
      trie->routeDel(ip4(address + 0x10000, 16));  // is not met any more
    });
    std::vector<IpGenPrefix> expected;
    for (unsigned i = 0; i < count; i += 2) {
      expected.push_back(ip4(i << 16, 16));
      expected.push_back(ip4(i << 16, 24));
    }
    EXPECT_EQ(visited, expected);
  }
}

// What a thousand short lists cost matters more than what one long one does.
TEST(PatriciaTrie, isSmallWhenItHoldsLittle) {
  auto const trie = emptyTrie(Ipa::ipv4);
  for (unsigned i = 0; i < 16; ++i) trie->routeIs(ip4(i << 24, 24), Orb::make<Datum>(i));
  EXPECT_LE(trie->memory(), 512U);
  for (unsigned i = 16; i < 30000; ++i) trie->routeIs(ip4(i << 12, 24), Orb::make<Datum>(i));
  EXPECT_GT(trie->memory(), 30000U * 16);
  for (unsigned i = 8; i < 30000; ++i) trie->routeDel(ip4(i < 16 ? i << 24 : i << 12, 24));
  EXPECT_LE(trie->memory(), 512U);
}

// A trie whose prefixes came and went holds little more than one that was made as it is now.
TEST(PatriciaTrie, usesAgainWhatWasFreed) {
  Random random(1);
  auto const trie = emptyTrie(Ipa::ipv4);
  auto const datum = Orb::make<PrefixData>();
  std::vector<IpGenPrefix> prefixes(20000);
  for (int round = 0; round < 10; ++round) {
    for (auto& prefix : prefixes) {
      if (round != 0) trie->routeDel(prefix);
      prefix = ip4(random(), 16 + unsigned(random() % 17));
      trie->routeIs(prefix, datum);
    }
  }
  auto const fresh = emptyTrie(Ipa::ipv4);
  for (auto const& prefix : prefixes) fresh->routeIs(prefix, datum);
  EXPECT_LE(trie->memory(), fresh->memory() * 5 / 4);
  EXPECT_LE(fresh->memory(), prefixes.size() * 60);
}

TEST(PatriciaTrie, leavesALargeTrieToTheReaper) {
  Orb::reapAll();
  ASSERT_EQ(alive, 0);
  auto trie = emptyTrie(Ipa::ipv6);
  auto const kept = Orb::make<Datum>(0U);
  for (unsigned i = 0; i < 5000; ++i) {
    trie->routeIs(ip6(U64{i} * 0x123456789abcd, 0, 20 + i % 109),
                  i == 7 ? kept : Orb::make<Datum>(i));
  }
  int const before = alive;
  trie = nullptr;
  EXPECT_EQ(alive, before);
  EXPECT_EQ(Orb::pendingGarbage(), 1U);
  Orb::reapAll();
  EXPECT_EQ(alive, 1);
  EXPECT_EQ(kept->refCount(), 1U);
}

TEST(ThreadsPatriciaTrie, mayBeReadByManyAndDroppedByAny) {
  auto trie = emptyTrie(Ipa::ipv4);
  for (unsigned i = 0; i < 2000; ++i) trie->routeIs(ip4(i << 16, 16), Orb::make<Datum>(i));
  std::vector<std::thread> readers;
  readers.reserve(4);
  for (int i = 0; i < 4; ++i) {
    readers.emplace_back([mine = trie] {
      Covers covers;
      std::size_t found = 0;
      for (unsigned k = 0; k < 4000; ++k) found += mine->covering(ip4(k << 16, 24), covers);
      EXPECT_EQ(found, 2000U);
      mine->forEach([&](IpGenPrefix const& prefix, PrefixData const& head) {
        found -= mine->route(prefix) == &head;
      });
      EXPECT_EQ(found, 0U);
    });
  }
  trie = nullptr;
  for (auto& reader : readers) reader.join();
  Orb::reapAll();
  EXPECT_EQ(alive, 0);
}

}  // namespace
