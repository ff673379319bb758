#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "registration/plain_homography.h"
#include "registration/synthetic_pairs.h"
#include "velmora_sr/homography.h"
#include "velmora_sr/matching.h"

namespace {

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;
using velmora::test::fill;
using velmora::test::Motion;
using velmora::test::Pairs;
using velmora::test::PairsRecipe;
using velmora::test::PlainRansac;
using velmora::test::Random;
using velmora::test::shift;
using velmora::test::tilted;

constexpr tagRANSAC_PARAMS kUsual = {100, 12.0f, 0.9995f};
/// Enough for samples without an outlier at 60 % outliers: 1 - (1 - 0.4^4)^1000 misses 1 in 10^11.
constexpr tagRANSAC_PARAMS kPatient = {1000, 12.0f, 0.9995f};

struct Outcome {
  int32_t result;
  std::array<float, 9> homography;
  std::string printed;
};

Outcome run(Pairs& pairs, tagRANSAC_PARAMS params = kUsual) {
  Outcome outcome = {};
  outcome.homography.fill(-5.0f);
  auto scratch = pairs.scratch();
  std::fill(scratch.begin(), scratch.end(), static_cast<unsigned char>(0xA7));
  CaptureStdout();
  outcome.result =
      RansacEstimation(&pairs.record, outcome.homography.data(), &params, scratch.data());
  outcome.printed = GetCapturedStdout();
  return outcome;
}

const Motion kMotions[] = {
    shift(0, 0),
    shift(12.25, -7.5),
    shift(-120.75, 80.5),
    tilted(4000, 3000, 3, 1, 0, 0, 0, 0),
    tilted(4000, 3000, -1, 1.04, 10, 20, 0, 0),
    tilted(4000, 3000, 0.5, 0.98, -15, 5, 5e-6, -4e-6),
};

TEST(RansacEstimation, KeepsExactlyTheInliersOfExactPairs) {
  uint64_t seed = 100;
  for (const Motion& motion : kMotions) {
    for (const double outliers : {0.0, 0.2, 0.4, 0.6}) {
      SCOPED_TRACE(testing::Message()
                   << "motion " << &motion - kMotions << " outliers " << outliers);
      Random random(seed++);
      Pairs pairs;
      fill(pairs, {.motion = motion, .outlierShare = outliers}, random);
      std::vector<float> ref, match;
      for (std::size_t i = 0; i < pairs.inlier.size(); ++i) {
        if (!pairs.inlier[i]) continue;
        ref.insert(ref.end(), {pairs.ref[2 * i], pairs.ref[2 * i + 1]});
        match.insert(match.end(), {pairs.match[2 * i], pairs.match[2 * i + 1]});
      }
      const Outcome outcome = run(pairs, kPatient);
      EXPECT_EQ(outcome.result, 0);
      ASSERT_EQ(pairs.record.count, static_cast<int32_t>(ref.size() / 2));
      pairs.ref.resize(ref.size());
      pairs.match.resize(match.size());
      EXPECT_EQ(pairs.ref, ref);
      EXPECT_EQ(pairs.match, match);
      EXPECT_THAT(
          outcome.printed,
          testing::EndsWith("\nfind inliner count:" + std::to_string(ref.size() / 2) + "/400\n"));
      EXPECT_LT(motion.cornerError(outcome.homography.data(), 4000, 3000), 1.0);
      EXPECT_EQ(outcome.homography[8], 1.0f);
    }
  }
}

TEST(RansacEstimation, NeverKeepsFarOutliersUnderNoise) {
  uint64_t seed = 200;
  for (const Motion& motion : kMotions) {
    for (const double outliers : {0.0, 0.3, 0.6}) {
      SCOPED_TRACE(testing::Message()
                   << "motion " << &motion - kMotions << " outliers " << outliers);
      Random random(seed++);
      Pairs pairs;
      fill(pairs, {.motion = motion, .outlierShare = outliers, .noise = 0.5, .wholePixels = true},
           random);
      const auto inliers = std::count(pairs.inlier.begin(), pairs.inlier.end(), true);
      run(pairs, kPatient);
      int32_t wrong = 0;
      for (int32_t i = 0; i < pairs.record.count; ++i) {
        const auto k = static_cast<std::size_t>(2 * i);
        const auto to = motion.apply({pairs.ref[k], pairs.ref[k + 1]});
        if (std::hypot(to.x - pairs.match[k], to.y - pairs.match[k + 1]) > 20) ++wrong;
      }
      EXPECT_EQ(wrong, 0);
      EXPECT_GT(pairs.record.count, inliers * 8 / 10);
    }
  }
}

/// What the plain implementation leaves of the pairs, and what it prints.
void expectPlainResult(Pairs& pairs, tagRANSAC_PARAMS params) {
  const PlainRansac plain(pairs.ref, pairs.match, params);
  std::vector<float> ref, match;
  for (std::size_t i = 0; i < plain.kept.size(); ++i) {
    if (!plain.kept[i] && !plain.gaveUp) continue;
    ref.insert(ref.end(), {pairs.ref[2 * i], pairs.ref[2 * i + 1]});
    match.insert(match.end(), {pairs.match[2 * i], pairs.match[2 * i + 1]});
  }
  const auto count = std::to_string(plain.kept.size());
  const Outcome outcome = run(pairs, params);
  EXPECT_EQ(outcome.result, plain.gaveUp ? -1 : 0);
  if (plain.gaveUp) {
    EXPECT_EQ(pairs.record.count, static_cast<int32_t>(plain.kept.size()));
    return;
  }
  EXPECT_EQ(outcome.printed, "ransac iteration count:" + std::to_string(plain.iterations) +
                                 "\nfind inliner count:" + std::to_string(plain.inliers) + "/" +
                                 count + "\n");
  if (plain.inliers == 4) return;  // no model: what stands in the first four is of no use
  EXPECT_EQ(outcome.homography, plain.homography);
  ASSERT_EQ(pairs.record.count, static_cast<int32_t>(ref.size() / 2));
  pairs.ref.resize(ref.size());
  pairs.match.resize(match.size());
  EXPECT_EQ(pairs.ref, ref);
  EXPECT_EQ(pairs.match, match);
}

TEST(RansacEstimation, EqualsThePlainImplementation) {
  // Frames so small that samples are refused for lying too close, or moved so far that it matters
  // which frame's points are compared; lattices, on which samples are refused for lying in a line.
  const struct {
    const char* name;
    Motion motion;
    double width, height;
    int count;
    double outlierShare, noise;
    int lattice;
  } cases[] = {
      {"photo", kMotions[5], 4000, 3000, 300, 0.3, 2, 1},
      {"many outliers", kMotions[4], 4000, 3000, 300, 0.6, 1, 1},
      {"few pairs", kMotions[3], 4000, 3000, 12, 0.2, 2, 1},
      {"small frame", kMotions[1], 320, 240, 80, 0.2, 2, 1},
      {"large motion in a small frame", shift(-120, 80), 400, 300, 80, 0.2, 2, 1},
      {"lattice", kMotions[1], 900, 700, 120, 0.2, 1, 100},
      {"fine lattice", kMotions[0], 600, 600, 120, 0.1, 1, 12},
  };
  for (const auto& c : cases) {
    for (uint64_t seed = 500; seed < 530; ++seed) {
      SCOPED_TRACE(testing::Message() << c.name << ", seed " << seed);
      Random random(seed);
      Pairs pairs;
      fill(pairs, {c.motion, c.width, c.height, c.count, c.outlierShare, c.noise, true}, random);
      for (std::size_t i = 0; i < pairs.ref.size(); ++i) {
        const auto step = static_cast<float>(c.lattice);
        const float moved = pairs.match[i] - pairs.ref[i];
        pairs.ref[i] = step * std::floor(pairs.ref[i] / step);
        pairs.match[i] = pairs.ref[i] + moved;
      }
      expectPlainResult(pairs, kUsual);
    }
  }
}

TEST(RansacEstimation, StopsWhenItIsConfident) {
  // All pairs agree: one sample is enough. Wanting certainty takes the smallest float as the
  // chance of a miss, which changes nothing without outliers.
  for (const float confidence : {0.9995f, 1.0f, 5.0f, 0.0f, -1.0f}) {
    Random random(300);
    Pairs pairs;
    fill(pairs, {.motion = shift(3, 4)}, random);
    EXPECT_THAT(run(pairs, {100, 12.0f, confidence}).printed,
                testing::StartsWith("ransac iteration count:1\n"));
  }
  // 200 of 400 pairs follow: ln(1 - 0.9995) / ln(1 - 0.5^4) = 117.8, so 118 iterations do once the
  // model is found; no confidence at all ends with the first model, certainty after 1353.
  const struct {
    int32_t maxIters;
    float confidence;
    const char* printed;
  } cases[] = {{5000, 0.9995f, "ransac iteration count:118\n"},
               {5000, 1.0f, "ransac iteration count:1353\n"},
               {300, 1.0f, "ransac iteration count:300\n"},
               {150, NAN, "ransac iteration count:150\n"}};
  for (const auto& c : cases) {
    Random random(301);
    Pairs pairs;
    while (std::count(pairs.inlier.begin(), pairs.inlier.end(), true) < 200)
      fill(pairs, {.motion = shift(3, 4), .count = 1}, random);
    while (pairs.inlier.size() < 400)
      fill(pairs, {.motion = shift(3, 4), .count = 1, .outlierShare = 1}, random);
    EXPECT_THAT(run(pairs, {c.maxIters, 12.0f, c.confidence}).printed,
                testing::StartsWith(c.printed));
  }
}

TEST(RansacEstimation, ComparesTheSquaredErrorWithTheThreshold) {
  // Eight exact pairs, then one off by a known distance: an inlier up to the threshold, inclusive.
  for (const auto& [threshold, kept] : {std::pair{9.5f, 9}, {8.5f, 8}}) {
    Pairs pairs;
    for (int i = 0; i < 8; ++i) {
      const velmora::test::Position p = {500.0 * (i % 3) + 10 * i, 700.0 * (i / 3) + 31 * (i % 4)};
      pairs.add(p, p, true);
    }
    pairs.add({777, 333}, {777, 336}, false);
    run(pairs, {100, threshold, 0.9995f});
    EXPECT_EQ(pairs.record.count, kept);
  }
}

TEST(RansacEstimation, CountsAnErrorOfTheThresholdAsInlier) {
  // One iteration: the threshold does not change the model. The error of one pair under it, taken
  // as the threshold, keeps this pair; the next smaller float drops it and no other.
  Random random(302);
  Pairs pairs;
  fill(pairs, {.motion = kMotions[5], .count = 60, .noise = 3}, random);
  const std::vector<float> ref = pairs.ref;
  const std::vector<float> match = pairs.match;
  const PlainRansac plain(ref, match, {1, 12.0f, 0.9995f});
  ASSERT_GT(plain.inliers, 10);
  for (std::size_t i = 0; i < plain.kept.size(); ++i) {
    const float error = velmora::test::squaredError(ref, match, i, plain.homography);
    if (!plain.kept[i] || error < 1) continue;
    const auto keptAt = [&](float threshold) {
      Pairs again(ref, match);
      run(again, {1, threshold, 0.9995f});
      return again.record.count;
    };
    EXPECT_EQ(keptAt(error), keptAt(std::nextafter(error, 0.0f)) + 1) << i;
  }
}

TEST(RansacEstimation, GivesUpOnListsWithoutAValidSample) {
  const auto line = [](int count, float dx, float dy) {
    std::vector<float> points;
    for (int i = 0; i < count; ++i) {
      points.push_back(100 + static_cast<float>(i) * dx);
      points.push_back(50 + static_cast<float>(i) * dy);
    }
    return points;
  };
  std::vector<float> spread = {0, 0, 3000, 10, 2900, 2000, 20, 1900, 1500, 900};
  const struct {
    const char* name;
    std::vector<float> ref, match;
  } cases[] = {
      {"none", {}, {}},
      {"three", {0, 0, 900, 0, 0, 900}, {0, 0, 900, 0, 0, 900}},
      {"all equal", line(50, 0, 0), line(50, 0, 0)},
      {"collinear", line(50, 200, 130), line(50, 200, 130)},
      {"collinear in the registered picture only", spread, line(5, 500, 300)},
      {"all within 141 pixels",
       {0, 0, 99, 0, 99, 99, 0, 99, 50, 20, 30, 70},
       {0, 0, 99, 0, 99, 99, 0, 99, 50, 20, 30, 70}},
      {"not numbers", std::vector<float>(40, NAN), std::vector<float>(40, NAN)},
      {"infinite", std::vector<float>(40, INFINITY), std::vector<float>(40, -INFINITY)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Pairs pairs(c.ref, c.match);
    const Outcome outcome = run(pairs);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.printed, "");
    EXPECT_THAT(outcome.homography, testing::Each(-5.0f));
    EXPECT_EQ(pairs.record.count, static_cast<int32_t>(c.ref.size() / 2));
    if (!std::isnan(c.ref.empty() ? 0 : c.ref[0])) {
      EXPECT_EQ(pairs.ref, c.ref);
      EXPECT_EQ(pairs.match, c.match);
    }
  }
}

TEST(RansacEstimation, LeavesTheFirstFourWhenNoModelExplainsMore) {
  Random random(400);
  Pairs pairs;
  fill(pairs, {.motion = shift(0, 0), .count = 30, .outlierShare = 1}, random);
  const std::vector<float> ref = pairs.ref;
  const std::vector<float> match = pairs.match;
  const Outcome outcome = run(pairs);
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.printed, "ransac iteration count:100\nfind inliner count:4/30\n");
  EXPECT_EQ(pairs.record.count, 4);
  EXPECT_EQ(pairs.ref, ref);
  EXPECT_EQ(pairs.match, match);
  EXPECT_THAT(outcome.homography, testing::Each(-5.0f));
}

TEST(RansacEstimation, RunsNoIterationWhenNoneIsAllowed) {
  for (const int32_t count : {0, 2, 4, 9}) {
    Random random(401);
    Pairs pairs;
    fill(pairs, {.motion = shift(0, 0), .count = count}, random);
    const Outcome outcome = run(pairs, {0, 12.0f, 0.9995f});
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(pairs.record.count, std::min(count, 4));  // never more than there are
  }
}

TEST(RansacEstimation, GivesTheSameBitsEveryTime) {
  std::array<float, 9> first{};
  for (int round = 0; round < 2; ++round) {
    Random random(402);
    Pairs pairs;
    fill(pairs, {.motion = kMotions[5], .outlierShare = 0.5, .noise = 0.5}, random);
    const Outcome outcome = run(pairs);
    if (round == 0) first = outcome.homography;
    EXPECT_EQ(outcome.homography, first);
  }
}

}  // namespace
