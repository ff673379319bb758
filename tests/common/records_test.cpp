#include "velmora_sr/records.h"

#include <gtest/gtest.h>

namespace {

TEST(GetRetInfo, KnowsItsCodesAndNoOthers) {
  const struct {
    int code;
    const char* text;
  } cases[] = {
      {0, "succeed."},
      {1, "unknow error info."},
      {2, "load config file failed."},
      {3, "alloc memory failed."},
      {4, "params out of range."},
      {5, "odd even not consistent."},
      {6, "unknow error info."},
      {-1, "unknow error info."},
      {0x7FFFFFFF, "unknow error info."},
  };
  for (const auto& c : cases) {
    EXPECT_STREQ(GetRetInfo(static_cast<Velmora_SR_ESR_RET>(c.code)), c.text) << c.code;
  }
}

}  // namespace
