#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "registration/call_support.h"
#include "registration/synthetic_pairs.h"
#include "velmora_sr/registration.h"

namespace velmora::test {
namespace {

TEST(ImgRegistrationQuery, RoundsTheFrameUpToSixteenBytes) {
  const struct {
    int32_t width, height, size;
  } cases[] = {{0, 0, 0},
               {1, 1, 16},
               {3, 5, 32},
               {-5, 100, 0},
               {4000, 3000, 18000000},
               {60000, 60000, INT32_MAX / 16 * 16}};
  for (const auto& c : cases) {
    int32_t size = -1;
    int32_t other = -1;
    EXPECT_EQ(ImgRegistration_Query(&size, &other, c.width, c.height), 0);
    EXPECT_EQ(size, c.size) << c.width << " x " << c.height;
    EXPECT_EQ(other, 0);
  }
}

/// One call for pairs of a motion in a frame of 1200 x 900.
struct Call {
  int32_t result;
  std::array<float, 9> homography;
  std::array<int32_t, 4> area;
  std::string printed;

  Call(const Motion& motion, int count) {
    homography.fill(-5.0f);
    area.fill(-7);
    Random random(60);
    Pairs pairs;
    fill(pairs, {.motion = motion, .width = 1200, .height = 900, .count = count}, random);
    tagST_IMGREGISTRATION_PARAMS_IN in = {};
    in.width = 1200;
    in.height = 900;
    in.pairs = pairs.record;
    printed = printedBy([&] {
      result = ImgRegistration(&in, nullptr, homography.data(), area[0], area[1], area[2], area[3]);
    });
    if (result == 0) return;
    EXPECT_THAT(homography, testing::Each(-5.0f));
    EXPECT_THAT(area, testing::Each(-7));
  }
};

TEST(ImgRegistration, RefinesAndFindsTheArea) {
  const Motion motion = shift(-20, 35);
  const Call call(motion, 80);
  EXPECT_EQ(call.result, 0);
  EXPECT_EQ(call.printed, "find candidate number 80\n");
  EXPECT_LT(motion.cornerError(call.homography.data(), 1200, 900), 0.05);
  // The fit is off by hundredths of a pixel: an edge may give way by one.
  EXPECT_THAT(call.area[0], testing::AnyOf(20, 21));
  EXPECT_THAT(call.area[1], testing::AnyOf(0, 1));
  EXPECT_THAT(call.area[2], testing::AnyOf(1199, 1198));
  EXPECT_THAT(call.area[3], testing::AnyOf(864, 863));
}

void expectRejection(const Motion& motion, int count, const std::string& printed,
                     const std::vector<testing::Matcher<std::string>>& logged) {
  InitLogParams(nullptr, 2);
  LogCapture log;
  const Call call(motion, count);
  EXPECT_EQ(call.result, 2);
  EXPECT_EQ(call.printed, "find candidate number " + std::to_string(count) + "\n" + printed);
  EXPECT_THAT(log.takeTexts(), testing::ElementsAreArray(logged));
}

TEST(ImgRegistration, SaysWhyItRejects) {
  const auto line = [](const std::string& source, const std::string& text) {
    return logLine("error", source, "IMG_REGISTRATION: " + text);
  };
  for (const int count : {0, 4}) {
    expectRejection(shift(0, 0), count, "candidate number is small",
                    {line("imgregistration", "not enough keypoints!")});
  }
  const auto notOk = line("imgregistration", "matrix is not OK!");
  expectRejection(
      shift(330, 0), 50, "IMG_REGISTRATION: matrix is not OK!!",
      {line("imtransform", "the global motion between two frames is too large!"), notOk});
  const Motion toOnePoint = {{0, 0, 70, 0, 0, 80, 0, 0, 1}};
  expectRejection(toOnePoint, 50, "IMG_REGISTRATION: matrix is not OK!!",
                  {line("imtransform", "calculate motion area error!"), notOk});
}

TEST(ImgRegistration, ReportsItsFailedAllocation) {
  expectEachHeapFailureReported({{"imgregistration", "IMG_REGISTRATION: malloc failed!"}}, [] {
    const Call call(shift(0, 0), 20);
    EXPECT_THAT(call.printed, testing::StartsWith("find candidate number 20\n"));
    EXPECT_EQ(call.result != 0, call.printed.ends_with("\nmalloc memory failed"));
    return call.result;
  });
}

}  // namespace
}  // namespace velmora::test
