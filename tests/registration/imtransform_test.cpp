#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "registration/source/projection.h"
#include "support/log_capture.h"
#include "support/random.h"
#include "velmora_sr/logging.h"
#include "velmora_sr/motion_area.h"

namespace {

using velmora::test::LogCapture;
using velmora::test::Random;
using Homography = std::array<float, 9>;

Homography shift(float dx, float dy) {
  return {1, 0, dx, 0, 1, dy, 0, 0, 1};
}

struct Estimate {
  int32_t result;
  int32_t left = -7, top = -7, right = -7, bottom = -7;
};

Estimate estimate(Homography h, int32_t width, int32_t height) {
  Estimate e{};
  e.result = MatrixEstimation(h.data(), width, height, e.left, e.top, e.right, e.bottom);
  return e;
}

TEST(MatrixEstimation, FindsTheCommonArea) {
  const struct {
    const char* name;
    Homography h;
    int32_t result, left, top, right, bottom;
  } cases[] = {
      {"identity", shift(0, 0), 0, 0, 0, 999, 799},
      // The second frame shows the scene moved by (-10, -20): first-frame pixels 10.. and 20.. lie
      // in it.
      {"shift in", shift(-10, -20), 0, 10, 20, 999, 799},
      {"shift out", shift(10, 20), 0, 0, 0, 989, 779},
      {"300 pixels", shift(-300, 0), 0, 300, 0, 999, 799},
      {"301 pixels", shift(-301, 0), 2, -7, -7, -7, -7},
      {"300 rows", shift(0, 300), 0, 0, 0, 999, 499},
      {"301 rows", shift(0, 301), 2, -7, -7, -7, -7},
      // Pixel 10 maps to -0.25 and drops out. The far corner lies at 988.75 and is cut.
      {"part of a pixel in", shift(-10.25F, 0), 0, 11, 0, 999, 799},
      {"part of a pixel out", shift(10.25F, 0), 0, 0, 0, 988, 799},
      {"beyond the frame", shift(-2000, 0), 2, -7, -7, -7, -7},
      {"all on one column", {0, 0, 5, 0, 1, 0, 0, 0, 1}, 2, -7, -7, -7, -7},
      {"nothing", {}, 2, -7, -7, -7, -7},
      {"not a number", {NAN, 0, 0, 0, 1, 0, 0, 0, 1}, 2, -7, -7, -7, -7},
      {"infinite", {INFINITY, 0, 0, 0, 1, 0, 0, 0, 1}, 2, -7, -7, -7, -7},
  };
  for (const auto& c : cases) {
    const Estimate e = estimate(c.h, 1000, 800);
    EXPECT_EQ(e.result, c.result) << c.name;
    EXPECT_EQ(e.left, c.left) << c.name;
    EXPECT_EQ(e.top, c.top) << c.name;
    EXPECT_EQ(e.right, c.right) << c.name;
    EXPECT_EQ(e.bottom, c.bottom) << c.name;
  }
}

TEST(MatrixEstimation, KeepsEveryCornerInsideTheSecondFrame) {
  Random random(11);
  int accepted = 0;
  for (int round = 0; round < 500; ++round) {
    const double angle = (random.unit() - 0.5) * 0.06;
    const double zoom = 0.96 + 0.08 * random.unit();
    const auto c = static_cast<float>(std::cos(angle) * zoom);
    const auto s = static_cast<float>(std::sin(angle) * zoom);
    const auto offset = [&] { return static_cast<float>((random.unit() - 0.5) * 120); };
    const auto bend = [&] { return static_cast<float>((random.unit() - 0.5) * 2e-5); };
    const Homography h = {c, -s, offset(), s, c, offset(), bend(), bend(), 1};
    const Estimate e = estimate(h, 1200, 900);
    if (e.result != 0) continue;
    ++accepted;
    EXPECT_GE(e.left, 0);
    EXPECT_GE(e.top, 0);
    EXPECT_LT(e.right, 1200);
    EXPECT_LT(e.bottom, 900);
    for (const auto& [x, y] : {std::pair(e.left, e.top), std::pair(e.right, e.bottom)}) {
      const auto p = velmora::project(h.data(), static_cast<float>(x), static_cast<float>(y));
      EXPECT_GT(p.x, -1) << round;
      EXPECT_GT(p.y, -1) << round;
      EXPECT_LT(p.x, 1200) << round;
      EXPECT_LT(p.y, 900) << round;
    }
  }
  EXPECT_GT(accepted, 300);
}

/// The homography whose inverse maps (x, y) to (x + c0 + kx x + ky y, ...) in columns and, with the
/// second row, in rows.
Homography withInverse(const std::array<double, 6>& m) {
  const double det = m[0] * m[4] - m[1] * m[3];
  const double a = m[4] / det, b = -m[1] / det, d = -m[3] / det, e = m[0] / det;
  const auto f = [](double value) { return static_cast<float>(value); };
  return {f(a), f(b), f(-a * m[2] - b * m[5]), f(d), f(e), f(-d * m[2] - e * m[5]), 0, 0, 1};
}

TEST(MatrixEstimation, RoundsNearEdgesAndCutsFarOnes) {
  // Each case lets one corner alone decide how much of one side is lost, around the limit of 300
  // pixels: 301 are too many. A near edge is rounded, so 300.4 pixels pass and 300.6 do not; a far
  // edge is cut, so 300.2 pixels are 301 lost and 299.8 are 300. Frames are 2001 x 1601; shears by
  // 10 pixels take the other corner of the side out of the decision.
  constexpr double kShearX = 10.0 / 1600;  // columns per row
  constexpr double kShearY = 10.0 / 2000;  // rows per column
  const struct {
    const char* name;
    std::array<double, 6> passes, fails;
  } cases[] = {
      {"left by the top left corner", {1, -kShearX, 300.4, 0, 1, 0}, {1, -kShearX, 300.6, 0, 1, 0}},
      {"left by the bottom left corner",
       {1, kShearX, 290.4, 0, 1, 0},
       {1, kShearX, 290.6, 0, 1, 0}},
      {"top by the top left corner", {1, 0, 0, -kShearY, 1, 300.4}, {1, 0, 0, -kShearY, 1, 300.6}},
      {"top by the top right corner", {1, 0, 0, kShearY, 1, 290.4}, {1, 0, 0, kShearY, 1, 290.6}},
      {"right by the top right corner",
       {1, kShearX, -299.8, 0, 1, 0},
       {1, kShearX, -300.2, 0, 1, 0}},
      {"right by the bottom right corner",
       {1, -kShearX, -289.8, 0, 1, 0},
       {1, -kShearX, -290.2, 0, 1, 0}},
      {"bottom by the bottom left corner",
       {1, 0, 0, kShearY, 1, -299.8},
       {1, 0, 0, kShearY, 1, -300.2}},
      {"bottom by the bottom right corner",
       {1, 0, 0, -kShearY, 1, -289.8},
       {1, 0, 0, -kShearY, 1, -290.2}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(estimate(withInverse(c.passes), 2001, 1601).result, 0) << c.name;
    EXPECT_EQ(estimate(withInverse(c.fails), 2001, 1601).result, 2) << c.name;
  }
}

TEST(MatrixEstimation, TakesTheLastEntryAsOneOnTheWayForth) {
  // Twice the identity: its inverse is exact, but (x, y) seems to map to (2x, 2y).
  EXPECT_EQ(estimate({2, 0, 0, 0, 2, 0, 0, 0, 2}, 1000, 800).result, 2);
}

TEST(MatrixEstimation, NamesItsRejections) {
  LogCapture log;
  InitLogParams(nullptr, 2);
  const struct {
    Homography h;
    const char* text;
  } cases[] = {
      {shift(-301, 0), "IMG_REGISTRATION: the global motion between two frames is too large!\n"},
      {shift(-5000, 0), "IMG_REGISTRATION: calculate motion area error\n"},
      {{}, "IMG_REGISTRATION: calculate motion area error!\n"},
      {{1, 0, 0, 0, 0, 5, 0, 0, 1}, "IMG_REGISTRATION: calculate motion area error!\n"},
  };
  for (const auto& c : cases) {
    estimate(c.h, 1000, 800);
    const auto texts = log.takeTexts();
    ASSERT_EQ(texts.size(), 1u) << c.text;
    EXPECT_TRUE(texts[0].ends_with(c.text)) << texts[0];
    EXPECT_TRUE(texts[0].starts_with(">>BRISOLE2[error][src/registration/source/imtransform]["));
  }
}

TEST(MotionEstimation, DescribesTheAreaBySize) {
  Homography h = shift(-10, 20);
  tagST_REGISTRATION_AREA area = {1, 2, 3, 4};
  testing::internal::CaptureStdout();
  EXPECT_EQ(MotionEstimation(h.data(), 1000, 800, &area), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "MotionEstimation");
  EXPECT_EQ(area.startX, 10);
  EXPECT_EQ(area.startY, 0);
  EXPECT_EQ(area.realW, 990);
  EXPECT_EQ(area.realH, 780);
  h = shift(-500, 0);
  EXPECT_EQ(MotionEstimation(h.data(), 1000, 800, &area), 2);
  EXPECT_EQ(area.realW, 990) << "kept on a rejection";
}

// A picture in buffers of exactly its size, so that the sanitizers see every byte beyond.
struct Picture {
  Picture(int32_t width, int32_t height, bool interleaved, uint64_t seed)
      : luma(Random(seed).bytes(static_cast<std::size_t>(width * height))),
        u(Random(seed + 1).bytes(
            static_cast<std::size_t>((interleaved ? width : width / 2) * (height / 2)))),
        v(Random(seed + 2).bytes(static_cast<std::size_t>(width / 2 * (height / 2)))),
        pic{width, height, 0, luma.data(), u.data(), interleaved ? nullptr : v.data(), 0, 0} {}
  std::vector<uint8_t> luma, u, v;
  tagST_PIC pic;
};

TEST(FillBlank2, PaintsTheOutside) {
  for (const auto& [w, h] : {std::pair(8, 8), std::pair(7, 9), std::pair(1, 1), std::pair(16, 5)}) {
    for (const auto& [x0, y0, rw, rh] :
         {std::array{2, 2, 4, 4}, std::array{3, 3, 3, 2}, std::array{0, 0, 100, 100},
          std::array{-5, -5, 3, 3}, std::array{0, 0, 0, 0}, std::array{6, 1, 9, 2}}) {
      Picture p(w, h, false, 3);
      const Picture before(w, h, false, 3);
      FillBlank2(&p.pic, x0, y0, rw, rh);
      for (int y = 0; y < h; ++y) {
        const int pair = y & ~1;
        const bool spanned = pair >= y0 && pair < y0 + rh;
        for (int x = 0; x < w; ++x) {
          const bool kept = spanned && x >= x0 && x < x0 + rw;
          const auto at = static_cast<std::size_t>(y * w + x);
          EXPECT_EQ(p.luma[at], kept ? before.luma[at] : 255)
              << w << "x" << h << " " << x << "," << y;
        }
      }
      for (int y = 0; y < h / 2; ++y) {
        const bool spanned = 2 * y >= y0 && 2 * y < y0 + rh;
        for (int x = 0; x < w / 2; ++x) {
          const int right = std::max((w - rw - x0) >> 1, 0);
          const bool kept = spanned && x >= (x0 >> 1) && x < w / 2 - right;
          const auto at = static_cast<std::size_t>(y * (w / 2) + x);
          EXPECT_EQ(p.u[at], kept ? before.u[at] : 128)
              << w << "x" << h << " chroma " << x << "," << y;
          EXPECT_EQ(p.v[at], kept ? before.v[at] : 128);
        }
      }
    }
  }
}

TEST(FillBlank, CopiesTheOutside) {
  for (const auto& [w, h] : {std::pair(8, 8), std::pair(7, 9), std::pair(1, 1)}) {
    Picture dst(w, h, true, 3);
    const Picture before(w, h, true, 3);
    Picture src(w, h, true, 9);
    FillBlank(&dst.pic, &src.pic, 2, 3, 3, 4);
    const auto kept = [w = w](int x, int row) {
      return row >= 3 && row < 7 && x >= 2 && x < 5 && x < w;
    };
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        const auto at = static_cast<std::size_t>(y * w + x);
        EXPECT_EQ(dst.luma[at], (kept(x, y & ~1) ? before : src).luma[at]) << x << "," << y;
        if (y >= h / 2) continue;
        EXPECT_EQ(dst.u[at], (kept(x, 2 * y) ? before : src).u[at]) << x << "," << y;
      }
    }
  }
}

TEST(AffineTransform, CopiesByTheIdentity) {
  Picture src(12, 10, true, 5);
  Picture dst(12, 10, true, 6);
  Homography h = shift(0, 0);
  tagST_REGISTRATION_AREA area = {0, 0, 12, 10};
  testing::internal::CaptureStdout();
  EXPECT_EQ(AffineTransform(&dst.pic, &src.pic, &dst.pic, h.data(), &area, nullptr), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "AffineTransformafter FillBlank2,statX/Y 0/0 realW/H 12/10\n");
  EXPECT_EQ(dst.luma, src.luma);
  EXPECT_EQ(dst.u, src.u);
}

TEST(AffineTransform, BlendsByTheWeightsOfTheBlock) {
  Picture src(8, 6, true, 5);
  Picture dst(8, 6, true, 6);
  Homography h = shift(1.5F, 0.25F);
  tagST_REGISTRATION_AREA area = {2, 2, 2, 2};
  testing::internal::CaptureStdout();
  AffineTransform(&dst.pic, &src.pic, &dst.pic, h.data(), &area, nullptr);
  testing::internal::GetCapturedStdout();
  // (2, 2) maps to (3.5, 2.25): weights 64 and 32.
  const auto at = [&](int x, int y) { return int{src.luma[static_cast<std::size_t>(y * 8 + x)]}; };
  for (int dy = 0; dy < 2; ++dy) {
    for (int dx = 0; dx < 2; ++dx) {
      const int top = (at(3 + dx, 2 + dy) * 64 + at(4 + dx, 2 + dy) * 64 + 32) >> 6;
      const int low = (at(3 + dx, 3 + dy) * 64 + at(4 + dx, 3 + dy) * 64 + 32) >> 6;
      EXPECT_EQ(dst.luma[static_cast<std::size_t>((2 + dy) * 8 + 2 + dx)],
                (top * 96 + low * 32 + 128) >> 8);
    }
  }
  // Chroma of the block: column (3 + 1) even, row (2 + 1) / 2.
  EXPECT_EQ(dst.u[8 + 2], src.u[8 + 4]);
  EXPECT_EQ(dst.u[8 + 3], src.u[8 + 5]);
  EXPECT_EQ(dst.luma[0], 255);
}

TEST(AffineTransform, StaysInsideWhateverItIsGiven) {
  testing::internal::CaptureStdout();
  const Homography maps[] = {
      shift(1e9F, -1e9F), shift(-3.5F, 70), {}, {NAN, 0, 0, 0, INFINITY, 0, 0, 0, 1}};
  for (const auto& [w, h] : {std::pair(9, 7), std::pair(1, 1), std::pair(2, 3)}) {
    for (Homography map : maps) {
      for (tagST_REGISTRATION_AREA area :
           {tagST_REGISTRATION_AREA{-3, -3, 40, 40}, tagST_REGISTRATION_AREA{1, 1, 3, 3},
            tagST_REGISTRATION_AREA{INT32_MAX, 0, INT32_MAX, 5}}) {
        Picture src(5, 4, true, 5);
        Picture dst(w, h, true, 6);
        EXPECT_EQ(AffineTransform(&dst.pic, &src.pic, &dst.pic, map.data(), &area, nullptr), 0);
      }
    }
  }
  testing::internal::GetCapturedStdout();
}

}  // namespace
