#include "logging/log.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/log_capture.h"

namespace {

using velmora::FailureStep;
using velmora::logFailure;
using velmora::Priority;
using velmora::test::LogCapture;

TEST(FailureLine, HasItsPriorityPassesPercentSignsThroughAndCutsLongTexts) {
  LogCapture log;
  logFailure(Priority::info, SR_RET_ALLOC_FAILED, FailureStep::memory, "F");
  EXPECT_EQ(log.take().front().priority, 4);
  logFailure(Priority::error, "100%s %n", FailureStep::memory, "F");
  logFailure(Priority::error, std::string(5000, 'x').c_str(), FailureStep::memory, "F");
  const auto texts = log.takeTexts();
  ASSERT_EQ(texts.size(), 2u);
  EXPECT_EQ(texts[0],
            "NB7UO_ZELK: 100%s %n in Line: 91, in Function: F, in File: "
            "src/interface/source/SRInterface\n");
  EXPECT_EQ(texts[1], "NB7UO_ZELK: " + std::string(1023 - 12, 'x'));
}

TEST(Log, TakesLinesOfAnyLengthAndCharactersThatAreNul) {
  LogCapture log;
  const std::string path(10000, 'p');
  velmora::logTagged(Priority::info, "<%s>\n", path.c_str());
  velmora::logLine(Priority::info, "value = %c.\n", '\0');
  EXPECT_EQ(log.takeTexts(),
            (std::vector<std::string>{"NB7UO_ZELK: <" + path + ">\n", {"value = \0.\n", 11}}));
}

}  // namespace
