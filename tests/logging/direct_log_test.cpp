#include "logging/direct_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/log_capture.h"

namespace {

using testing::ElementsAre;
using velmora::test::LogCapture;
using velmora::test::LogLine;

TEST(DirectLog, AFailedStepIsOneErrorLine) {
  LogCapture log;
  velmora::logFailedStep(SR_RET_ALLOC_FAILED, 118, "SR_Process");
  // What the thread pool returns has no text of its own.
  velmora::logFailedStep(static_cast<Velmora_SR_ESR_RET>(-1), 352, "SR_Initializtion");
  EXPECT_THAT(
      log.take(),
      ElementsAre(LogLine{6, "NB7UO_ZELK",
                          "NB7UO_ZELK: alloc memory failed. in Line: 118, in Function: SR_Process, "
                          "in File: src/interface/source/SRInterface\n"},
                  LogLine{6, "NB7UO_ZELK",
                          "NB7UO_ZELK: unknow error info. in Line: 352, in Function: "
                          "SR_Initializtion, in File: src/interface/source/SRInterface\n"}));
}

}  // namespace
