#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "registration/call_support.h"
#include "registration/source/projection.h"
#include "support/digest.h"
#include "support/random.h"
#include "velmora_sr/motion_area.h"

namespace velmora::test {
namespace {

using Homography = std::array<float, 9>;

Homography shift(float dx, float dy) {
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
      {"identity", shift(0, 0), {0, 0, 0, 999, 799}, ""},
      // The second frame shows the scene moved by (-10, -20): first-frame pixels 10.. and 20.. lie
      // in it.
      {"shift in", shift(-10, -20), {0, 10, 20, 999, 799}, ""},
      {"shift out", shift(10, 20), {0, 0, 0, 989, 779}, ""},
      {"300 pixels", shift(-300, 0), {0, 300, 0, 999, 799}, ""},
      {"301 pixels", shift(-301, 0), kRejected, tooLarge},
      {"300 rows", shift(0, 300), {0, 0, 0, 999, 499}, ""},
      {"301 rows", shift(0, 301), kRejected, tooLarge},
      // Pixel 10 maps to -0.25 and drops out. The far corner lies at 988.75 and is cut.
      {"part of a pixel in", shift(-10.25F, 0), {0, 11, 0, 999, 799}, ""},
      {"part of a pixel out", shift(10.25F, 0), {0, 0, 0, 988, 799}, ""},
      {"beyond the frame", shift(-5000, 0), kRejected, "calculate motion area error"},
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
    if (c.logged.empty()) {
      EXPECT_THAT(log.takeTexts(), testing::IsEmpty());
    } else {
      EXPECT_THAT(log.takeTexts(), testing::ElementsAre(logLine("error", "imtransform",
                                                                "IMG_REGISTRATION: " + c.logged)));
    }
  }
}

TEST(MatrixEstimation, KeepsCornersInsideTheSecondFrame) {
  Random random(11);
  Digest digest;
  int accepted = 0;
  for (int round = 0; round < 500; ++round) {
    const auto within = [&](double most) {
      return static_cast<float>((2 * random.unit() - 1) * most);
    };
    const Homography h = {1 + within(0.04), within(0.03),     within(60),
                          within(0.03),     1 + within(0.04), within(60),
                          within(1e-5),     within(1e-5),     1};
    const auto estimated = estimate(h, 1200, 900);
    digest.addAll(estimated);
    const auto [result, left, top, right, bottom] = estimated;
    if (result != 0) continue;
    ++accepted;
    EXPECT_TRUE(left >= 0 && top >= 0 && right < 1200 && bottom < 900) << round;
    for (const auto& [x, y] : {std::pair(left, top), std::pair(right, bottom)}) {
      const auto p = project(h.data(), static_cast<float>(x), static_cast<float>(y));
      EXPECT_TRUE(p.x > -1 && p.y > -1 && p.x < 1200 && p.y < 900) << round;
    }
  }
  EXPECT_GT(accepted, 300);
  EXPECT_EQ(digest.value(), 623511281u);  // the same areas everywhere
}

/// The homography whose inverse maps (x, y) to (x + shearX y + dx, shearY x + y + dy).
Homography withInverse(double shearX, double dx, double shearY, double dy) {
  const double det = 1 - shearX * shearY;
  const auto f = [=](double value) { return static_cast<float>(value / det); };
  return {f(1), f(-shearX), f(shearX * dy - dx), f(-shearY), f(1), f(shearY * dx - dy), 0, 0, 1};
}

TEST(MatrixEstimation, RoundsNearEdgesAndCutsFarOnes) {
  // Each case lets one corner alone decide how much of one side is lost, around the limit of 300
  // pixels: 301 are too many. A near edge is rounded, so 300.4 pixels pass and 300.6 do not; a far
  // edge is cut, so 300.2 pixels are 301 lost and 299.8 are 300. Frames are 2001 x 1601; shears by
  // 10 pixels take the other corner of the side out of the decision.
  constexpr double kShearX = 10.0 / 1600;  // columns per row
  constexpr double kShearY = 10.0 / 2000;  // rows per column
  const struct {
    const char* corner;
    Homography passes, fails;
  } cases[] = {
      {"left, of top left", withInverse(-kShearX, 300.4, 0, 0), withInverse(-kShearX, 300.6, 0, 0)},
      {"left, of bottom left", withInverse(kShearX, 290.4, 0, 0),
       withInverse(kShearX, 290.6, 0, 0)},
      {"top, of top left", withInverse(0, 0, -kShearY, 300.4), withInverse(0, 0, -kShearY, 300.6)},
      {"top, of top right", withInverse(0, 0, kShearY, 290.4), withInverse(0, 0, kShearY, 290.6)},
      {"right, of top right", withInverse(kShearX, -299.8, 0, 0),
       withInverse(kShearX, -300.2, 0, 0)},
      {"right, of bottom right", withInverse(-kShearX, -289.8, 0, 0),
       withInverse(-kShearX, -290.2, 0, 0)},
      {"bottom, of bottom left", withInverse(0, 0, kShearY, -299.8),
       withInverse(0, 0, kShearY, -300.2)},
      {"bottom, of bottom right", withInverse(0, 0, -kShearY, -289.8),
       withInverse(0, 0, -kShearY, -290.2)},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(estimate(c.passes, 2001, 1601)[0], 0) << c.corner;
    EXPECT_EQ(estimate(c.fails, 2001, 1601)[0], 2) << c.corner;
  }
}

TEST(MotionEstimation, DescribesTheAreaBySize) {
  tagST_REGISTRATION_AREA area = {1, 2, 3, 4};
  const auto estimated = [&](Homography h) {
    int32_t result = -1;
    EXPECT_EQ(printedBy([&] { result = MotionEstimation(h.data(), 1000, 800, &area); }),
              "MotionEstimation");
    return Estimate{result, area.startX, area.startY, area.realW, area.realH};
  };
  EXPECT_EQ(estimated(shift(-10, 20)), (Estimate{0, 10, 0, 990, 780}));
  EXPECT_EQ(estimated(shift(-500, 0)), (Estimate{2, 10, 0, 990, 780}));  // kept on a rejection
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
};

/// Sizes of pictures, and areas within, across and outside them.
constexpr std::array<int, 2> kSizes[] = {{8, 8}, {7, 9}, {1, 1}, {16, 5}};
constexpr std::array<int, 4> kAreas[] = {{2, 2, 4, 4},   {3, 3, 3, 2},   {2, 3, 3, 4},
                                         {0, 0, 99, 99}, {-5, -5, 3, 3}, {6, 1, 9, 2}};

TEST(FillBlank2, PaintsTheOutside) {
  for (const auto& [w, h] : kSizes) {
    for (const auto& [x0, y0, rw, rh] : kAreas) {
      SCOPED_TRACE(testing::Message() << w << " x " << h << ", " << x0 << ", " << y0);
      Picture p(w, h, false, 3);
      const Picture before(w, h, false, 3);
      FillBlank2(&p.pic, x0, y0, rw, rh);
      for (int i = 0; i < w * h; ++i) {
        const int x = i % w, pair = i / w & ~1;
        const bool kept = pair >= y0 && pair < y0 + rh && x >= x0 && x < x0 + rw;
        EXPECT_EQ(p.luma[i], kept ? before.luma[i] : 255) << i;
      }
      const int right = std::max((w - rw - x0) >> 1, 0);
      for (int i = 0; i < w / 2 * (h / 2); ++i) {
        const int x = i % (w / 2), pair = i / (w / 2) * 2;
        const bool kept = pair >= y0 && pair < y0 + rh && x >= (x0 >> 1) && x < w / 2 - right;
        EXPECT_EQ(p.u[i], kept ? before.u[i] : 128) << i;
        EXPECT_EQ(p.v[i], kept ? before.v[i] : 128) << i;
      }
    }
  }
}

TEST(FillBlank, CopiesTheOutside) {
  for (const auto& [w, h] : kSizes) {
    for (const auto& [x0, y0, rw, rh] : kAreas) {
      SCOPED_TRACE(testing::Message() << w << " x " << h << ", " << x0 << ", " << y0);
      Picture dst(w, h, true, 3), src(w, h, true, 9);
      const Picture before(w, h, true, 3);
      FillBlank(&dst.pic, &src.pic, x0, y0, rw, rh);
      const auto from = [&, x0 = x0, y0 = y0, rw = rw, rh = rh](int x, int pair) -> const Picture& {
        const bool kept = pair >= y0 && pair < y0 + rh && x >= x0 && x < x0 + rw;
        return kept ? before : src;
      };
      for (int i = 0; i < w * h; ++i)
        EXPECT_EQ(dst.luma[i], from(i % w, i / w & ~1).luma[i]) << i;
      for (int i = 0; i < w * (h / 2); ++i)
        EXPECT_EQ(dst.u[i], from(i % w, i / w * 2).u[i]) << i;
    }
  }
}

TEST(AffineTransform, EqualsItsDefinition) {
  constexpr int kWidth = 12, kHeight = 10;
  for (Homography h : {shift(0, 0), shift(1.5F, 0.25F), shift(-3.3F, -2.6F), shift(7.9F, 5.7F),
                       Homography{1.1F, 0.05F, -0.7F, -0.04F, 0.93F, 0.6F, 0.01F, -0.005F, 1}}) {
    Picture src(kWidth, kHeight, true, 5), dst(kWidth, kHeight, true, 6);
    Picture expected(kWidth, kHeight, true, 6);
    const auto at = [&](int x, int y) {
      return int{src.luma[std::clamp(y, 0, kHeight - 1) * kWidth + std::clamp(x, 0, kWidth - 1)]};
    };
    tagST_REGISTRATION_AREA area = {2, 2, 8, 6};
    FillBlank2(&expected.pic, 2, 2, 8, 6);
    for (int block = 0; block < 12; ++block) {  // of 2 x 2, four in a row
      const int x0 = 2 + block % 4 * 2, y0 = 2 + block / 4 * 2;
      const auto p = project(h.data(), static_cast<float>(x0), static_cast<float>(y0));
      const int u = static_cast<int>(p.x), v = static_cast<int>(p.y);
      const int fx = std::abs(static_cast<int>((p.x - static_cast<float>(u)) * 128));
      const int fy = std::abs(static_cast<int>((p.y - static_cast<float>(v)) * 128));
      for (int i = 0; i < 4; ++i) {
        const int x = u + i % 2, y = v + i / 2;
        const int top = (at(x, y) * (128 - fx) + at(x + 1, y) * fx + 32) >> 6;
        const int low = (at(x, y + 1) * (128 - fx) + at(x + 1, y + 1) * fx + 32) >> 6;
        expected.luma[(y0 + i / 2) * kWidth + x0 + i % 2] =
            static_cast<uint8_t>((top * (128 - fy) + low * fy + 128) >> 8);
      }
      const int column = std::clamp((u + 1) & ~1, 0, kWidth - 2);
      const int row = std::clamp((v + 1) >> 1, 0, kHeight / 2 - 1);
      std::copy_n(&src.u[row * kWidth + column], 2, &expected.u[y0 / 2 * kWidth + x0]);
    }
    EXPECT_EQ(
        printedBy([&] { AffineTransform(&dst.pic, &src.pic, &dst.pic, h.data(), &area, nullptr); }),
        "AffineTransformafter FillBlank2,statX/Y 2/2 realW/H 8/6\n");
    EXPECT_EQ(dst.luma, expected.luma);
    EXPECT_EQ(dst.u, expected.u);
  }
}

TEST(AffineTransform, StaysInsideWhateverItIsGiven) {
  const Homography maps[] = {
      shift(1e9F, -1e9F), shift(-3.5F, 70), {}, {NAN, 0, 0, 0, INFINITY, 0, 0, 0, 1}};
  const tagST_REGISTRATION_AREA areas[] = {
      {-3, -3, 40, 40}, {1, 1, 3, 3}, {INT32_MAX, 0, INT32_MAX, 5}};
  for (const auto& [w, h] : {std::pair(9, 7), std::pair(1, 1), std::pair(2, 3)}) {
    for (Homography map : maps) {
      for (tagST_REGISTRATION_AREA area : areas) {
        Picture src(5, 4, true, 5);
        Picture dst(w, h, true, 6);
        printedBy(
            [&] { AffineTransform(&dst.pic, &src.pic, &dst.pic, map.data(), &area, nullptr); });
      }
    }
  }
}

}  // namespace
}  // namespace velmora::test
