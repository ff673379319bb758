// From two feature sets to pairs of points: nearest neighbours, ratio test, RANSAC.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "logging/log.h"
#include "memory/heap_buffer.h"
#include "registration/observed_stages.h"
#include "registration/source/ransac.h"
#include "velmora_sr/logging.h"
#include "velmora_sr/matching.h"

namespace {

using velmora::HeapBuffer;
using velmora::Observer;
using velmora::StageTime;

constexpr const char* kLogSource = "src/registration/source/matcher";
constexpr int32_t kMinMatches = 5;

std::size_t asSize(int32_t count) {
  return static_cast<std::size_t>(std::max(count, 0));
}

/// A key point coordinate (6 fraction bits, reduced picture) in whole pixels of the full picture.
float fullSizePixel(int32_t coordinate, int32_t scale) {
  const uint32_t scaled = static_cast<uint32_t>(coordinate) * static_cast<uint32_t>(scale);
  return static_cast<float>(static_cast<int32_t>(scaled + 32u) >> 6);
}

void storePoint(const ST_KEYPOINT& keypoint, int32_t scale, float* point) {
  point[0] = fullSizePixel(keypoint.x, scale);
  point[1] = fullSizePixel(keypoint.y, scale);
}

/// Matches the sets and writes the accepted pairs; the KNN block lives in here only.
int32_t collectPairs(ST_IMAGEFEATURES* refFeatures, ST_IMAGEFEATURES* matchFeatures,
                     ST_NODE** trees, tagST_MATCH_PAIRS* pairs, int32_t scale, float ratio,
                     const Observer& observer) {
  const StageTime time = observer.time(VELMORA_SR_STAGE_SEARCH);
  const std::size_t queries = asSize(matchFeatures->count);
  const HeapBuffer<int32_t> block(5 * queries);
  if (!block) {
    LogMsg(kLogSource, __LINE__, 0, "GETFEATURE_SURF: malloc failed!");
    return VELMORA_SR_RESULT_ALLOC_FAILED;
  }
  tagMATCHESINFO matches = {};
  matches.distances = block.data();
  matches.neighbours = matches.distances + 2 * queries;
  matches.queries = matches.neighbours + 2 * queries;
  const int32_t error = KnnMatcher(matchFeatures, refFeatures, trees, &matches, ratio);
  if (error != 0) return error;
  observer.matches(matches);

  velmora::printProgress("KnnMatcher find matched num %d\n", matches.matchCount);
  if (matches.matchCount < kMinMatches) {
    observer.fail(VELMORA_SR_STAGE_SEARCH, VELMORA_SR_CAUSE_FRAMES,
                  "too few key points of the second frame, below 5, have a clearly nearest partner "
                  "in the first");
    return VELMORA_SR_RESULT_TOO_FEW_POINTS;
  }
  pairs->count = matches.matchCount;
  for (ptrdiff_t j = 0; j < matches.matchCount; ++j) {
    storePoint(refFeatures->keypoints[matches.neighbours[j]], scale, pairs->refPoints + 2 * j);
    storePoint(matchFeatures->keypoints[matches.queries[j]], scale, pairs->matchPoints + 2 * j);
  }
  return 0;
}

}  // namespace

int32_t KnnMatch(ST_IMAGEFEATURES* query, ST_IMAGEFEATURES* ref, tagKNN_RESULT* result,
                 ST_NODE** trees) {
  const std::size_t count = asSize(ref->count);
  const HeapBuffer<int32_t*> points(count);
  if (!points) {
    LogMsg(kLogSource, __LINE__, 0, "GETFEATURE_SURF: malloc failed!");
    return VELMORA_SR_RESULT_ALLOC_FAILED;
  }
  for (std::size_t i = 0; i < count; ++i)
    points.data()[i] =
        ref->descriptors + i * static_cast<std::size_t>(VELMORA_SR_DESCRIPTOR_LENGTH);
  return KnnSearch(query->descriptors, result, query->count, trees, static_cast<uint32_t>(count),
                   points.data());
}

int32_t KnnMatcher(ST_IMAGEFEATURES* query, ST_IMAGEFEATURES* ref, ST_NODE** trees,
                   tagMATCHESINFO* matches, float ratio) {
  tagKNN_RESULT found = {matches->queries, matches->neighbours, matches->distances, 0};
  const int32_t error = KnnMatch(query, ref, &found, trees);
  if (error != 0) return error;

  // A query that met a single point only is compared against the largest distance and usually
  // passes; one that met none (an empty reference set) must not name a neighbour.
  const int32_t queries = ref->count < 1 ? 0 : query->count;
  const float squaredRatio = ratio * ratio;
  int32_t accepted = 0;
  for (int32_t q = 0; q < queries; ++q) {
    const auto nearest = static_cast<float>(found.distances[2 * q + 1]);
    const auto second = static_cast<float>(found.distances[2 * q]);
    if (!(nearest < second * squaredRatio)) continue;
    matches->queries[accepted] = q;
    matches->neighbours[accepted] = found.neighbours[2 * q + 1];
    ++accepted;
  }
  matches->matchCount = accepted;
  velmora::printProgress("searchCount %d matchNum %d\n", query->count, accepted);
  return 0;
}

int32_t velmora::matchFeatures(ST_IMAGEFEATURES* refFeatures, ST_IMAGEFEATURES* matchFeatures,
                               ST_NODE** trees, tagST_MATCH_PAIRS* pairs, int32_t scale,
                               float ratio, const Observer& observer) {
  velmora::printProgress("input refImg points %d matchImg points number %d\n", refFeatures->count,
                         matchFeatures->count);
  const int32_t error =
      collectPairs(refFeatures, matchFeatures, trees, pairs, scale, ratio, observer);
  if (error != 0) return observer.checked(VELMORA_SR_STAGE_SEARCH, error);

  const StageTime time = observer.time(VELMORA_SR_STAGE_RANSAC);
  const HeapBuffer<unsigned char> scratch(80 * asSize(pairs->count));
  if (!scratch) {
    LogMsg(kLogSource, __LINE__, 0, "GETFEATURE_SURF: malloc failed!");
    return observer.checked(VELMORA_SR_STAGE_RANSAC, VELMORA_SR_RESULT_ALLOC_FAILED);
  }
  // The homography only serves to tell inliers from outliers: the final one is fitted to all
  // inliers. Without a valid sample the pairs stay unfiltered, and the area test decides.
  // 12 square pixels allow for matches of pictures reduced by four, in whole pixels of theirs.
  tagRANSAC_PARAMS params = {.maxIters = 100, .threshold = 12.0f, .confidence = 0.9995f};
  float homography[9] = {};
  const unsigned char* inliers = nullptr;
  ransac(*pairs, homography, params, scratch.data(), inliers);
  observer.inliers(inliers, pairs->count);
  return 0;
}

int32_t FeatureMatcher(ST_IMAGEFEATURES* refFeatures, ST_IMAGEFEATURES* matchFeatures,
                       ST_NODE** trees, tagST_MATCH_PAIRS* pairs, int32_t scale, float ratio) {
  return velmora::matchFeatures(refFeatures, matchFeatures, trees, pairs, scale, ratio, {});
}
