#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "registration/plain_homography.h"
#include "registration/plain_minimiser.h"
#include "registration/synthetic_pairs.h"
#include "velmora_sr/homography.h"

namespace {

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;
using velmora::test::fill;
using velmora::test::Motion;
using velmora::test::Pairs;
using velmora::test::Random;
using velmora::test::shift;
using velmora::test::tilted;

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
  const struct {
    const char* name;
    Motion motion;
    double width, height;
    int count;
    double noise;
    bool wholePixels;
    double bound;
  } cases[] = {
      {"exact shift", shift(10.25, -3.5), 4000, 3000, 300, 0, false, 0.02},
      {"exact tilt", tilted(4000, 3000, 1, 1.02, 5, 6, 3e-6, 2e-6), 4000, 3000, 300, 0, false,
       0.05},
      {"noise", tilted(4000, 3000, 1, 1.02, 5, 6, 0, 0), 4000, 3000, 2000, 0.5, false, 0.1},
      {"whole pixels", shift(10.25, -3.5), 4000, 3000, 2000, 0.5, true, 0.15},
      {"small frame", shift(1.5, 2.25), 640, 480, 200, 0.5, true, 0.5},
      {"large frame", shift(51.5, 2.25), 12000, 9000, 4000, 1, true, 0.3},
      {"five pairs", shift(4, 4), 4000, 3000, 5, 0, false, 0.2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Random random(30);
    Pairs pairs;
    fill(pairs, {c.motion, c.width, c.height, c.count, 0, c.noise, c.wholePixels}, random);
    auto scratch = pairs.scratch();
    std::array<float, 9> h{};
    RefineHomography(&pairs.record, h.data(), scratch.data());
    const double error = c.motion.cornerError(h.data(), c.width, c.height);
    RecordProperty(std::string("corner error, ") + c.name, std::to_string(error));
    EXPECT_LT(error, c.bound);
    EXPECT_FLOAT_EQ(h[8], 1.0f);
  }
}

/// The linear fit, the minimiser over the stated residuals, the last entry brought to 1.
std::array<float, 9> plainRefinement(const Pairs& pairs) {
  const auto residuals = [&](const std::vector<float>& h, std::vector<float>& f) {
    for (std::size_t i = 0; i < f.size(); i += 2) {
      const float x = pairs.ref[i];
      const float y = pairs.ref[i + 1];
      const float w = 1 / (std::fma(h[7], y, h[6] * x) + h[8]);
      f[i] = std::fma(w, std::fma(h[1], y, h[0] * x) + h[2], -pairs.match[i]);
      f[i + 1] = std::fma(w, std::fma(h[4], y, h[3] * x) + h[5], -pairs.match[i + 1]);
    }
  };
  const auto linear = velmora::test::plainFit(pairs.ref, pairs.match, 81 * 30).value();
  const auto found = velmora::test::PlainMinimiser::minimise(
      residuals, static_cast<int>(pairs.ref.size()), {linear.begin(), linear.end()},
      {1e-10f, 1e-10f, 1e-10f, 1e-10f, 10.0f, 0, 20, 0, 0});
  const float scale = 1 / found.x[8];
  std::array<float, 9> h;
  std::transform(found.x.begin(), found.x.end(), h.begin(), [=](float e) { return e * scale; });
  return h;
}

TEST(RefineHomography, EqualsThePlainRefinementToTheBit) {
  const Motion motions[] = {shift(10.25, -3.5), tilted(4000, 3000, 1, 1.02, 5, 6, 3e-6, 2e-6),
                            tilted(4000, 3000, 0, 1, 0, 0, 1e-4, 5e-5),
                            tilted(640, 480, 0.4, 1.002, 2, -1, 1e-5, -2e-5)};
  for (const Motion& motion : motions) {
    for (const int count : {5, 17, 60, 500}) {
      for (const double noise : {0.5, 3.0}) {
        SCOPED_TRACE(testing::Message() << "motion " << &motion - motions << ", " << count
                                        << " pairs, noise " << noise);
        Random random(34);
        Pairs pairs;
        fill(pairs, {.motion = motion, .count = count, .noise = noise, .wholePixels = true},
             random);
        auto scratch = pairs.scratch();
        std::array<float, 9> h{};
        RefineHomography(&pairs.record, h.data(), scratch.data());
        EXPECT_EQ(h, plainRefinement(pairs));
      }
    }
  }
}

TEST(RefineHomography, LowersTheReprojectionError) {
  // A strong tilt with noise: the linear fit minimises an algebraic error, the refinement the
  // distances themselves.
  Random random(31);
  Pairs pairs;
  fill(pairs, {.motion = tilted(4000, 3000, 0, 1, 0, 0, 1e-4, 5e-5), .noise = 3}, random);
  const auto sumOfSquares = [&](const std::array<float, 9>& h) {
    std::vector<float> residuals(pairs.ref.size());
    int32_t info = 0;
    std::array<float, 9> copy = h;
    LM_Evaluate(copy.data(), static_cast<int32_t>(residuals.size()), residuals.data(),
                &pairs.record, &info);
    double sum = 0;
    for (const float r : residuals)
      sum += double{r} * r;
    return sum;
  };
  auto scratch = pairs.scratch();
  std::array<float, 9> refined{};
  RefineHomography(&pairs.record, refined.data(), scratch.data());
  std::array<float, 9> truth{};
  const Motion motion = tilted(4000, 3000, 0, 1, 0, 0, 1e-4, 5e-5);
  std::transform(motion.h.begin(), motion.h.end(), truth.begin(),
                 [](double entry) { return static_cast<float>(entry); });
  EXPECT_LT(sumOfSquares(refined), sumOfSquares(truth));
}

TEST(RefineHomography, LeavesTheHomographyAloneWithoutALinearFit) {
  const std::vector<float> square = {0, 0, 100, 0, 100, 100, 0, 100, 50, 20};
  const std::vector<float> point(10, 7.0f);
  for (const auto& [ref, match] :
       {std::pair{square, point}, {point, square}, {std::vector<float>{}, std::vector<float>{}}}) {
    Pairs pairs(ref, match);
    auto scratch = pairs.scratch();
    std::array<float, 9> h;
    h.fill(3.0f);
    RefineHomography(&pairs.record, h.data(), scratch.data());
    EXPECT_THAT(h, testing::Each(3.0f));
  }
}

TEST(RefineHomography, TakesTheLinearFitOfFourPairs) {
  Pairs pairs({0, 0, 100, 0, 100, 100, 0, 100}, {10, 5, 110, 5, 110, 105, 10, 105});
  auto scratch = pairs.scratch();
  std::array<float, 9> h{};
  RefineHomography(&pairs.record, h.data(), scratch.data());
  EXPECT_LT(shift(10, 5).cornerError(h.data(), 101, 101), 1e-3);
}

TEST(RefineHomography, EndsForDegeneratePairs) {
  std::vector<float> line;
  for (int i = 0; i < 40; ++i)
    line.insert(line.end(), {10.0f * static_cast<float>(i), 7.0f * static_cast<float>(i)});
  std::vector<float> broken = line;
  broken[11] = NAN;
  std::vector<float> huge = line;
  for (float& value : huge)
    value *= 1e36f;
  for (const auto* points : {&line, &broken, &huge}) {
    Pairs pairs(*points, *points);
    auto scratch = pairs.scratch();
    std::array<float, 9> h{};
    RefineHomography(&pairs.record, h.data(), scratch.data());  // ends, whatever it gives
  }
}

TEST(HomographyEstimation, FiltersRefinesAndReports) {
  Random random(32);
  const Motion motion = tilted(4000, 3000, 0.5, 1.01, 20, -11, 0, 0);
  Pairs pairs;
  fill(pairs, {.motion = motion, .outlierShare = 0.4, .noise = 0.5}, random);
  auto scratch = pairs.scratch();
  std::array<float, 9> h{};
  tagRANSAC_PARAMS params = {100, 12.0f, 0.9995f};
  CaptureStdout();
  EXPECT_EQ(HomographyEstimation(&pairs.record, h.data(), &params, scratch.data()), 0);
  const std::string printed = GetCapturedStdout();
  EXPECT_LT(motion.cornerError(h.data(), 4000, 3000), 0.3);
  EXPECT_LT(pairs.record.count, 300);
  // Errors uniform in +-0.5 per axis are 0.38 pixels long on average.
  const std::string key = "project error after lmmin:";
  const auto at = printed.find(key);
  ASSERT_NE(at, std::string::npos) << printed;
  EXPECT_NEAR(std::stod(printed.substr(at + key.size())), 0.38, 0.03);
}

TEST(HomographyEstimation, GivesTheSameBitsOnEveryMachine) {
  // Whole numbers only, so that the input is the same everywhere; the values are those of x86-64,
  // and what the ARM builds must give as well.
  Random random(33);
  Pairs pairs;
  for (int i = 0; i < 300; ++i) {
    const auto x = static_cast<double>(random.range(0, 3999));
    const auto y = static_cast<double>(random.range(0, 2999));
    const double shear = std::floor(y / 64);
    const bool follows = i % 3 != 0;
    const double dx = follows ? static_cast<double>(random.range(-1, 1)) + shear : 400;
    const double dy = follows ? static_cast<double>(random.range(-1, 1)) - 7 : 90.0 * (i % 7);
    pairs.add({x, y}, {x + dx, y + dy}, follows);
  }
  auto scratch = pairs.scratch();
  std::array<float, 9> h{};
  tagRANSAC_PARAMS params = {100, 12.0f, 0.9995f};
  HomographyEstimation(&pairs.record, h.data(), &params, scratch.data());
  std::array<uint32_t, 9> bits;
  std::memcpy(bits.data(), h.data(), sizeof bits);
  EXPECT_EQ(pairs.record.count, 198);
  EXPECT_EQ(bits,
            (std::array<uint32_t, 9>{1065353507, 1015112449, 3209518371, 3089606742, 1065352005,
                                     3235349013, 2995770549, 842948366, 1065353216}));
}

TEST(HomographyEstimation, ReportsWithTheRegisteredColumnInTheDenominator) {
  // With x' = 3 and H6 = 1 the report's denominator is 4, not the 2 of the reference column: the
  // error of (1, 0) -> (3, 0) reads |4 / 4 - 3| = 2. RANSAC and the refinement leave one pair and
  // the homography alone.
  Pairs pairs({1, 0}, {3, 0});
  std::array<float, 9> h = {4, 0, 0, 0, 1, 0, 1, 0, 1};
  tagRANSAC_PARAMS params = {100, 12.0f, 0.9995f};
  auto scratch = pairs.scratch();
  CaptureStdout();
  EXPECT_EQ(HomographyEstimation(&pairs.record, h.data(), &params, scratch.data()), 0);
  EXPECT_EQ(GetCapturedStdout(), "project error after lmmin:2.000000\n");
}

TEST(HomographyEstimation, ReportsZeroWithoutPairs) {
  Pairs pairs;
  std::array<float, 9> h{};
  tagRANSAC_PARAMS params = {100, 12.0f, 0.9995f};
  auto scratch = pairs.scratch();
  CaptureStdout();
  EXPECT_EQ(HomographyEstimation(&pairs.record, h.data(), &params, scratch.data()), 0);
  EXPECT_EQ(GetCapturedStdout(), "project error after lmmin:0.000000\n");
}

}  // namespace
