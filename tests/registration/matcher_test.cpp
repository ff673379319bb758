#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "registration/feature_sets.h"
#include "registration/plain_forest.h"
#include "registration/plain_homography.h"
#include "support/heap_faults.h"
#include "support/log_capture.h"
#include "support/random.h"
#include "velmora_sr/logging.h"
#include "velmora_sr/matching.h"

namespace {

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;
using velmora::test::Descriptor;
using velmora::test::FeatureSet;
using velmora::test::Forest;
using velmora::test::HeapFaults;
using velmora::test::LogCapture;
using velmora::test::PlainForest;
using velmora::test::Random;

/// Room for the matches of `count` queries.
struct Matches {
  std::vector<int32_t> queries, neighbours, distances;
  tagMATCHESINFO record;

  explicit Matches(std::size_t count)
      : queries(count, -1), neighbours(2 * count, -1), distances(2 * count, -1) {
    record = {queries.data(), neighbours.data(), distances.data(), -1};
  }
};

Descriptor shifted(Descriptor descriptor, int32_t by) {
  for (auto& value : descriptor)
    value += by;
  return descriptor;
}

TEST(KnnMatcher, AcceptsWhatIsClearlyNearest) {
  Random random(10);
  FeatureSet ref(velmora::test::surfLike(random, 300));
  std::vector<Descriptor> wanted = velmora::test::surfLike(random, 200);
  for (std::size_t q = 0; q < wanted.size(); q += 3) {
    wanted[q] = ref.descriptors[random.index(300)];
    for (auto& value : wanted[q])
      value += static_cast<int32_t>(random.range(-700000, 700000));
  }
  FeatureSet queries(wanted);
  Forest forest(ref);
  const PlainForest plain(ref.descriptors);
  ST_IMAGEFEATURES query = queries.record();
  ST_IMAGEFEATURES reference = ref.record();
  for (const float ratio : {0.0f, 0.4f, 0.8f, 1.0f}) {
    Matches matches(wanted.size());
    CaptureStdout();
    ASSERT_EQ(KnnMatcher(&query, &reference, forest.roots, &matches.record, ratio), 0);
    const std::string printed = GetCapturedStdout();
    std::vector<int32_t> acceptedQueries;
    std::vector<int32_t> acceptedPoints;
    for (std::size_t q = 0; q < wanted.size(); ++q) {
      const auto found = plain.search(wanted[q]);
      if (static_cast<float>(found.distances[1]) <
          static_cast<float>(found.distances[0]) * (ratio * ratio)) {
        acceptedQueries.push_back(static_cast<int32_t>(q));
        acceptedPoints.push_back(found.points[1]);
      }
    }
    const std::size_t count = acceptedQueries.size();
    ASSERT_EQ(static_cast<std::size_t>(matches.record.matchCount), count);
    matches.queries.resize(count);
    matches.neighbours.resize(count);
    EXPECT_EQ(matches.queries, acceptedQueries);
    EXPECT_EQ(matches.neighbours, acceptedPoints);
    EXPECT_EQ(printed, "searchCount 200 matchNum " + std::to_string(count) + "\n");
    if (ratio == 0.8f) {
      EXPECT_GT(count, 20u);
      EXPECT_LT(count, 180u);
    }
  }
}

TEST(KnnMatcher, RefusesTiesAndTakesTheOnlyPoint) {
  Random random(11);
  const Descriptor point = velmora::test::surfLike(random, 1)[0];
  FeatureSet queries({shifted(point, 300)});
  ST_IMAGEFEATURES query = queries.record();
  const struct {
    const char* name;
    std::vector<Descriptor> points;
    int32_t matches;
  } cases[] = {{"equally near", {point, point}, 0},
               {"one point: compared with the largest distance", {point}, 1},
               {"none", {}, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    FeatureSet set(c.points);
    Forest forest(set);
    ST_IMAGEFEATURES ref = set.record();
    Matches matches(1);
    EXPECT_EQ(KnnMatcher(&query, &ref, forest.roots, &matches.record, 1.0f), 0);
    EXPECT_EQ(matches.record.matchCount, c.matches);
  }
}

TEST(KnnMatcher, CountsNothingWithoutQueries) {
  Random random(12);
  FeatureSet set(velmora::test::surfLike(random, 3));
  Forest forest(set);
  FeatureSet none({});
  ST_IMAGEFEATURES query = none.record();
  ST_IMAGEFEATURES ref = set.record();
  Matches matches(1);
  CaptureStdout();
  EXPECT_EQ(KnnMatcher(&query, &ref, forest.roots, &matches.record, 0.4f), 0);
  EXPECT_EQ(GetCapturedStdout(), "searchCount 0 matchNum 0\n");
  EXPECT_EQ(matches.record.matchCount, 0);
}

/// Two sets whose points correspond one to one; match point i lies at (100 i, 57 i % 400) in Q6
/// pixels of the reduced picture plus a shift.
struct Pair {
  FeatureSet ref;
  FeatureSet match;
  Forest forest;
  std::vector<float> refPoints, matchPoints;
  tagST_MATCH_PAIRS pairs;

  Pair(std::size_t count, uint64_t seed)
      : ref(descriptors(count, seed)), match(ref.descriptors), forest(ref) {
    std::reverse(match.descriptors.begin(), match.descriptors.end());
    refPoints.resize(2 * count, -1.0f);
    matchPoints.resize(2 * count, -1.0f);
    pairs = {refPoints.data(), matchPoints.data(), -1};
    for (std::size_t i = 0; i < count; ++i) {
      const auto k = static_cast<int32_t>(i);
      ref.keypoints[i] = {0, 0, 6400 * (k % 7) + k, 6400 * (k / 7) - 3 * k, 9};
      match.keypoints[count - 1 - i] = ref.keypoints[i];
      match.keypoints[count - 1 - i].x += 32;
    }
  }
  int32_t run(int32_t scale, float ratio = 0.4f) {
    ST_IMAGEFEATURES refRecord = ref.record();
    ST_IMAGEFEATURES matchRecord = match.record();
    return FeatureMatcher(&refRecord, &matchRecord, forest.roots, &pairs, scale, ratio);
  }

 private:
  static std::vector<Descriptor> descriptors(std::size_t count, uint64_t seed) {
    Random random(seed);
    return velmora::test::surfLike(random, count);
  }
};

TEST(FeatureMatcher, PairsRoundedFullSizePixels) {
  for (const int32_t scale : {1, 4}) {
    Pair pair(40, 20);
    CaptureStdout();
    ASSERT_EQ(pair.run(scale), 0);
    EXPECT_THAT(GetCapturedStdout(),
                testing::StartsWith("input refImg points 40 matchImg points number 40\n"
                                    "searchCount 40 matchNum 40\n"
                                    "KnnMatcher find matched num 40\n"));
    ASSERT_EQ(pair.pairs.count, 40);  // one shift: RANSAC drops none
    for (std::size_t j = 0; j < 40; ++j) {
      // Queries come in their order: reference point 39 - j.
      const ST_KEYPOINT& point = pair.ref.keypoints[39 - j];
      const auto pixel = [&](int32_t q6) {
        return static_cast<float>(std::floor((q6 * scale + 32) / 64.0));
      };
      EXPECT_EQ(pair.refPoints[2 * j], pixel(point.x));
      EXPECT_EQ(pair.refPoints[2 * j + 1], pixel(point.y));
      EXPECT_EQ(pair.matchPoints[2 * j], pixel(point.x + 32));
      EXPECT_EQ(pair.matchPoints[2 * j + 1], pixel(point.y));
    }
  }
}

TEST(FeatureMatcher, FiltersByTheUsualRansac) {
  // With nine of ten pairs right fewer than the hundred iterations suffice, with three of ten they
  // are used up; errors of up to 4 pixels tell the threshold.
  for (const int right : {9, 3}) {
    Pair pair(200, 24);
    Random random(25);
    for (std::size_t i = 0; i < 200; ++i) {
      const auto spread = [&] { return static_cast<int32_t>(random.range(0, 40000)); };
      const auto error = [&] { return static_cast<int32_t>(random.range(-4 * 16, 4 * 16)); };
      ST_KEYPOINT& from = pair.ref.keypoints[i];
      ST_KEYPOINT& to = pair.match.keypoints[199 - i];
      from = {0, 0, spread(), spread(), 9};
      to = static_cast<int>(i % 10) < right
               ? ST_KEYPOINT{0, 0, from.x + 160 + error(), from.y - 96 + error(), 9}
               : ST_KEYPOINT{0, 0, spread(), spread(), 9};
    }
    std::vector<float> ref, match;
    for (std::size_t j = 0; j < 200; ++j) {  // in the order of the queries
      const ST_KEYPOINT& from = pair.ref.keypoints[199 - j];
      const ST_KEYPOINT& to = pair.match.keypoints[j];
      for (const auto& [points, point] : {std::pair{&ref, from}, std::pair{&match, to}}) {
        for (const int32_t q6 : {point.x, point.y})
          points->push_back(static_cast<float>(std::floor((4 * q6 + 32) / 64.0)));
      }
    }
    const velmora::test::PlainRansac plain(ref, match, {100, 12.0f, 0.9995f});
    CaptureStdout();
    ASSERT_EQ(pair.run(4), 0);
    EXPECT_THAT(
        GetCapturedStdout(),
        testing::EndsWith("\nransac iteration count:" + std::to_string(plain.iterations) +
                          "\nfind inliner count:" + std::to_string(plain.inliers) + "/200\n"));
    ASSERT_EQ(pair.pairs.count, plain.inliers);
    std::size_t at = 0;
    for (std::size_t j = 0; j < 200; ++j) {
      if (!plain.kept[j]) continue;
      EXPECT_EQ(pair.refPoints[2 * at], ref[2 * j]);
      EXPECT_EQ(pair.matchPoints[2 * at + 1], match[2 * j + 1]);
      ++at;
    }
  }
}

TEST(FeatureMatcher, KeepsThePairsUnfilteredWhenNoSampleIsValid) {
  Pair pair(30, 21);
  for (auto* set : {&pair.ref, &pair.match}) {
    for (auto& keypoint : set->keypoints) {
      keypoint.x %= 640;  // everything within 10 pixels
      keypoint.y %= 640;
    }
  }
  EXPECT_EQ(pair.run(1), 0);
  EXPECT_EQ(pair.pairs.count, 30);
}

TEST(FeatureMatcher, WantsFiveMatches) {
  for (const std::size_t count : {0, 1, 4, 5}) {
    Pair pair(count, 22);
    CaptureStdout();
    EXPECT_EQ(pair.run(4), count < 5 ? 2 : 0) << count;
    EXPECT_THAT(GetCapturedStdout(),
                testing::HasSubstr("KnnMatcher find matched num " + std::to_string(count) + "\n"));
    if (count < 5) {
      EXPECT_EQ(pair.pairs.count, -1);
      EXPECT_THAT(pair.refPoints, testing::Each(-1.0f));
      EXPECT_THAT(pair.matchPoints, testing::Each(-1.0f));
    }
  }
}

TEST(FeatureMatcher, ReportsEachFailedAllocation) {
  InitLogParams(nullptr, 2);
  const char* sources[] = {"matcher", "matcher", "kdtrree_index", "matcher"};
  for (int n = 0;; ++n) {
    Pair pair(12, 23);
    LogCapture log;
    const HeapFaults heap(n);
    const int32_t result = pair.run(4);
    EXPECT_EQ(heap.live(), 0u) << n;
    if (heap.requests() <= n) {
      EXPECT_EQ(result, 0);
      EXPECT_EQ(n, 4);
      break;
    }
    ASSERT_LT(n, 4);
    EXPECT_EQ(result, -1000) << n;
    EXPECT_THAT(log.takeTexts(),
                testing::ElementsAre(testing::AllOf(
                    testing::HasSubstr(std::string("[src/registration/source/") + sources[n] + "]"),
                    testing::EndsWith("GETFEATURE_SURF: malloc failed!\n"))));
  }
}

}  // namespace
