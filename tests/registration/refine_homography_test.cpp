#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "registration/call_support.h"
#include "registration/synthetic_pairs.h"
#include "support/digest.h"
#include "velmora_sr/homography.h"

namespace velmora::test {
namespace {

constexpr tagRANSAC_PARAMS kParams = {100, 12.0f, 0.9995f};

std::array<float, 9> refined(Pairs& pairs, std::array<float, 9> h = {}) {
  auto scratch = pairs.scratch();
  RefineHomography(&pairs.record, h.data(), scratch.data());
  return h;
}

TEST(LmEvaluate, GivesTheErrorsOfEachPair) {
  // Projected to w = 2: exact in floats.
  Pairs pairs({2, 4, 10, 6}, {1, 1, 3, 3});
  float h[9] = {2, 0, 4, 0, 3, 2, 0, 0, 2};
  std::array<float, 5> residuals = {9, 9, 9, 9, 9};
  int32_t info = 7;
  LM_Evaluate(h, 4, residuals.data(), &pairs.record, &info);
  EXPECT_THAT(residuals, testing::ElementsAre(4 - 1, 7 - 1, 12 - 3, 10 - 3, 9));
  EXPECT_EQ(info, 7);
}

TEST(RefineHomography, FindsTheMotionBelowAPixel) {
  // Exact pairs, noise, whole pixels; the bound of the error at the corners.
  const Motion tilt = tilted(4000, 3000, 1, 1.02, 5, 6, 3e-6, 2e-6);
  for (const auto& [recipe, bound] :
       {std::pair{PairsRecipe{shift(10.25, -3.5), 4000, 3000, 300, 0, 0, false}, 0.02},
        {{tilt, 4000, 3000, 300, 0, 0, false}, 0.05},
        {{shift(10.25, -3.5), 4000, 3000, 2000, 0, 0.5, true}, 0.15},
        {{shift(1.5, 2.25), 640, 480, 200, 0, 0.5, true}, 0.5},
        {{shift(51.5, 2.25), 12000, 9000, 4000, 0, 1, true}, 0.3},
        {{shift(4, 4), 4000, 3000, 5, 0, 0, false}, 0.2}}) {
    Random random(30);
    Pairs pairs;
    fill(pairs, recipe, random);
    const auto h = refined(pairs);
    EXPECT_LT(recipe.motion.cornerError(h.data(), recipe.width, recipe.height), bound);
    EXPECT_FLOAT_EQ(h[8], 1.0f);
  }
}

TEST(RefineHomography, GivesTheSameBitsOnEveryMachine) {
  // The digests are those of a second implementation of the fit and of the minimiser.
  for (const auto& [motion, expected] :
       {std::pair{shift(10.25, -3.5), 0x6FF94F17u},
        {tilted(4000, 3000, 1, 1.02, 5, 6, 3e-6, 2e-6), 0xB37A6C74u},
        {tilted(4000, 3000, 0, 1, 0, 0, 1e-4, 5e-5), 0xDE0FAA47u},
        {tilted(640, 480, 0.4, 1.002, 2, -1, 1e-5, -2e-5), 0xFB919F75u}}) {
    Digest digest;
    for (const int count : {5, 17, 60, 500}) {
      for (const double noise : {0.5, 3.0}) {
        Random random(34);
        Pairs pairs;
        fill(pairs, {.motion = motion, .count = count, .noise = noise, .wholePixels = true},
             random);
        digest.addAll(refined(pairs));
      }
    }
    EXPECT_EQ(digest.value(), expected);
  }
}

TEST(RefineHomography, TakesWhatTheLinearFitGivesOrNothing) {
  const std::vector<float> square = {0, 0, 100, 0, 100, 100, 0, 100}, point(8, 7.0f);
  Pairs four(square, {10, 5, 110, 5, 110, 105, 10, 105});  // no more than the unknowns
  EXPECT_LT(shift(10, 5).cornerError(refined(four).data(), 101, 101), 1e-3);
  std::array<float, 9> before;
  before.fill(3.0f);
  for (const auto& [ref, match] : {std::pair{square, point}, {point, square}, {{}, {}}}) {
    Pairs pairs(ref, match);
    EXPECT_EQ(refined(pairs, before), before);
  }
  // On a line, with a value that is no number, and with some that no square holds: it ends.
  std::vector<float> line;
  for (int i = 0; i < 80; ++i)
    line.push_back(static_cast<float>((i % 2 == 0 ? 5 : 7) * i));
  for (const float value : {line[11], NAN, 1e37f}) {
    line[11] = value;
    Pairs pairs(line, line);
    refined(pairs);
  }
}

/// What a call makes of a homography, and the mean error that it prints.
struct Estimation {
  std::array<float, 9> h;
  double reported = -1;

  explicit Estimation(Pairs& pairs, std::array<float, 9> before = {}) : h(before) {
    auto scratch = pairs.scratch();
    tagRANSAC_PARAMS params = kParams;
    const std::string printed = printedBy([&] {
      EXPECT_EQ(HomographyEstimation(&pairs.record, h.data(), &params, scratch.data()), 0);
    });
    const std::string key = "project error after lmmin:";
    const auto at = printed.find(key);
    if (at != std::string::npos) reported = std::stod(printed.substr(at + key.size()));
    EXPECT_THAT(printed, testing::EndsWith(key + std::to_string(reported) + "\n"));
  }
};

TEST(HomographyEstimation, GivesTheSameBitsOnEveryMachine) {
  // Whole numbers only, so that the input is the same everywhere.
  Random random(33);
  Pairs pairs;
  for (int i = 0; i < 300; ++i) {
    const auto x = static_cast<double>(random.range(0, 3999));
    const auto y = static_cast<double>(random.range(0, 2999));
    double dx = 400, dy = 90.0 * (i % 7);
    if (i % 3 != 0) {
      dx = static_cast<double>(random.range(-1, 1)) + std::floor(y / 64);
      dy = static_cast<double>(random.range(-1, 1)) - 7;
    }
    pairs.add({x, y}, {x + dx, y + dy});
  }
  const Estimation estimation(pairs);
  EXPECT_EQ(pairs.record.count, 198);
  EXPECT_NEAR(estimation.reported, 1.12, 0.05);  // of the steps and of the rounded shear
  EXPECT_EQ(digestOf(estimation.h), 3212276487u);
}

TEST(HomographyEstimation, ReportsWithTheRegisteredColumnInTheDenominator) {
  // With x' = 3 and H6 = 1 the report's denominator is 4, not the 2 of the reference column: the
  // error of (1, 0) -> (3, 0) reads |4 / 4 - 3| = 2. RANSAC and the refinement leave one pair and
  // the homography alone.
  Pairs one({1, 0}, {3, 0}), none;
  EXPECT_EQ(Estimation(one, {4, 0, 0, 0, 1, 0, 1, 0, 1}).reported, 2.0);
  EXPECT_EQ(Estimation(none).reported, 0.0);
}

}  // namespace
}  // namespace velmora::test
