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
  for (const auto& [width, height, expected] : {std::array{0, 0, 0},
                                                {1, 1, 16},
                                                {3, 5, 32},
                                                {-5, 100, 0},
                                                {4000, 3000, 18000000},
                                                {60000, 60000, INT32_MAX / 16 * 16}}) {
    int32_t size = -1, other = -1;
    EXPECT_EQ(ImgRegistration_Query(&size, &other, width, height), 0);
    EXPECT_EQ(size, expected) << width << " x " << height;
    EXPECT_EQ(other, 0);
  }
}

TEST(ImgRegistration, RegistersOrSaysWhyNot) {
  const std::string tooFew = "imgregistration IMG_REGISTRATION: not enough keypoints!";
  const std::string noArea = "imtransform IMG_REGISTRATION: calculate motion area error!";
  const std::string notOk = "imgregistration IMG_REGISTRATION: matrix is not OK!";
  const Motion toOnePoint = {{0, 0, 70, 0, 0, 80, 0, 0, 1}};
  const struct {
    Motion motion;  // in a frame of 1200 x 900
    int count;
    std::string printed;
    std::vector<std::string> logged;  // source and text
  } cases[] = {{shift(-20, 35), 5, "", {}},
               {shift(0, 0), 4, "candidate number is small", {tooFew}},
               {toOnePoint, 50, "IMG_REGISTRATION: matrix is not OK!!", {noArea, notOk}}};
  for (const auto& [motion, count, printed, logged] : cases) {
    Random random(60);
    Pairs pairs;
    fill(pairs, {.motion = motion, .width = 1200, .height = 900, .count = count}, random);
    tagST_IMGREGISTRATION_PARAMS_IN in = {};
    in.width = 1200;
    in.height = 900;
    in.pairs = pairs.record;
    std::array<float, 9> h;
    h.fill(-5.0f);
    int32_t result = -1, left = -7, top = -7, right = -7, bottom = -7;
    InitLogParams(nullptr, 2);
    LogCapture log;
    EXPECT_EQ(printedBy([&] {
                result = ImgRegistration(&in, nullptr, h.data(), left, top, right, bottom);
              }),
              "find candidate number " + std::to_string(count) + "\n" + printed);
    std::vector<testing::Matcher<std::string>> lines;
    for (const std::string& line : logged) {
      const auto blank = line.find(' ');
      lines.push_back(logLine("error", line.substr(0, blank), line.substr(blank + 1)));
    }
    EXPECT_THAT(log.takeTexts(), testing::ElementsAreArray(lines));
    EXPECT_EQ(result, logged.empty() ? 0 : 2);
    EXPECT_TRUE(logged.empty() ? motion.cornerError(h.data(), 1200, 900) < 0.05
                               : h[0] == -5 && h[8] == -5 && left == -7 && bottom == -7);
  }
}

}  // namespace
}  // namespace velmora::test
