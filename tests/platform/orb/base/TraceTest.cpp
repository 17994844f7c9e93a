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

  TraceFacility& facility_ = traceFacility("TraceTest");
};

TEST_F(TraceTest, NothingIsEvaluatedWhenALevelIsNotShown) {
  std::string lines;
  traceSinkIs([&lines](std::string_view facility, int level, std::string_view line) {
    ((lines += facility) += std::to_string(level)) += line;
    ORB_TRACE(traceFacility("TraceTest"), 0, "a sink that traces does not call itself");
  });
  int evaluated = 0;
  for (int const shown : {TraceFacility::kOff, 1}) {
    facility_.levelIs(shown);
    for (int level = 0; level <= 9; ++level) ORB_TRACE(facility_, level, "=" << ++evaluated << ' ');
  }
  EXPECT_EQ(lines, "TraceTest0=1 TraceTest1=2 ");
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

TEST(TraceDeathTest, TheEnvironmentTurnsFacilitiesOnAndTheDefaultSinkWritesOneLineEach) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a new process: it reads the variable
  ASSERT_EQ(setenv("ROUTEPOLICY_TRACE", "TraceTest/5,bad", 1), 0);
  EXPECT_EXIT(
      {
        ORB_TRACE(traceFacility("TraceTest"), 5, __func__ << " version: " << 7 << "\nmore");
        ORB_TRACE(traceFacility("TraceTest"), 6, "hidden");
        std::exit(0);
      },
      testing::ExitedWithCode(0),
      "not understood[^\n]*\"bad\"\n"
      "....-..-.. ..:..:..[.]...... TraceTest/5 TestBody version: 7[\\]nmore\n$");
  unsetenv("ROUTEPOLICY_TRACE");
}

TEST(ThreadsTrace, LinesOfConcurrentThreadsAreWhole) {
  TraceFacility& facility = traceFacility("ThreadsTrace");
  std::vector<std::string> lines;  // the sink is called for one line at a time
  traceSinkIs([&](std::string_view, int, std::string_view line) { lines.emplace_back(line); });
  facility.levelIs(1);
  auto const trace = [&facility](int i) {
    for (int n = 0; n < 400; ++n) {
      ORB_TRACE(facility, 1, i << i << i << i);
      facility.levelIs(1 + n % 2);
      std::string const name = "ThreadsTrace" + std::to_string(n);
      EXPECT_EQ(traceFacility(name).name(), name);
    }
  };
  std::thread other(trace, 1);
  trace(2);
  other.join();
  traceReset();
  ASSERT_EQ(lines.size(), 800U);
  for (auto const& line : lines) EXPECT_EQ(line, std::string(4, line.at(0)));
}

}  // namespace
}  // namespace Orb
