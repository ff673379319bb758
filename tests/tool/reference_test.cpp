#include "demo/reference.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "demo/quality.h"

namespace velmora::tool {
namespace {

TEST(Reference, BicubicPassesThroughTheSamplesAlongBothAxes) {
  // Half way: (-a + 9 b + 9 c - d) / 16, with the first sample once more before itself.
  const std::vector<uint8_t> expected = {10, 54, 90, 54, 30};
  for (const Size size : {Size{4, 1}, Size{1, 4}}) {
    Picture picture(size);
    picture.y.samples = {10, 90, 30, 200};
    const Plane enlarged = bicubicEnlarged(picture, {2 * size.width - 1, 2 * size.height - 1}).y;
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), enlarged.samples.begin()));
    EXPECT_EQ(enlarged.samples[6], 200);
  }
}

TEST(Reference, PsnrByHandAndWithoutTheMargin) {
  Plane other({2, 2});
  other.samples = {10, 0, 0, 10};
  EXPECT_NEAR(psnr(Plane({2, 2}), other), 10 * std::log10(65025.0 / 50), 1e-9);
  Plane framed({5, 5}, 7);
  framed.row(0)[3] = 200;
  framed.row(4)[4] = 0;
  EXPECT_TRUE(std::isinf(psnr(framed, Plane({5, 5}, 7), 1)));
}

TEST(Quality, ByHand) {
  const auto everywhere = [](int, int) { return true; };
  // Shifted by 10 everywhere: means 100 and 110, no variance, so the contrast term is 1.
  Quality quality = qualityOf(Plane({40, 32}, 110), Plane({40, 32}, 100), everywhere);
  constexpr double kC1 = 2.55 * 2.55;
  EXPECT_NEAR(quality.psnr, 10 * std::log10(65025.0 / 100), 1e-9);
  EXPECT_NEAR(quality.ssim, (2 * 110 * 100 + kC1) / (110 * 110 + 100 * 100 + kC1), 1e-9);

  // Stripes against their negative have a covariance of minus the variance.
  Plane stripes({40, 32}, 118);
  Plane negative({40, 32}, 138);
  for (int y = 0; y < 32; y += 2) {
    std::fill_n(stripes.row(y), 40, uint8_t{138});
    std::fill_n(negative.row(y), 40, uint8_t{118});
  }
  constexpr double kC2 = 7.65 * 7.65;
  quality = qualityOf(stripes, negative, everywhere);
  EXPECT_NEAR(quality.psnr, 10 * std::log10(65025.0 / 400), 1e-9);
  EXPECT_NEAR(quality.ssim, (-200 + kC2) / (200 + kC2), 1e-9);
}

TEST(Quality, CountsWantedWindowsOnly) {
  Plane damaged({64, 32}, 90);
  for (int y = 0; y < 32; ++y)
    std::fill_n(damaged.row(y), 30, uint8_t{0});
  const Plane truth({64, 32}, 90);
  EXPECT_TRUE(std::isinf(qualityOf(damaged, truth, [](int x, int) { return x >= 34; }).psnr));
  EXPECT_LT(qualityOf(damaged, truth, [](int, int) { return true; }).psnr, 20);
  EXPECT_EQ(qualityOf(damaged, truth, [](int, int) { return false; }).ssim, 0);
}

}  // namespace
}  // namespace velmora::tool
