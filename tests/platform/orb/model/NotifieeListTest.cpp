#include "platform/orb/model/NotifieeList.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <random>
#include <set>
#include <vector>

namespace {

struct Listener : Orb::NotifieeHook {
  explicit Listener(int number) : id(number) {}
  int id;
};
using List = Orb::NotifieeList<Listener>;

/// A list with listeners 0 to 4, and one round in which each does what `act` says.
struct Round {
  List list;
  std::vector<std::unique_ptr<Listener>> all;
  std::vector<int> called;

  explicit Round(int count = 5) {
    for (int i = 0; i < count; ++i) add();
  }
  void add() {
    all.push_back(std::make_unique<Listener>(static_cast<int>(all.size())));
    list.add(*all.back());
  }
  std::vector<int> run(std::function<void(Listener&)> const& act) {
    called.clear();
    list.each([&](Listener& l) {
      called.push_back(l.id);
      act(l);
    });
    return called;
  }
};

TEST(NotifieeList, ARoundSurvivesWhatItsListenersDo) {
  Round r;
  EXPECT_EQ(r.run([](Listener&) {}), (std::vector{0, 1, 2, 3, 4}));
  // Each leaves in its own call; the next round has nobody.
  EXPECT_EQ(r.run([](Listener& l) { l.leave(); }), (std::vector{0, 1, 2, 3, 4}));
  EXPECT_TRUE(r.list.empty());

  Round next(6);  // each destroys the next one, which is not called
  EXPECT_EQ(next.run([&](Listener& l) { next.all[static_cast<std::size_t>(l.id) + 1].reset(); }),
            (std::vector{0, 2, 4}));
}

TEST(NotifieeList, NewcomersWaitForTheNextRound) {
  Round r(1);
  EXPECT_EQ(r.run([&](Listener&) { r.add(); }), std::vector{0});
  EXPECT_EQ(r.run([&](Listener& l) {
    if (l.id == 0) {  // leaves and comes back: as young as a newcomer
      l.leave();
      r.list.add(l);
    }
  }),
            (std::vector{0, 1}));
  EXPECT_EQ(r.run([](Listener&) {}), (std::vector{1, 0}));
}

TEST(NotifieeList, RoundsNest) {
  Round r(3);
  std::vector<int> inner;
  auto const outer = r.run([&](Listener& l) {
    if (l.id != 0) return;
    r.list.each([&](Listener& m) {
      inner.push_back(m.id);
      if (m.id == 1) r.all[1].reset();
    });
  });
  EXPECT_EQ(inner, (std::vector{0, 1, 2}));
  EXPECT_EQ(outer, (std::vector{0, 2}));
}

TEST(NotifieeList, DestroyingTheListEndsTheRound) {
  auto list = std::make_unique<List>();
  Listener a(0);
  Listener b(1);
  list->add(a);
  list->add(b);
  int calls = 0;
  list->each([&](Listener&) {
    ++calls;
    list.reset();
  });
  EXPECT_EQ(calls, 1);
  EXPECT_FALSE(a.isLinked());
  EXPECT_FALSE(b.isLinked());
}

// Random leaving and joining during nested rounds, against the rule stated with sets: a round calls
// those that were there at its start and are there still, in the order in which they joined.
TEST(NotifieeList, AgreesWithAModel) {
  std::mt19937 random(7);
  for (int trial = 0; trial < 300; ++trial) {
    List list;
    std::vector<std::unique_ptr<Listener>> all;
    std::vector<int> order;  // the ids linked, in the order of joining
    auto const join = [&](std::size_t i) {
      std::erase(order, static_cast<int>(i));
      order.push_back(static_cast<int>(i));
      list.add(*all[i]);
    };
    for (std::size_t i = 0; i < 6; ++i) {
      all.push_back(std::make_unique<Listener>(static_cast<int>(i)));
      join(i);
    }
    std::function<void(int)> const round = [&](int depth) {
      std::vector<int> expected = order;
      std::set<int> moved;  // left since the start, back or not
      std::size_t at = 0;
      list.each([&](Listener& l) {
        while (at < expected.size() && moved.contains(expected[at])) ++at;
        ASSERT_LT(at, expected.size());
        EXPECT_EQ(l.id, expected[at++]);
        for (int step = 0; step < 2; ++step) {
          std::size_t const i = random() % all.size();
          if (random() % 2) {
            all[i]->leave();
            std::erase(order, static_cast<int>(i));
          } else {
            join(i);
          }
          moved.insert(static_cast<int>(i));
        }
        if (depth < 2 && random() % 4 == 0) {
          auto const before = order;
          round(depth + 1);
          // Whatever the inner round moved counts as moved out here.
          for (int const id : before) {
            if (before != order) moved.insert(id);
          }
          if (before != order) expected.resize(at);
        }
      });
    };
    round(2);
  }
}

}  // namespace
