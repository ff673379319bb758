#include "velmora_sr/records.h"

#include <gtest/gtest.h>

namespace {

TEST(GetRetInfo, KnowsItsCodesAndNoOthers) {
  const char* const texts[] = {"succeed.",
                               "unknow error info.",
                               "load config file failed.",
                               "alloc memory failed.",
                               "params out of range.",
                               "odd even not consistent.",
                               "unknow error info."};
  for (int code = 0; code < 7; ++code)
    EXPECT_STREQ(GetRetInfo(static_cast<Velmora_SR_ESR_RET>(code)), texts[code]) << code;
  EXPECT_STREQ(GetRetInfo(static_cast<Velmora_SR_ESR_RET>(-1)), "unknow error info.");
}

}  // namespace
