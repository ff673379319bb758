// RANSAC: the homography that most pairs agree with, from samples of four pairs.
//
// Fischler and Bolles, "Random sample consensus" (1981), with the number of iterations adapted to
// the share of inliers found so far.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <optional>
#include <utility>

#include "common/float_to_int.h"
#include "logging/log.h"
#include "registration/homography/homography_fit.h"
#include "registration/homography/natural_logarithm.h"
#include "registration/homography/projection.h"
#include "registration/matching/multiply_with_carry.h"
#include "registration/source/ransac.h"
#include "velmora_sr/matching.h"

namespace {

using velmora::fitHomography;
using velmora::Matrix3;
using velmora::Point;
using velmora::truncateToInt;

constexpr int32_t kSampleSize = 4;
constexpr int32_t kMaxAttempts = 100;
constexpr int64_t kMinSquaredDistance = 20000;
constexpr int32_t kEigenSweeps = 2;

Point pointAt(const float* points, ptrdiff_t index) {
  return {points[2 * index], points[2 * index + 1]};
}

/// Whole-pixel difference of two points, each coordinate cut toward zero.
struct Offset {
  int64_t x;
  int64_t y;
  Offset(Point to, Point from) : x(truncateToInt(to.x - from.x)), y(truncateToInt(to.y - from.y)) {}
};

/// Compares across the pictures, a registered point with a reference point: the pictures are taken
/// to overlap roughly, so that this spreads the sample in both at once.
bool tooClose(Point registered, Point reference) {
  const Offset d(registered, reference);
  // Each square stays below 2^62, their sum within 2^63.
  return static_cast<uint64_t>(d.x * d.x) + static_cast<uint64_t>(d.y * d.y) <
         static_cast<uint64_t>(kMinSquaredDistance);
}

/// Four pairs: x, y values of each picture's points.
struct Sample {
  std::array<float, 2 * kSampleSize> ref;
  std::array<float, 2 * kSampleSize> match;
};

/// Draws four pairs; stops at the first that repeats an earlier one or comes too close to it.
bool drawPairs(const tagST_MATCH_PAIRS& pairs, unsigned long long& random, Sample& sample) {
  std::array<uint32_t, kSampleSize> indices;
  for (std::size_t i = 0; i < kSampleSize; ++i) {
    indices[i] = velmora::nextRandom(random) % static_cast<uint32_t>(pairs.count);
    const Point ref = pointAt(pairs.refPoints, static_cast<ptrdiff_t>(indices[i]));
    const Point match = pointAt(pairs.matchPoints, static_cast<ptrdiff_t>(indices[i]));
    for (std::size_t earlier = 0; earlier < i; ++earlier) {
      if (indices[i] == indices[earlier]) return false;
      if (tooClose(match, pointAt(sample.ref.data(), static_cast<ptrdiff_t>(earlier))))
        return false;
    }
    sample.ref[2 * i] = ref.x;
    sample.ref[2 * i + 1] = ref.y;
    sample.match[2 * i] = match.x;
    sample.match[2 * i + 1] = match.y;
  }
  return true;
}

bool collinear(Point corner, Point first, Point second) {
  const Offset d1(first, corner);
  const Offset d2(second, corner);
  // In double: exact for all coordinates below 2^26, and without overflow beyond.
  const double area = std::abs(static_cast<double>(d2.x) * static_cast<double>(d1.y) -
                               static_cast<double>(d2.y) * static_cast<double>(d1.x));
  const auto span =
      static_cast<double>(std::abs(d1.x) + std::abs(d1.y) + std::abs(d2.x) + std::abs(d2.y));
  return area <= 0.1 * span;
}

bool anyCollinear(const std::array<float, 2 * kSampleSize>& points) {
  for (int i = 2; i < kSampleSize; ++i) {
    for (int j = 1; j < i; ++j) {
      for (int k = 0; k < j; ++k) {
        if (collinear(pointAt(points.data(), i), pointAt(points.data(), j),
                      pointAt(points.data(), k))) {
          return true;
        }
      }
    }
  }
  return false;
}

/// A sample that can carry a model; nothing when a hundred attempts gave none.
std::optional<Sample> drawSample(const tagST_MATCH_PAIRS& pairs, unsigned long long& random) {
  if (pairs.count < kSampleSize) return std::nullopt;
  Sample sample;
  for (int32_t attempt = 0; attempt < kMaxAttempts; ++attempt) {
    if (drawPairs(pairs, random, sample) && !anyCollinear(sample.ref) &&
        !anyCollinear(sample.match)) {
      return sample;
    }
  }
  return std::nullopt;
}

struct Score {
  int32_t inliers;
  float errorSum;

  [[nodiscard]] bool beats(const Score& other) const {
    return inliers > other.inliers || (inliers == other.inliers && errorSum < other.errorSum);
  }
};

/// Marks the inliers of a model in the mask.
Score scoreModel(const tagST_MATCH_PAIRS& pairs, const Matrix3& model, float threshold,
                 unsigned char* mask) {
  Score score = {0, 0.0f};
  for (ptrdiff_t i = 0; i < pairs.count; ++i) {
    const Point ref = pointAt(pairs.refPoints, i);
    const Point match = pointAt(pairs.matchPoints, i);
    const Point projected = velmora::project(model.data(), ref.x, ref.y);
    const float du = projected.x - match.x;
    const float dv = projected.y - match.y;
    const float error = du * du + dv * dv;
    mask[i] = error <= threshold ? 1 : 0;
    if (mask[i] == 0) continue;
    ++score.inliers;
    score.errorSum += error;
  }
  return score;
}

/// How many iterations are enough to draw an outlier-free sample with the wanted confidence, given
/// the best model's inliers; never more than before.
int32_t enoughIterations(float confidence, int32_t inliers, int32_t count, int32_t iterations) {
  const auto total = static_cast<float>(count);
  const float miss = 1.0f - std::clamp(confidence, 0.0f, 1.0f);
  const float outlierShare = std::clamp(static_cast<float>(count - inliers) / total, 0.0f, 1.0f);
  const double hit = 1.0 - static_cast<double>(outlierShare);
  const double sampleMiss = 1.0 - hit * hit * hit * hit;
  if (sampleMiss < std::numeric_limits<double>::min()) return 0;

  const float wanted = miss == 0.0f ? std::numeric_limits<float>::min() : miss;
  const auto lnWanted = static_cast<float>(velmora::naturalLogarithm(static_cast<double>(wanted)));
  const auto lnSampleMiss = static_cast<float>(velmora::naturalLogarithm(sampleMiss));
  if (lnSampleMiss < 0.0f && -lnWanted < -lnSampleMiss * static_cast<float>(iterations)) {
    return truncateToInt(lnWanted / lnSampleMiss + 0.5f);
  }
  return iterations;
}

/// Moves the marked pairs to the front, in their order.
void keepMarked(tagST_MATCH_PAIRS& pairs, const unsigned char* mask) {
  ptrdiff_t kept = 0;
  for (ptrdiff_t i = 0; i < pairs.count; ++i) {
    if (mask[i] == 0) continue;
    std::copy_n(pairs.refPoints + 2 * i, 2, pairs.refPoints + 2 * kept);
    std::copy_n(pairs.matchPoints + 2 * i, 2, pairs.matchPoints + 2 * kept);
    ++kept;
  }
}

}  // namespace

int32_t velmora::ransac(tagST_MATCH_PAIRS& pairs, float* homography, const tagRANSAC_PARAMS& params,
                        unsigned char* scratch, const unsigned char*& inliers) {
  inliers = nullptr;
  const int32_t count = std::max(pairs.count, 0);
  unsigned char* currentMask = scratch;
  unsigned char* bestMask = scratch + count;
  std::fill_n(scratch, 2 * static_cast<std::size_t>(count), static_cast<unsigned char>(0));

  // A model has to explain more pairs than those it was made from.
  Score best = {kSampleSize, 0.0f};
  Matrix3 model{};
  unsigned long long random = velmora::kRandomSeed;
  int32_t iterations = params.maxIters;
  int32_t done = 0;
  while (done < iterations) {
    const std::optional<Sample> sample = drawSample(pairs, random);
    if (!sample) return -1;
    // A sample without a model scores the one before it again.
    model = fitHomography(sample->ref.data(), sample->match.data(), kSampleSize, kEigenSweeps)
                .value_or(model);
    const Score score = scoreModel(pairs, model, params.threshold, currentMask);
    if (score.beats(best)) {
      best = score;
      std::copy(model.begin(), model.end(), homography);
      std::swap(currentMask, bestMask);
      iterations = enoughIterations(params.confidence, score.inliers, count, iterations);
    }
    ++done;
  }

  keepMarked(pairs, bestMask);
  pairs.count = std::min(best.inliers, count);
  if (best.inliers > kSampleSize) inliers = bestMask;
  printProgress("ransac iteration count:%d\n", done);
  printProgress("find inliner count:%d/%d\n", best.inliers, count);
  return 0;
}

int32_t RansacEstimation(tagST_MATCH_PAIRS* pairs, float* homography, tagRANSAC_PARAMS* params,
                         unsigned char* scratch) {
  const unsigned char* inliers = nullptr;
  return velmora::ransac(*pairs, homography, *params, scratch, inliers);
}
