#include "platform/orb/base/Trace.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace Orb {
namespace {

class TraceTest : public testing::Test {
 protected:
  ~TraceTest() override { traceReset(); }

  void collect() {
    traceSinkIs([this](std::string_view facility, int level, std::string_view line) {
      lines_.push_back(std::string(facility) + "/" + std::to_string(level) + std::string(line));
    });
  }

  std::vector<std::string> lines_;
};

TEST_F(TraceTest, NothingIsEvaluatedWhenALevelIsNotShown) {
  collect();
  TraceFacility& facility = traceFacility("TraceTest");
  EXPECT_EQ(&facility, &traceFacility("TraceTest"));
  int evaluated = 0;
  auto const traceAll = [&] {
    for (int level = 0; level <= 9; ++level) ORB_TRACE(facility, level, " " << ++evaluated);
  };
  traceAll();
  EXPECT_EQ(evaluated, 0);
  facility.levelIs(1);
  traceAll();
  EXPECT_EQ(lines_, std::vector<std::string>({"TraceTest/0 1", "TraceTest/1 2"}));
}

TEST_F(TraceTest, LevelsAreSetByNameBeforeAndAfterTheFacilityIsThere) {
  traceLevelIs("TraceLater", 3);
  traceFacility("TraceSooner");
  traceLevelsAre(" TraceSooner/8 ,a/b/12,");
  EXPECT_EQ(traceFacility("TraceLater").level(), 3);
  EXPECT_EQ(traceFacility("TraceSooner").level(), 8);
  EXPECT_EQ(traceFacility("a/b").level(), 12);
  EXPECT_EQ(traceFacility("TraceOther").level(), TraceFacility::kOff);
  traceLevelsAre("TraceNew/7,*/2,TraceLater/5");
  EXPECT_EQ(traceFacility("TraceSooner").level(), 2);
  EXPECT_EQ(traceFacility("TraceNew").level(), 2);
  EXPECT_EQ(traceFacility("TraceLater").level(), 5);
  traceReset();
  EXPECT_EQ(traceFacility("TraceLater").level(), TraceFacility::kOff);
  EXPECT_EQ(traceFacility("TraceNewer").level(), TraceFacility::kOff);
}

TEST_F(TraceTest, PiecesThatDoNotReadAreReportedAndIgnored) {
  for (std::string const bad : {"TraceBad", "/3", "TraceBad/", "TraceBad/-1", "TraceBad/3x",
                                "TraceBad/99999999999", "TraceBad/ 3"}) {
    testing::internal::CaptureStderr();
    traceLevelsAre(bad + ",TraceGood/4");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "trace level not understood, want FACILITY/LEVEL: \"" + bad + "\"\n");
    EXPECT_EQ(traceFacility("TraceBad").level(), TraceFacility::kOff) << bad;
    EXPECT_EQ(traceFacility("TraceGood").level(), 4);
    traceReset();
  }
}

TEST_F(TraceTest, TheDefaultSinkWritesOneLineToStandardError) {
  traceLevelIs("TraceTest", 8);
  testing::internal::CaptureStderr();
  ORB_TRACE(traceFacility("TraceTest"), 8, __func__ << " version: " << 7 << "\nmore");
  EXPECT_TRUE(testing::Matcher<std::string const&>(
                  testing::MatchesRegex(
                      "....-..-.. ..:..:..[.]...... TraceTest/8 TestBody version: 7[\\]nmore\n"))
                  .Matches(testing::internal::GetCapturedStderr()));
}

TEST_F(TraceTest, ASinkThatTracesDoesNotCallItself) {
  TraceFacility& facility = traceFacility("TraceTest");
  facility.levelIs(0);
  int calls = 0;
  traceSinkIs([&](std::string_view, int, std::string_view) {
    ++calls;
    ORB_TRACE(facility, 0, "within");
  });
  ORB_TRACE(facility, 0, "outside");
  ORB_TRACE(facility, 0, "outside");
  EXPECT_EQ(calls, 2);
}

TEST(TraceDeathTest, TheEnvironmentTurnsFacilitiesOn) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a new process: it reads the variable
  ASSERT_EQ(setenv("ROUTEPOLICY_TRACE", "TraceTest/5,bad", 1), 0);
  EXPECT_EXIT(
      {
        ORB_TRACE(traceFacility("TraceTest"), 5, "shown");
        ORB_TRACE(traceFacility("TraceTest"), 6, "hidden");
        std::exit(0);
      },
      testing::ExitedWithCode(0), "not understood[^\n]*\"bad\"\n[^\n]*TraceTest/5 shown\n$");
  unsetenv("ROUTEPOLICY_TRACE");
}

TEST(ThreadsTrace, LinesOfConcurrentThreadsAreWhole) {
  TraceFacility& facility = traceFacility("ThreadsTrace");
  std::vector<std::string> lines;  // the sink is called for one line at a time
  traceSinkIs([&](std::string_view, int, std::string_view line) { lines.emplace_back(line); });
  std::vector<std::thread> threads;
  facility.levelIs(1);
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&facility, i] {
      for (int n = 0; n < 200; ++n) {
        ORB_TRACE(facility, 1, i << i << i << i);
        facility.levelIs(1 + n % 2);
        EXPECT_EQ(traceFacility("ThreadsTrace" + std::to_string(n)).name().size(),
                  12 + std::to_string(n).size());
      }
    });
  }
  for (auto& thread : threads) thread.join();
  traceReset();
  ASSERT_EQ(lines.size(), 800U);
  for (auto const& line : lines) EXPECT_EQ(line, std::string(4, line.at(0)));
}

}  // namespace
}  // namespace Orb
