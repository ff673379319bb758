#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <vector>

#include "burst/reconstruction/box_sums.h"
#include "burst/resampling/taps.h"
#include "burst/workers_for_tests.h"

namespace velmora::test {
namespace {

using namespace burst;  // NOLINT(google-build-using-namespace)

TEST(Windows, AddUpToOneAndAreMirrored) {
  for (const auto make : {lanczosWindows, catmullRomWindows}) {
    const WindowTable table = make(memory());
    for (std::size_t y = 0; y < 64; ++y) {
      for (std::size_t x = 0; x < 64; ++x) {
        const int16_t* window = &table.taps[16 * (64 * y + x)];
        EXPECT_EQ(std::accumulate(window, window + 16, 0), 4096);
        if (x == 0 || y == 0) continue;
        const int16_t* mirrored = &table.taps[16 * (64 * (64 - y) + 64 - x)];
        EXPECT_TRUE(std::equal(window, window + 16, std::reverse_iterator(mirrored + 16)));
      }
    }
    EXPECT_EQ(table.taps[5], 4096);
  }
}

TEST(Windows, HaveTheTapsOfTheirKernels) {
  Buffer<int32_t> sums;
  const WindowTable gaussian = gaussianWindows(memory(), sums);
  const WindowTable lanczos = lanczosWindows(memory());
  const auto kernel = [](double t) {
    const double p = 3.14159265358979 * t;
    return t == 0 ? 1 : std::sin(p) * std::sin(p / 2) / (p * p / 2);
  };
  for (std::size_t phase = 0; phase < 64; ++phase) {
    const double f = static_cast<double>(phase) / 64;
    double sum = 0;
    for (int i = 0; i < 4; ++i)
      sum += kernel(std::abs(i - 1 - f));
    int32_t gaussianSum = 0;
    for (std::size_t i = 0; i < 4; ++i) {
      const double t = std::abs(static_cast<double>(i) - 1 - f);
      // The row of taps through the samples, vertical phase 0.
      EXPECT_NEAR(lanczos.taps[16 * phase + 4 + i], 4096 * kernel(t) / sum, 1.5);
      EXPECT_NEAR(gaussian.taps[16 * phase + 4 + i], 4096 * std::exp(-t * t / 0.32), 0.51);
    }
    for (std::size_t i = 0; i < 16; ++i)
      gaussianSum += gaussian.taps[16 * phase + i];
    EXPECT_EQ(sums[phase], gaussianSum);
  }
  EXPECT_EQ(catmullRomNoise(0), 1.0F);
  EXPECT_EQ(catmullRomNoise(32), 0.640625F);  // 2 * (9^2 + 1) / 16^2
}

TEST(BoxTaps, AreOverlapsOfSquares) {
  using Taps = std::array<int16_t, BoxTaps::kMost>;
  EXPECT_EQ(BoxTaps(2).of(0), (Taps{64, 64}));
  EXPECT_EQ(BoxTaps(2).of(16), (Taps{48, 64, 16}));
  EXPECT_EQ(BoxTaps(1).of(32), (Taps{64, 64}));
  EXPECT_EQ(BoxTaps(4).of(32), (Taps{16, 32, 32, 32, 16}));
  EXPECT_EQ(BoxTaps(3).of(0), (Taps{43, 42, 43}));
  for (const double side : {1.0, 1.37, 2.001, 2.5, 3.0, 4.2}) {
    const BoxTaps taps(side);
    EXPECT_LE(taps.count(), static_cast<int32_t>(std::ceil(side)) + 1);
    for (int32_t phase = 0; phase < 64; ++phase)
      EXPECT_EQ(std::accumulate(taps.of(phase).begin(), taps.of(phase).end(), 0), 128);
  }
}

TEST(PositionGrid, FollowsAHomographyAndKeepsInsideItsBounds) {
  const Homography h = {{0.51, 0.012, -3.3, -0.011, 0.49, 2.8, 1e-5, -2e-5, 1}};
  OneWorker worker;
  const Size size = {203, 117};
  const PositionGrid grid(memory(), worker, size, {90, 60}, [&](Point p) { return h(p); });
  const Rect part = {13, 21, 180, 110};
  const Rect bounds = grid.bounds(part);
  std::vector<int32_t> x(203), y(203), partX(203), partY(203);
  for (int32_t j = 0; j < size.height; ++j) {
    grid.row(j, 0, size.width, x.data(), y.data());
    grid.row(j, part.left, part.right, partX.data(), partY.data());
    for (int32_t i = 0; i < size.width; ++i) {
      const auto at = static_cast<std::size_t>(i);
      const Point p = h({static_cast<double>(i), static_cast<double>(j)});
      EXPECT_NEAR(x[at], 64 * p.x, 0.57);
      EXPECT_NEAR(y[at], 64 * p.y, 0.57);
      if (i < part.left || i >= part.right) continue;
      EXPECT_EQ(partX[at - 13], x[at]);
      EXPECT_EQ(partY[at - 13], y[at]);
      if (j < part.top || j >= part.bottom) continue;
      EXPECT_TRUE(x[at] >> 6 >= bounds.left && x[at] >> 6 < bounds.right);
      EXPECT_TRUE(y[at] >> 6 >= bounds.top && y[at] >> 6 < bounds.bottom);
    }
  }
}

TEST(PositionGrid, KeepsPositionsThatLieNowhereInRange) {
  OneWorker worker;
  const PositionGrid grid(memory(), worker, {40, 40}, {100, 50}, [](Point p) {
    return Point{p.x < 16 ? NAN : 1e30, -INFINITY};
  });
  int32_t x[40], y[40];
  grid.row(3, 0, 40, x, y);
  EXPECT_EQ(x[0], -64 * 64);
  EXPECT_EQ(x[39], 64 * (99 + 64));
  EXPECT_EQ(y[20], -64 * 64);
}

}  // namespace
}  // namespace velmora::test
