#include "platform/routing/PatriciaTrieWithNodeData.h"

#include <gtest/gtest.h>

#include <array>
#include <map>
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
    {"dense4", Ipa::ipv4, 30000,
     [](Random& r) { return ip4(0x0a000000 | (r() & 0xffff), 16 + unsigned(r() % 17)); }},
    {"chain4", Ipa::ipv4, 400,
     [](Random& r) { return ip4((r() & 7) * 0x24924924, unsigned(r() % 33)); }},
    {"host4", Ipa::ipv4, 30000, [](Random& r) { return ip4(r(), 32); }},
    {"any6", Ipa::ipv6, 12000, [](Random& r) { return ip6(r(), r(), unsigned(r() % 129)); }},
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

/// A trie and its model, under random changes.
class TrieModelTest : public testing::TestWithParam<Shape> {
 protected:
  ~TrieModelTest() override {
    restart();
    Orb::reapAll();
    EXPECT_EQ(alive, 0);
  }
  void restart() {
    trie_ = emptyTrie(GetParam().family);
    model_.clear();
    added_.clear();
  }

  /// Half of the changes are first tried with no allocation granted, then with one, and so on: each
  /// one that fails has changed nothing.
  template <class Act>
  void change(Act const& act) {
    if (!scarce_ || random_() % 2 == 0) return act();
    failed_ += TestSupport::withEverMoreMemory(act, [&] { expectSame(*trie_, model_); });
  }
  void add() {
    IpGenPrefix const prefix = GetParam().draw(random_);
    auto const datum = Orb::make<Datum>(++number_);
    change([&] { trie_->routeIs(prefix, datum); });
    auto& chain = model_[prefix];
    if (chain.empty()) added_.push_back(prefix);
    chain.push_back(datum);
    ASSERT_EQ(datum->additions, 1);
  }
  void remove() {
    std::swap(added_[random_() % added_.size()], added_.back());
    IpGenPrefix const prefix = added_.back();
    auto& chain = model_[prefix];
    auto const at = chain.begin() + static_cast<std::ptrdiff_t>(random_() % chain.size());
    bool const whole = scarce_ || random_() % 4 == 0;  // what a datum undid would not be undone
    Datum::Ptr const datum = whole ? chain.back() : *at;
    change([&] { ASSERT_TRUE(whole ? trie_->routeDel(prefix) : trie_->routeDel(prefix, datum)); });
    ASSERT_EQ(datum->deletions, 1);
    if (!whole) chain.erase(at);
    if (!whole && !chain.empty()) return;
    model_.erase(prefix);
    added_.pop_back();
    ASSERT_FALSE(trie_->routeDel(prefix));
    ASSERT_EQ(trie_->route(prefix), nullptr);
  }
  /// Two of ten changes go the other way; where there are too few prefixes, the target is missed.
  void changeUntil(std::size_t target, std::size_t steps) {
    for (; model_.size() != target && steps != 0; --steps) {
      bool const up = model_.size() < target;
      ((random_() % 10 < 8) == up || model_.empty()) ? add() : remove();
      if (random_() % 8 == 0) look();
      if (HasFatalFailure()) return;
    }
    expectSame(*trie_, model_);
  }
  /// Looks up one prefix of the shape, one that was added, and a longer one below it.
  void look() {
    expectCovering(*trie_, model_, GetParam().draw(random_));
    if (added_.empty()) return;
    IpGenPrefix const known = added_[random_() % added_.size()];
    expectCovering(*trie_, model_, known);
    U64 const noise = random_();
    unsigned const length = known.length();
    unsigned const longer = length + unsigned(random_() % (known.maxLength() + 1 - length));
    expectCovering(*trie_, model_,
                   GetParam().family == Ipa::ipv4
                       ? ip4((known.high() | noise >> length) >> 32, longer)
                       : ip6(known.high() | (length < 64 ? noise >> length : 0),
                             known.low() | (length > 64 ? 0 : random_()), longer));
  }

  Random random_{1};
  PatriciaTrieWithNodeData::Ptr trie_ = emptyTrie(GetParam().family);
  Model model_;
  std::vector<IpGenPrefix> added_;
  U64 number_ = 0;
  bool scarce_ = false;
  long failed_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Shapes, TrieModelTest, testing::ValuesIn(kShapes),
                         [](auto const& shape) { return std::string(shape.param.name); });

// The size goes up and down over every threshold at which the trie changes its form.
TEST_P(TrieModelTest, saysWhatAMapSays) {
  std::size_t const most = GetParam().most;
  for (std::size_t const target :
       {std::size_t{20}, std::size_t{5}, most, most / 5, most, std::size_t{0}}) {
    changeUntil(target, 4 * most + 500);
    for (int i = 0; i < 300 && !HasFatalFailure(); ++i) look();
  }
}

// Many small tries, in which most changes need memory, and one whose root grows and shrinks.
TEST_P(TrieModelTest, isWholeWhateverAllocationFails) {
  Orb::reapAll();  // the reaper's own memory is there from here on
  scarce_ = true;
  for (std::size_t round = 0; round < 60 && !HasFatalFailure(); ++round) {
    std::size_t const most = round == 0 ? std::size_t{4000} : 10 + round;
    changeUntil(most, 2 * most);
    changeUntil(0, 2 * most);
    changeUntil(most, most);
    model_.clear();
    TestSupport::ScarceMemory const none(0);  // what is freed must not need any
    trie_ = nullptr;
    Orb::reapAll();
    TestSupport::grantedAllocations = TestSupport::kPlenty;
    restart();
  }
  EXPECT_GT(failed_, 0);
}

TEST(PatriciaTrie, replacesAndEmptiesWhereDataDoNotChain) {
  auto const trie = emptyTrie(Ipa::ipv4);
  auto const first = Orb::make<PrefixData>();
  auto const second = Orb::make<PrefixData>();
  IpGenPrefix const prefix;
  trie->routeIs(prefix, first);
  trie->routeIs(prefix, second);
  EXPECT_EQ(first->refCount(), 1U);
  EXPECT_EQ(trie->route(prefix), second.get());
  EXPECT_DEATH(trie->routeIs(prefix, nullptr), "data");

  IpGenPrefix const other = Ipa::Ip6Prefix();
  EXPECT_THROW(trie->routeIs(other, first), Orb::RangeException);
  EXPECT_FALSE(trie->routeDel(other) || trie->routeDel(other, second) || trie->route(other));
  Covers covers;
  EXPECT_EQ(trie->covering(other, covers), 0U);

  EXPECT_TRUE(trie->routeDel(prefix, first));
  EXPECT_EQ(second->refCount(), 1U);
  EXPECT_EQ(trie->size(), 0U);
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

// What a thousand short lists cost matters more than what one long one does; and a trie whose
// prefixes came and went holds little more than one that was made as it is now.
TEST(PatriciaTrie, isNoLargerThanNeedBe) {
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
  EXPECT_GT(fresh->memory(), prefixes.size() * 16);
  for (unsigned i = 8; i < 20000; ++i) trie->routeDel(prefixes[i]);
  EXPECT_LE(trie->memory(), 512U);
}

TEST(ThreadsPatriciaTrie, mayBeReadByManyAndDroppedByAnyWhichLeavesALargeOneToTheReaper) {
  Orb::reapAll();
  auto trie = emptyTrie(Ipa::ipv4);
  for (unsigned i = 0; i < 2000; ++i) trie->routeIs(ip4(i << 16, 16), Orb::make<Datum>(i));
  auto const read = [](PatriciaTrieWithNodeData::Ptr const& mine) {
    Covers covers;
    std::size_t found = 0;
    for (unsigned k = 0; k < 4000; ++k) found += mine->covering(ip4(k << 16, 24), covers);
    EXPECT_EQ(found, 2000U);
    mine->forEach([&](IpGenPrefix const& prefix, PrefixData const& head) {
      found -= mine->route(prefix) == &head;
    });
    EXPECT_EQ(found, 0U);
  };
  std::thread one([read, trie] { read(trie); });
  std::thread other([read, mine = std::move(trie)] { read(mine); });
  one.join();
  other.join();
  EXPECT_EQ(alive, 2000);
  EXPECT_EQ(Orb::pendingGarbage(), 1U);
  Orb::reapAll();
  EXPECT_EQ(alive, 0);
}

}  // namespace
