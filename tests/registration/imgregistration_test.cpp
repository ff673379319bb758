#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "registration/synthetic_pairs.h"
#include "support/heap_faults.h"
#include "support/log_capture.h"
#include "velmora_sr/logging.h"
#include "velmora_sr/registration.h"

namespace {

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;
using velmora::test::fill;
using velmora::test::HeapFaults;
using velmora::test::LogCapture;
using velmora::test::Motion;
using velmora::test::Pairs;
using velmora::test::Random;
using velmora::test::shift;

TEST(ImgRegistrationQuery, RoundsTheFrameUpToSixteenBytes) {
  const struct {
    int32_t width, height, size;
  } cases[] = {{0, 0, 0},
               {1, 1, 16},
               {4, 4, 32},
               {3, 5, 32},
               {640, 480, 460800},
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

struct Outcome {
  int32_t result;
  std::array<float, 9> homography;
  std::array<int32_t, 4> area;
  std::string printed;
  std::vector<std::string> logged;
};

Outcome run(Pairs& pairs, int32_t width, int32_t height) {
  Outcome o = {};
  o.homography.fill(-5.0f);
  o.area.fill(-7);
  tagST_IMGREGISTRATION_PARAMS_IN in = {};
  in.width = width;
  in.height = height;
  in.pairs = pairs.record;
  InitLogParams(nullptr, 2);
  LogCapture log;
  CaptureStdout();
  o.result = ImgRegistration(&in, nullptr, o.homography.data(), o.area[0], o.area[1], o.area[2],
                             o.area[3]);
  o.printed = GetCapturedStdout();
  o.logged = log.takeTexts();
  return o;
}

TEST(ImgRegistration, RefinesAndFindsTheArea) {
  Random random(60);
  Pairs pairs;
  const Motion motion = shift(-20, 35);
  fill(pairs, {.motion = motion, .width = 1200, .height = 900, .count = 80}, random);
  const Outcome o = run(pairs, 1200, 900);
  EXPECT_EQ(o.result, 0);
  EXPECT_EQ(o.printed, "find candidate number 80\n");
  EXPECT_THAT(o.logged, testing::IsEmpty());
  EXPECT_LT(motion.cornerError(o.homography.data(), 1200, 900), 0.05);
  // The fit is off by hundredths of a pixel: an edge may give way by one.
  EXPECT_THAT(o.area[0], testing::AnyOf(20, 21));
  EXPECT_THAT(o.area[1], testing::AnyOf(0, 1));
  EXPECT_THAT(o.area[2], testing::AnyOf(1199, 1198));
  EXPECT_THAT(o.area[3], testing::AnyOf(864, 863));
}

TEST(ImgRegistration, SaysWhyItRejects) {
  const auto logLine = [](const char* source, const char* text) {
    return testing::AllOf(
        testing::StartsWith(std::string(">>BRISOLE2[error][src/registration/source/") + source +
                            "]["),
        testing::EndsWith(std::string(" : ") + text + "\n"));
  };
  const char* notOk = "IMG_REGISTRATION: matrix is not OK!!";
  const struct {
    const char* name;
    Motion motion;
    int count;
    std::string printed;
    std::vector<testing::Matcher<std::string>> logged;
  } cases[] = {
      {"none",
       shift(0, 0),
       0,
       "find candidate number 0\ncandidate number is small",
       {logLine("imgregistration", "IMG_REGISTRATION: not enough keypoints!")}},
      {"four",
       shift(0, 0),
       4,
       "find candidate number 4\ncandidate number is small",
       {logLine("imgregistration", "IMG_REGISTRATION: not enough keypoints!")}},
      {"far away",
       shift(330, 0),
       50,
       std::string("find candidate number 50\n") + notOk,
       {logLine("imtransform",
                "IMG_REGISTRATION: the global motion between two frames is too large!"),
        logLine("imgregistration", "IMG_REGISTRATION: matrix is not OK!")}},
      {"on one point",
       {{0, 0, 70, 0, 0, 80, 0, 0, 1}},
       50,
       std::string("find candidate number 50\n") + notOk,
       {logLine("imtransform", "IMG_REGISTRATION: calculate motion area error!"),
        logLine("imgregistration", "IMG_REGISTRATION: matrix is not OK!")}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Random random(61);
    Pairs pairs;
    fill(pairs, {.motion = c.motion, .width = 1200, .height = 900, .count = c.count}, random);
    const Outcome o = run(pairs, 1200, 900);
    EXPECT_EQ(o.result, 2);
    EXPECT_EQ(o.printed, c.printed);
    EXPECT_THAT(o.logged, testing::ElementsAreArray(c.logged));
    EXPECT_THAT(o.homography, testing::Each(-5.0f));
    EXPECT_THAT(o.area, testing::Each(-7));
  }
}

TEST(ImgRegistration, ReportsItsFailedAllocation) {
  Random random(62);
  Pairs pairs;
  fill(pairs, {.motion = shift(0, 0), .width = 1200, .height = 900, .count = 20}, random);
  const HeapFaults heap(0);
  const Outcome o = run(pairs, 1200, 900);
  EXPECT_EQ(o.result, -1000);
  EXPECT_EQ(o.printed, "find candidate number 20\nmalloc memory failed");
  EXPECT_THAT(o.logged,
              testing::ElementsAre(testing::HasSubstr("IMG_REGISTRATION: malloc failed!")));
  EXPECT_THAT(o.homography, testing::Each(-5.0f));
}

}  // namespace
