#include "common/failure_line.h"

#include <gtest/gtest.h>

#include <string>

#include "support/log_capture.h"

namespace {

using velmora::test::LogCapture;

TEST(FailureLine, HasItsPriorityPassesPercentSignsThroughAndCutsLongTexts) {
  LogCapture log;
  velmora::logFailureLine(velmora::kLogInfo, SR_RET_ALLOC_FAILED, 1, "F");
  EXPECT_EQ(log.take().front().priority, 4);
  velmora::logFailureLine(velmora::kLogError, "100%s %n", 1, "F");
  velmora::logFailureLine(velmora::kLogError, std::string(5000, 'x').c_str(), 1, "F");
  const auto texts = log.takeTexts();
  ASSERT_EQ(texts.size(), 2u);
  EXPECT_EQ(texts[0],
            "NB7UO_ZELK: 100%s %n in Line: 1, in Function: F, in File: "
            "src/interface/source/SRInterface\n");
  EXPECT_EQ(texts[1], "NB7UO_ZELK: " + std::string(1023 - 12, 'x'));
}

}  // namespace
