#include "platform/orb/model/NotifieeList.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <random>
#include <set>
#include <vector>

namespace {

struct Listener : Orb::NotifieeHook {
  explicit Listener(std::size_t number) : id(number) {}
  std::size_t id;
};
using List = Orb::NotifieeList<Listener>;

// Random leaving, joining and destroying, of the list too, during nested rounds, against the rule
// stated with sets: a round calls those that have been there since its start, in the order in which
// they joined.
TEST(NotifieeList, AgreesWithAModel) {
  std::mt19937 random(7);
  for (int trial = 0; trial < 1000; ++trial) {
    auto list = std::make_unique<List>();
    std::vector<std::unique_ptr<Listener>> all(6);
    std::vector<std::size_t> order;               // who is linked, in the order of joining
    std::vector<std::set<std::size_t>*> running;  // by round: who left since its start, back or not
    enum Change { leaves, joins, isMadeAnew };
    auto const change = [&](std::size_t i, Change what) {
      std::erase(order, i);
      for (auto* const left : running) left->insert(i);
      if (what == leaves || !list) return all[i]->leave();
      if (what == isMadeAnew) all[i] = std::make_unique<Listener>(i);
      list->add(*all[i]);
      order.push_back(i);
    };
    for (std::size_t i = 0; i < all.size(); ++i) change(i, isMadeAnew);
    std::function<void(int)> const round = [&](int depth) {
      auto const expected = order;
      std::set<std::size_t> left;
      running.push_back(&left);
      auto next = expected.begin();
      auto const isOver = [&] {
        while (next != expected.end() && left.contains(*next)) ++next;
        return next == expected.end();
      };
      list->each([&](Listener const& listener) {
        ASSERT_FALSE(isOver());
        EXPECT_EQ(listener.id, *next++);
        for (auto steps = random() % 3; steps > 0; --steps) {
          change(random() % all.size(), Change(random() % 3));
        }
        if (list && depth < 2 && random() % 4 == 0) round(depth + 1);
        if (random() % 64 == 0) {
          list.reset();
          for (std::size_t i = 0; i < all.size(); ++i) {
            EXPECT_FALSE(all[i]->isLinked());
            change(i, leaves);
          }
        }
      });
      EXPECT_TRUE(isOver()) << "each was called";
      EXPECT_TRUE(!list || list->empty() == order.empty());
      running.pop_back();
    };
    for (int i = 0; i < 3 && list; ++i) round(0);
  }
}

}  // namespace
