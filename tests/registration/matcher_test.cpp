#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "registration/call_support.h"
#include "registration/feature_sets.h"
#include "registration/synthetic_pairs.h"
#include "velmora_sr/matching.h"

namespace velmora::test {
namespace {

/// One call of KnnMatcher, and what it left.
struct Matched {
  std::vector<int32_t> queries, neighbours;
  std::string printed;

  Matched(FeatureSet& querySet, FeatureSet& refSet, float ratio) {
    const std::size_t count = std::max<std::size_t>(querySet.descriptors.size(), 1);
    std::vector<int32_t> distances(2 * count);
    queries.resize(count, -1);
    neighbours.resize(2 * count, -1);
    Forest forest(refSet);
    ST_IMAGEFEATURES query = querySet.record();
    ST_IMAGEFEATURES ref = refSet.record();
    tagMATCHESINFO record = {queries.data(), neighbours.data(), distances.data(), -1};
    printed =
        printedBy([&] { EXPECT_EQ(KnnMatcher(&query, &ref, forest.roots, &record, ratio), 0); });
    queries.resize(static_cast<std::size_t>(record.matchCount));
    neighbours.resize(static_cast<std::size_t>(record.matchCount));
  }
};

TEST(KnnMatcher, AcceptsWhatIsClearlyNearest) {
  Random random(10);
  FeatureSet ref(surfLike(random, 300));
  FeatureSet query(surfLike(random, 200));
  for (std::size_t q = 0; q < 200; q += 3)
    query.descriptors[q] = noisy(ref.descriptors[random.index(300)], 700000, random);
  const PlainForest plain(ref.descriptors);
  for (const float ratio : {0.0f, 0.4f, 0.8f, 1.0f}) {
    std::vector<int32_t> queries, neighbours;
    for (std::size_t q = 0; q < 200; ++q) {
      const auto found = plain.search(query.descriptors[q]);
      if (static_cast<float>(found.distances[1]) <
          static_cast<float>(found.distances[0]) * (ratio * ratio)) {
        queries.push_back(static_cast<int32_t>(q));
        neighbours.push_back(found.points[1]);
      }
    }
    const Matched matched(query, ref, ratio);
    EXPECT_EQ(matched.queries, queries);
    EXPECT_EQ(matched.neighbours, neighbours);
    EXPECT_EQ(matched.printed, "searchCount 200 matchNum " + std::to_string(queries.size()) + "\n");
    if (ratio == 0.8f) {
      EXPECT_GT(queries.size(), 20u);
      EXPECT_LT(queries.size(), 180u);
    }
  }
}

TEST(KnnMatcher, RefusesTiesAndTakesTheOnlyPoint) {
  Random random(11);
  const Descriptor point = surfLike(random, 1)[0];
  const Descriptor near = noisy(point, 500, random);
  const struct {
    const char* name;
    std::vector<Descriptor> queries, points;
    std::size_t matches;
  } cases[] = {{"equally near", {near}, {point, point}, 0},
               {"one point: compared with the largest distance", {near}, {point}, 1},
               {"no point", {near}, {}, 0},
               {"no query", {}, {point}, 0}};
  for (const auto& c : cases) {
    FeatureSet query(c.queries);
    FeatureSet ref(c.points);
    const Matched matched(query, ref, 1.0f);
    EXPECT_EQ(matched.queries.size(), c.matches) << c.name;
    EXPECT_EQ(matched.printed, "searchCount " + std::to_string(c.queries.size()) + " matchNum " +
                                   std::to_string(c.matches) + "\n");
  }
}

/// Two sets whose points correspond one to one, in reverse order: seven in a row, 100 pixels apart.
struct Pair {
  FeatureSet ref, match;
  std::vector<float> refPoints, matchPoints;
  tagST_MATCH_PAIRS pairs;
  int32_t result = 0;

  Pair(std::size_t count, uint64_t seed) : Pair(Random(seed), count) {
    for (std::size_t i = 0; i < count; ++i) {
      const auto k = static_cast<int32_t>(i);
      ref.keypoints[i] = {0, 0, 6400 * (k % 7) + k, 6400 * (k / 7) - 3 * k, 9};
      match.keypoints[count - 1 - i] = ref.keypoints[i];
    }
  }
  std::string run(int32_t scale) {
    Forest forest(ref);
    ST_IMAGEFEATURES refRecord = ref.record();
    ST_IMAGEFEATURES matchRecord = match.record();
    return printedBy([&] {
      result = FeatureMatcher(&refRecord, &matchRecord, forest.roots, &pairs, scale, 0.4f);
    });
  }

 private:
  Pair(Random random, std::size_t count)
      : ref(surfLike(random, count)),
        match(ref.descriptors),
        refPoints(2 * count, -1.0f),
        matchPoints(2 * count, -1.0f),
        pairs{refPoints.data(), matchPoints.data(), -1} {
    std::reverse(match.descriptors.begin(), match.descriptors.end());
  }
};

TEST(FeatureMatcher, GivesRoundedFullSizePixelsToRansac) {
  // With all pairs or nine of ten right fewer than the hundred iterations suffice, with three of
  // ten they are used up; errors of up to 4 pixels tell the threshold.
  const struct {
    int right;
    int32_t scale;
  } cases[] = {{10, 1}, {9, 4}, {3, 4}};
  for (const auto& c : cases) {
    Pair pair(200, 24);
    Random random(25);
    Pairs expected;  // in the order of the queries
    const auto pixel = [&](int32_t q6) { return std::floor((c.scale * q6 + 32) / 64.0); };
    for (std::size_t j = 0; j < 200; ++j) {
      const auto spread = [&] { return static_cast<int32_t>(random.range(-4000, 36000)); };
      const auto error = [&] { return static_cast<int32_t>(random.range(-4 * 16, 4 * 16)); };
      const ST_KEYPOINT from = {0, 0, spread(), spread(), 9};
      const ST_KEYPOINT to =
          static_cast<int>(j % 10) < c.right
              ? ST_KEYPOINT{0, 0, from.x + 160 + error(), from.y - 96 + error(), 9}
              : ST_KEYPOINT{0, 0, spread(), spread(), 9};
      pair.ref.keypoints[199 - j] = from;
      pair.match.keypoints[j] = to;
      expected.add({pixel(from.x), pixel(from.y)}, {pixel(to.x), pixel(to.y)}, true);
    }
    auto scratch = expected.scratch();
    const std::string printed = printedBy([&] {
      float homography[9];
      tagRANSAC_PARAMS params = {100, 12.0f, 0.9995f};
      RansacEstimation(&expected.record, homography, &params, scratch.data());
    });
    EXPECT_EQ(pair.run(c.scale),
              "input refImg points 200 matchImg points number 200\nsearchCount 200 matchNum 200\n"
              "KnnMatcher find matched num 200\n" +
                  printed);
    EXPECT_EQ(pair.result, 0);
    ASSERT_EQ(pair.pairs.count, expected.record.count);
    EXPECT_EQ(pair.refPoints, expected.ref);
    EXPECT_EQ(pair.matchPoints, expected.match);
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
  pair.run(1);
  EXPECT_EQ(pair.result, 0);
  EXPECT_EQ(pair.pairs.count, 30);
}

TEST(FeatureMatcher, WantsFiveMatches) {
  for (const std::size_t count : {0, 1, 4, 5}) {
    Pair pair(count, 22);
    EXPECT_THAT(pair.run(4),
                testing::HasSubstr("KnnMatcher find matched num " + std::to_string(count) + "\n"));
    EXPECT_EQ(pair.result, count < 5 ? 2 : 0) << count;
    if (count < 5) {
      EXPECT_EQ(pair.pairs.count, -1);
      EXPECT_THAT(pair.refPoints, testing::Each(-1.0f));
      EXPECT_THAT(pair.matchPoints, testing::Each(-1.0f));
    }
  }
}

TEST(FeatureMatcher, ReportsEachFailedAllocation) {
  const std::string text = "GETFEATURE_SURF: malloc failed!";
  Pair pair(12, 23);
  Forest forest(pair.ref);
  expectEachHeapFailureReported(
      {{"matcher", text}, {"matcher", text}, {"kdtrree_index", text}, {"matcher", text}}, [&] {
        ST_IMAGEFEATURES ref = pair.ref.record();
        ST_IMAGEFEATURES match = pair.match.record();
        return FeatureMatcher(&ref, &match, forest.roots, &pair.pairs, 4, 0.4f);
      });
}

}  // namespace
}  // namespace velmora::test
