#include "common/failure_line.h"

#include <gtest/gtest.h>

#include <string>

#include "support/log_capture.h"

namespace {

using velmora::test::LogCapture;
using velmora::test::LogLine;

TEST(FailureLine, NamesTextLineFunctionAndSourcePath) {
  LogCapture log;
  velmora::logFailureLine(velmora::kLogError, SR_RET_ALLOC_FAILED, 91, "SR_MemManagement");
  velmora::logFailureLine(velmora::kLogInfo, static_cast<Velmora_SR_ESR_RET>(-1), 352, "F");
  EXPECT_EQ(log.take(),
            (std::vector<LogLine>{
                {6, "NB7UO_ZELK",
                 "NB7UO_ZELK: alloc memory failed. in Line: 91, in Function: SR_MemManagement, in "
                 "File: src/interface/source/SRInterface\n"},
                {4, "NB7UO_ZELK",
                 "NB7UO_ZELK: unknow error info. in Line: 352, in Function: F, in File: "
                 "src/interface/source/SRInterface\n"}}));
}

TEST(FailureLine, PassesPercentSignsThroughAndCutsLongTexts) {
  LogCapture log;
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
