#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "registration/call_support.h"
#include "registration/homography/projection.h"
#include "registration/synthetic_pairs.h"
#include "support/digest.h"
#include "velmora_sr/homography.h"
#include "velmora_sr/matching.h"

namespace velmora::test {
namespace {

constexpr tagRANSAC_PARAMS kUsual = {100, 12.0f, 0.9995f};
/// One call on pairs, which it changes.
struct Estimation {
  int32_t result = -99;
  std::array<float, 9> homography;
  std::string printed;

  explicit Estimation(Pairs& pairs, tagRANSAC_PARAMS params = kUsual) {
    homography.fill(-5.0f);
    auto scratch = pairs.scratch();
    std::fill(scratch.begin(), scratch.end(), static_cast<unsigned char>(0xA7));
    printed = printedBy([&] {
      result = RansacEstimation(&pairs.record, homography.data(), &params, scratch.data());
    });
    pairs.ref.resize(2 * static_cast<std::size_t>(pairs.record.count));
    pairs.match.resize(pairs.ref.size());
  }
};

const Motion kMotions[] = {
    shift(12.25, -7.5),
    tilted(4000, 3000, 3, 1, 0, 0, 0, 0),
    tilted(4000, 3000, -1, 1.04, 10, 20, 0, 0),
    tilted(4000, 3000, 0.5, 0.98, -15, 5, 5e-6, -4e-6),
};

TEST(RansacEstimation, GivesTheSameBitsOnEveryMachine) {
  // The digests are those of plain loops, written for clarity alone. Frames so small
  // that samples are refused for lying too close, or moved so far that it matters which frame's
  // points are compared; lattices, on which samples are refused for lying in a line.
  const struct {
    const char* name;
    Motion motion;
    double width, height;
    int count;
    double outlierShare, noise;
    int lattice;
    uint32_t digest;
  } cases[] = {
      {"photo", kMotions[3], 4000, 3000, 300, 0.3, 2, 1, 0xEE07CF3Cu},
      {"many outliers", kMotions[2], 4000, 3000, 300, 0.6, 1, 1, 0x8442D947u},
      {"few pairs", kMotions[1], 4000, 3000, 12, 0.2, 2, 1, 0x216A2700u},
      {"small frame", kMotions[0], 320, 240, 80, 0.2, 2, 1, 0x9B0F65ECu},
      {"large motion in a small frame", shift(-120, 80), 400, 300, 80, 0.2, 2, 1, 0xFB41535Cu},
      {"lattice", kMotions[0], 900, 700, 120, 0.2, 1, 100, 0x66845AA8u},
      {"fine lattice", shift(0, 0), 600, 600, 120, 0.1, 1, 12, 0xB8D58157u},
  };
  for (const auto& c : cases) {
    Digest digest;
    for (uint64_t seed = 500; seed < 530; ++seed) {
      Random random(seed);
      Pairs pairs;
      fill(pairs, {c.motion, c.width, c.height, c.count, c.outlierShare, c.noise, true}, random);
      for (std::size_t i = 0; i < pairs.ref.size(); ++i) {
        const auto step = static_cast<float>(c.lattice);
        const float moved = pairs.match[i] - pairs.ref[i];
        pairs.ref[i] = step * std::floor(pairs.ref[i] / step);
        pairs.match[i] = pairs.ref[i] + moved;
      }
      const Estimation estimation(pairs);
      digest.add(estimation.result);
      digest.addAll(estimation.printed);
      digest.addAll(estimation.homography);
      digest.addAll(pairs.ref);
      digest.addAll(pairs.match);
    }
    EXPECT_EQ(digest.value(), c.digest) << c.name;
  }
}

TEST(RansacEstimation, StopsWhenItIsConfident) {
  // All of 400 pairs follow: one sample is enough. 200 do: ln(1 - 0.9995) / ln(1 - 0.5^4) = 117.8,
  // so 118 iterations do once the model is found; certainty takes the smallest float as the chance
  // of a miss and ends after 1353.
  for (const auto& [followers, maxIters, confidence, iterations] :
       {std::tuple{400, 100, 0.9995f, 1},
        {400, 100, 1.0f, 1},
        {400, 100, 5.0f, 1},
        {400, 100, 0.0f, 1},
        {400, 100, -1.0f, 1},
        {200, 5000, 0.9995f, 118},
        {200, 5000, 1.0f, 1353},
        {200, 300, 1.0f, 300},
        {200, 150, NAN, 150}}) {
    Random random(301);
    Pairs pairs;
    fill(pairs, {.motion = shift(3, 4), .count = followers}, random);
    fill(pairs, {.motion = shift(3, 4), .count = 400 - followers, .outlierShare = 1}, random);
    EXPECT_THAT(Estimation(pairs, {maxIters, 12.0f, confidence}).printed,
                testing::StartsWith("ransac iteration count:" + std::to_string(iterations) + "\n"));
  }
}

TEST(RansacEstimation, CountsAnErrorOfTheThresholdAsInlier) {
  // One iteration: the threshold does not change the model. The squared error of one pair, taken as
  // the threshold, keeps this pair; the next smaller float drops it and no other.
  Random random(302);
  Pairs pairs;
  fill(pairs, {.motion = kMotions[3], .count = 60, .noise = 3}, random);
  const auto estimated = [&](float threshold) {
    Pairs copy(pairs.ref, pairs.match);
    return std::pair{Estimation(copy, {1, threshold, 0.9995f}).homography, copy.record.count};
  };
  const auto [h, count] = estimated(12);
  ASSERT_GT(count, 10);
  for (std::size_t i = 0; i < pairs.ref.size(); i += 2) {
    const auto p = project(h.data(), pairs.ref[i], pairs.ref[i + 1]);
    const float du = p.x - pairs.match[i], dv = p.y - pairs.match[i + 1];
    const float error = du * du + dv * dv;
    if (error < 1 || error > 12) continue;
    EXPECT_EQ(estimated(error).second, estimated(std::nextafter(error, 0.0f)).second + 1) << i;
  }
}

TEST(RansacEstimation, GivesUpOnListsWithoutAValidSample) {
  const std::vector<float> spread = {0, 0, 3000, 10, 2900, 2000, 20, 1900, 1500, 900};
  const std::vector<float> line = {0, 0, 500, 300, 1000, 600, 1500, 900, 2000, 1200};
  const std::vector<float> within141Pixels = {0, 0, 99, 0, 99, 99, 0, 99, 50, 20, 30, 70};
  const std::vector<float> three = {0, 0, 900, 0, 0, 900}, equal(10, 100.0f);
  const std::vector<float> noNumbers(40, NAN), infinite(40, INFINITY);
  for (const auto& [ref, match] : {std::pair{three, three},
                                   {equal, equal},
                                   {line, spread},
                                   {spread, line},
                                   {within141Pixels, within141Pixels},
                                   {noNumbers, noNumbers},
                                   {infinite, infinite},
                                   {{}, {}}}) {
    SCOPED_TRACE(testing::PrintToString(ref));
    Pairs pairs(ref, match);
    const Estimation estimation(pairs);
    EXPECT_EQ(estimation.result, -1);
    EXPECT_EQ(estimation.printed, "");
    EXPECT_THAT(estimation.homography, testing::Each(-5.0f));
    EXPECT_THAT(pairs.ref, testing::Pointwise(testing::NanSensitiveFloatEq(), ref));
    EXPECT_THAT(pairs.match, testing::Pointwise(testing::NanSensitiveFloatEq(), match));
  }
}

TEST(RansacEstimation, LeavesTheFirstFourWhenNoModelExplainsMore) {
  // Or fewer, where no iteration is allowed.
  for (const auto& [count, maxIters] : {std::pair{30, 100}, {9, 0}, {4, 0}, {2, 0}, {0, 0}}) {
    Random random(400);
    Pairs pairs;
    fill(pairs, {.motion = shift(0, 0), .count = count, .outlierShare = 1}, random);
    auto left = pairs.ref;
    left.resize(static_cast<std::size_t>(2 * std::min(count, 4)));
    const Estimation estimation(pairs, {maxIters, 12.0f, 0.9995f});
    EXPECT_EQ(estimation.result, 0);
    EXPECT_EQ(estimation.printed, "ransac iteration count:" + std::to_string(maxIters) +
                                      "\nfind inliner count:4/" + std::to_string(count) + "\n");
    EXPECT_EQ(pairs.ref, left);
    EXPECT_THAT(estimation.homography, testing::Each(-5.0f));
  }
}

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

TEST(RefineHomography, GivesTheSameBitsOnEveryMachine) {
  // The digests are those of plain forms of the fit and of the minimiser.
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
  const std::vector<float> column = {5, 0, 5, 10, 5, 20, 5, 70}, row = {5, 9, 4, 9, 80, 9, 2, 9};
  for (const auto& [ref, match] : {std::pair{square, point},
                                   {point, square},
                                   {square, column},
                                   {column, square},
                                   {square, row},
                                   {row, square},
                                   {{}, {}}}) {
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
struct Minimised {
  std::array<float, 9> h;
  double reported = -1;

  explicit Minimised(Pairs& pairs, std::array<float, 9> before = {}) : h(before) {
    auto scratch = pairs.scratch();
    tagRANSAC_PARAMS params = kUsual;
    const std::string printed = printedBy([&] {
      EXPECT_EQ(HomographyEstimation(&pairs.record, h.data(), &params, scratch.data()), 0);
    });
    const std::string key = "project error after lmmin:";
    const auto at = printed.find(key);
    if (at != std::string::npos) reported = std::stod(printed.substr(at + key.size()));
    EXPECT_THAT(printed, testing::EndsWith(key + std::to_string(reported) + "\n"));
  }
};

TEST(HomographyEstimation, ReportsWithTheRegisteredColumnInTheDenominator) {
  // With x' = 3 and H6 = 1 the report's denominator is 4, not the 2 of the reference column: the
  // error of (1, 2) -> (3, 4) reads |4 / 4 - 3| = 2 in x and 8 * 2 / 4 - 4 = 0 in y. RANSAC and the
  // refinement leave one pair and the homography alone.
  Pairs one({1, 2}, {3, 4}), none;
  EXPECT_EQ(Minimised(one, {4, 0, 0, 0, 8, 0, 1, 0, 1}).reported, 2.0);
  EXPECT_EQ(Minimised(none).reported, 0.0);
}

}  // namespace
}  // namespace velmora::test
