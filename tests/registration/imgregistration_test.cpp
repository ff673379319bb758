#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <span>
#include <string>
#include <vector>

#include "registration/call_support.h"
#include "registration/synthetic_pairs.h"
#include "support/digest.h"
#include "support/random.h"
#include "velmora_sr/motion_area.h"
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
  const auto line = [](const char* source, const std::string& text) {
    return logLine("error", source, "IMG_REGISTRATION: " + text);
  };
  const auto tooFew = line("imgregistration", "not enough keypoints!");
  const auto noArea = line("imtransform", "calculate motion area error!");
  const auto notOk = line("imgregistration", "matrix is not OK!");
  const Motion toOnePoint = {{0, 0, 70, 0, 0, 80, 0, 0, 1}};
  const struct {
    Motion motion;  // in a frame of 1200 x 900
    int count;
    std::string printed;
    std::vector<testing::Matcher<std::string>> logged;
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
    EXPECT_THAT(log.takeTexts(), testing::ElementsAreArray(logged));
    EXPECT_EQ(result, logged.empty() ? 0 : 2);
    EXPECT_TRUE(logged.empty() ? motion.cornerError(h.data(), 1200, 900) < 0.05
                               : h[0] == -5 && h[8] == -5 && left == -7 && bottom == -7);
  }
}

using Homography = std::array<float, 9>;

Homography moved(float dx, float dy) {
  return {1, 0, dx, 0, 1, dy, 0, 0, 1};
}

/// Result, left, top, right, bottom.
using Estimate = std::array<int32_t, 5>;
constexpr Estimate kRejected = {2, -7, -7, -7, -7};

Estimate estimate(Homography h, int32_t width, int32_t height) {
  Estimate e = kRejected;
  e[0] = MatrixEstimation(h.data(), width, height, e[1], e[2], e[3], e[4]);
  return e;
}

TEST(MatrixEstimation, FindsTheCommonAreaOrNamesItsRejection) {
  InitLogParams(nullptr, 2);
  const std::string error = "calculate motion area error!";
  const std::string tooLarge = "the global motion between two frames is too large!";
  const struct {
    const char* name;
    Homography h;
    Estimate expected;
    std::string logged;
  } cases[] = {
      {"identity", moved(0, 0), {0, 0, 0, 999, 799}, ""},
      // The second frame shows the scene moved by (-10, -20): first-frame pixels 10.. and 20.. lie
      // in it.
      {"shift in", moved(-10, -20), {0, 10, 20, 999, 799}, ""},
      {"shift out", moved(10, 20), {0, 0, 0, 989, 779}, ""},
      {"300 pixels", moved(-300, 0), {0, 300, 0, 999, 799}, ""},
      {"301 pixels", moved(-301, 0), kRejected, tooLarge},
      {"300 rows", moved(0, 300), {0, 0, 0, 999, 499}, ""},
      {"301 rows", moved(0, 301), kRejected, tooLarge},
      // Pixel 10 maps to -0.25 and drops out. The far corner lies at 988.75 and is cut.
      {"part of a pixel in", moved(-10.25F, 0), {0, 11, 0, 999, 799}, ""},
      {"part of a pixel out", moved(10.25F, 0), {0, 0, 0, 988, 799}, ""},
      {"beyond the frame", moved(-5000, 0), kRejected, "calculate motion area error"},
      {"all on one column", {0, 0, 5, 0, 1, 0, 0, 0, 1}, kRejected, error},
      {"all on one row", {1, 0, 0, 0, 0, 5, 0, 0, 1}, kRejected, error},
      {"nothing", {}, kRejected, error},
      {"not a number", {NAN, 0, 0, 0, 1, 0, 0, 0, 1}, kRejected, error},
      {"infinite", {INFINITY, 0, 0, 0, 1, 0, 0, 0, 1}, kRejected, error},
      // Twice the identity: its inverse is exact, but (x, y) seems to map to (2x, 2y).
      {"last entry not 1", {2, 0, 0, 0, 2, 0, 0, 0, 2}, kRejected, error},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    LogCapture log;
    EXPECT_EQ(estimate(c.h, 1000, 800), c.expected);
    const auto texts = log.takeTexts();
    EXPECT_EQ(texts.size(), c.expected[0] == 0 ? 0u : 1u);
    for (const std::string& text : texts)
      EXPECT_THAT(text, logLine("error", "imtransform", "IMG_REGISTRATION: " + c.logged));
  }
}

TEST(MatrixEstimation, GivesTheSameAreasOnEveryMachine) {
  Random random(11);
  Digest digest;
  for (int round = 0; round < 500; ++round) {
    const auto within = [&](double most) {
      return static_cast<float>((2 * random.unit() - 1) * most);
    };
    const Homography h = {1 + within(0.04), within(0.03),     within(60),
                          within(0.03),     1 + within(0.04), within(60),
                          within(1e-5),     within(1e-5),     1};
    digest.addAll(estimate(h, 1200, 900));
  }
  EXPECT_EQ(digest.value(), 623511281u);
}

TEST(MotionEstimation, DescribesTheAreaBySize) {
  tagST_REGISTRATION_AREA area = {1, 2, 3, 4};
  for (const auto& [dx, expected] : {std::pair{-10.0F, 0}, {-500.0F, 2}}) {  // the second rejected
    Homography h = moved(dx, 20);
    int32_t result = -1;
    EXPECT_EQ(printedBy([&] { result = MotionEstimation(h.data(), 1000, 800, &area); }),
              "MotionEstimation");
    EXPECT_EQ((Estimate{result, area.startX, area.startY, area.realW, area.realH}),
              (Estimate{expected, 10, 0, 990, 780}));
  }
}

/// A picture in buffers of exactly its size, so that the sanitizers see every byte beyond.
struct Picture {
  std::vector<uint8_t> luma, u, v;
  tagST_PIC pic;

  Picture(int32_t width, int32_t height, bool interleaved, uint64_t seed)
      : luma(Random(seed).bytes(static_cast<std::size_t>(width * height))),
        u(Random(seed + 1).bytes(
            static_cast<std::size_t>((interleaved ? width : width / 2) * (height / 2)))),
        v(Random(seed + 2).bytes(static_cast<std::size_t>(width / 2 * (height / 2)))),
        pic{width, height, 0, luma.data(), u.data(), interleaved ? nullptr : v.data(), 0, 0} {}
  void addTo(Digest& digest) const {
    for (const auto* plane : {&luma, &u, &v})
      digest.addAll(*plane);
  }
};

TEST(FillBlank, GivesTheSameBytesForAnySizeAndArea) {
  // Areas within, across and outside the pictures. The digest is that of plain loops over samples.
  Digest digest;
  for (const auto& [w, h] : {std::pair{8, 8}, {7, 9}, {1, 1}, {16, 5}}) {
    for (const auto& [x, y, areaW, areaH] : {std::array{2, 2, 4, 4},
                                             {3, 3, 3, 2},
                                             {2, 3, 3, 4},
                                             {0, 0, 99, 99},
                                             {-5, -5, 3, 3},
                                             {6, 1, 9, 2}}) {
      Picture painted(w, h, false, 3), dst(w, h, true, 3), src(w, h, true, 9);
      FillBlank2(&painted.pic, x, y, areaW, areaH);
      FillBlank(&dst.pic, &src.pic, x, y, areaW, areaH);
      painted.addTo(digest);
      dst.addTo(digest);
    }
  }
  EXPECT_EQ(digest.value(), 1601292991u);
}

TEST(AffineTransform, GivesTheSameBytesOnEveryMachine) {
  // The digest is that of a warp sample by sample.
  Digest digest;
  for (Homography h : {moved(0, 0), moved(1.5F, 0.25F), moved(-3.3F, -2.6F), moved(7.9F, 5.7F),
                       Homography{1.1F, 0.05F, -0.7F, -0.04F, 0.93F, 0.6F, 0.01F, -0.005F, 1}}) {
    Picture src(12, 10, true, 5), dst(12, 10, true, 6);
    tagST_REGISTRATION_AREA area = {2, 2, 8, 6};
    EXPECT_EQ(
        printedBy([&] { AffineTransform(&dst.pic, &src.pic, &dst.pic, h.data(), &area, nullptr); }),
        "AffineTransformafter FillBlank2,statX/Y 2/2 realW/H 8/6\n");
    dst.addTo(digest);
  }
  EXPECT_EQ(digest.value(), 913146331u);
}

TEST(AffineTransform, StaysInsideWhateverItIsGiven) {
  const Homography maps[] = {
      moved(1e9F, -1e9F), moved(-3.5F, 70), {}, {NAN, 0, 0, 0, INFINITY, 0, 0, 0, 1}};
  const tagST_REGISTRATION_AREA areas[] = {
      {-3, -3, 40, 40}, {1, 1, 3, 3}, {INT32_MAX, 0, INT32_MAX, 5}};
  for (const auto& [w, h] : {std::pair(9, 7), std::pair(1, 1), std::pair(2, 3)}) {
    for (Homography map : maps) {
      for (tagST_REGISTRATION_AREA area : areas) {
        Picture src(5, 4, true, 5), dst(w, h, true, 6);
        printedBy(
            [&] { AffineTransform(&dst.pic, &src.pic, &dst.pic, map.data(), &area, nullptr); });
      }
    }
  }
}

}  // namespace
}  // namespace velmora::test
