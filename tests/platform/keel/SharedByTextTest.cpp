#include "platform/keel/SharedByText.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/ScarceMemory.h"

namespace {

struct Made final : Keel::MadeOfText {
  static inline std::atomic<int> alive = 0;

  explicit Made(std::string_view text) : MadeOfText(text) { ++alive; }
  ~Made() { --alive; }
};
using Table = Keel::SharedByText<Made>;

Made const* hold(Table& table, std::string const& text) {
  return table.hold(text, [&] { return std::make_unique<Made>(text); });
}

TEST(SharedByText, leavesWhatNobodyHoldsToTheReaper) {
  static auto& table = *new Table;
  Made const* const a = hold(table, "a");
  EXPECT_EQ(hold(table, "a"), a);
  Made const* const b = hold(table, "b");
  for (Made const* const made : {a, a, b}) table.drop(made);
  EXPECT_EQ(Made::alive, 2);
  EXPECT_EQ(hold(table, "a"), a) << "back before the reaper came";
  Orb::reapAll();
  EXPECT_EQ(Made::alive, 1);
  EXPECT_FALSE(table.holdExisting("b"));
  EXPECT_EQ(table.holdExisting("a"), a);
  for (Made const* const made : {a, a, hold(table, "b")}) table.drop(made);
  table.drop(nullptr);
  Orb::reapAll();
  EXPECT_EQ(Made::alive, 0);
  EXPECT_EQ(table.size(), 0U);
  EXPECT_FALSE(table.hold("c", [] { return std::unique_ptr<Made>(); }));
  Made const* first = nullptr;  // somebody else is quicker
  Made const* const second = table.hold("d", [&] {
    first = hold(table, "d");
    return std::make_unique<Made>("d");
  });
  EXPECT_EQ(first, second);
  EXPECT_EQ(Made::alive, 1);
  for (Made const* const made : {first, second}) table.drop(made);

  // Where no loop turns, what waits is bounded.
  for (int i = 0; i < 200'000; ++i) table.drop(hold(table, std::to_string(i)));
  EXPECT_LT(Made::alive, 100'000);
  Orb::reapAll();
  Made const* const last = hold(table, "a");
  TestSupport::ScarceMemory const none(0);
  table.drop(last);
  EXPECT_EQ(Made::alive, 0) << "freed at once, without memory";
}

TEST(ThreadsSharedByText, holdAndDropWhileTheReaperFrees) {
  static auto& table = *new Table;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 3; ++thread) {
    threads.emplace_back([thread] {
      for (int i = 0; i < 3000; ++i) {
        std::string const text = std::to_string(i * (thread + 1) % 7);
        Made const* const made = hold(table, text);
        EXPECT_EQ(made->text(), text);
        table.drop(made);
        if (i % 16 == 0) Orb::reapAll();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  Orb::reapAll();
  EXPECT_EQ(Made::alive, 0);
}

}  // namespace
