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
  const std::string tooFew = "not enough keypoints!", notOk = "matrix is not OK!";
  const std::string area = "calculate motion area error!";
  const std::string tooLarge = "the global motion between two frames is too large!";
  const struct {
    Motion motion;  // in a frame of 1200 x 900
    int count;
    std::string printed;
    std::vector<std::pair<std::string, std::string>> logged;
  } cases[] = {
      {shift(-20, 35), 80, "", {}},
      {shift(0, 0), 5, "", {}},
      {shift(0, 0), 4, "candidate number is small", {{"imgregistration", tooFew}}},
      {shift(0, 0), 0, "candidate number is small", {{"imgregistration", tooFew}}},
      {shift(330, 0),
       50,
       "IMG_REGISTRATION: matrix is not OK!!",
       {{"imtransform", tooLarge}, {"imgregistration", notOk}}},
      {{{0, 0, 70, 0, 0, 80, 0, 0, 1}},  // all to one point
       50,
       "IMG_REGISTRATION: matrix is not OK!!",
       {{"imtransform", area}, {"imgregistration", notOk}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    Random random(60);
    Pairs pairs;
    fill(pairs, {.motion = c.motion, .width = 1200, .height = 900, .count = c.count}, random);
    tagST_IMGREGISTRATION_PARAMS_IN in = {};
    in.width = 1200;
    in.height = 900;
    in.pairs = pairs.record;
    std::array<float, 9> h;
    std::array<int32_t, 4> edges;
    h.fill(-5.0f);
    edges.fill(-7);
    int32_t result = -1;
    InitLogParams(nullptr, 2);
    LogCapture log;
    const std::string printed = printedBy([&] {
      result = ImgRegistration(&in, nullptr, h.data(), edges[0], edges[1], edges[2], edges[3]);
    });
    EXPECT_EQ(printed, "find candidate number " + std::to_string(c.count) + "\n" + c.printed);
    std::vector<testing::Matcher<std::string>> lines;
    for (const auto& [source, text] : c.logged)
      lines.push_back(logLine("error", source, "IMG_REGISTRATION: " + text));
    EXPECT_THAT(log.takeTexts(), testing::ElementsAreArray(lines));
    EXPECT_EQ(result, c.printed.empty() ? 0 : 2);
    if (result == 0) {
      EXPECT_LT(c.motion.cornerError(h.data(), 1200, 900), 0.05);
    } else {
      EXPECT_THAT(h, testing::Each(-5.0f));
      EXPECT_THAT(edges, testing::Each(-7));
    }
    // The fit is off by hundredths of a pixel: an edge may give way by one.
    if (c.count == 80) {
      using testing::AnyOf;
      EXPECT_THAT(edges, testing::ElementsAre(AnyOf(20, 21), AnyOf(0, 1), AnyOf(1198, 1199),
                                              AnyOf(863, 864)));
    }
  }
}

}  // namespace
}  // namespace velmora::test
