#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "registration/call_support.h"
#include "registration/feature_support.h"
#include "velmora_sr/matching.h"

namespace velmora::test {
namespace {

/// How many of the queries KnnMatcher accepts.
int32_t accepted(FeatureSet query, FeatureSet ref, float ratio) {
  Forest forest(ref);
  ST_IMAGEFEATURES queryRecord = query.record(), refRecord = ref.record();
  const std::size_t count = query.descriptors.size();
  std::vector<int32_t> queries(count + 1), neighbours(2 * count + 1), distances(2 * count + 1);
  tagMATCHESINFO record = {queries.data(), neighbours.data(), distances.data(), -1};
  const std::string printed = printedBy(
      [&] { EXPECT_EQ(KnnMatcher(&queryRecord, &refRecord, forest.roots, &record, ratio), 0); });
  EXPECT_EQ(printed, "searchCount " + std::to_string(count) + " matchNum " +
                         std::to_string(record.matchCount) + "\n");
  return record.matchCount;
}

TEST(KnnMatcher, AcceptsWhatIsClearlyNearest) {
  Descriptor origin = {}, three = {}, four = {};
  three[5] = 3 << 8;  // distances of 9 and 16 to the origin: accepted above a ratio of 3 / 4
  four[7] = 4 << 8;
  const FeatureSet one({origin}), near({three}), none({}), both({three, four});
  EXPECT_EQ(accepted(one, both, 0.75f), 0);
  EXPECT_EQ(accepted(one, both, 0.76f), 1);
  EXPECT_EQ(accepted(one, FeatureSet({three, three}), 1), 0);
  EXPECT_EQ(accepted(one, near, 0.4f), 1);  // compared with the largest distance
  EXPECT_EQ(accepted(one, none, 1), 0);
  EXPECT_EQ(accepted(none, one, 1), 0);
}

/// Two sets whose points correspond one to one, in reverse order: seven in a row, 100 pixels apart.
struct Pair {
  FeatureSet ref, match;
  std::vector<float> refPoints, matchPoints;
  tagST_MATCH_PAIRS pairs;
  int32_t result = 0;
  std::string printed;

  Pair(std::size_t count, uint64_t seed) : Pair(Random(seed), count) {
    for (std::size_t i = 0; i < count; ++i) {
      const auto k = static_cast<int32_t>(i);
      ref.keypoints[i] = {0, 0, 6400 * (k % 7) + k, 6400 * (k / 7) - 3 * k, 9};
      match.keypoints[count - 1 - i] = ref.keypoints[i];
    }
  }
  Pair& run(int32_t scale) {
    Forest forest(ref);
    ST_IMAGEFEATURES refRecord = ref.record();
    ST_IMAGEFEATURES matchRecord = match.record();
    printed = printedBy([&] {
      result = FeatureMatcher(&refRecord, &matchRecord, forest.roots, &pairs, scale, 0.4f);
    });
    return *this;
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
  // ten they are used up; errors of up to 4 pixels tell the threshold. The digests are those of
  // RANSAC over the pixels rounded in double precision.
  const struct {
    int right;
    int32_t scale;
    uint32_t digest;
  } cases[] = {{10, 1, 2310565743}, {9, 4, 3711282879}, {3, 4, 193758387}};
  for (const auto& c : cases) {
    Pair pair(200, 24);
    Random random(25);
    for (std::size_t j = 0; j < 200; ++j) {
      const auto spread = [&] { return static_cast<int32_t>(random.range(-4000, 36000)); };
      const auto error = [&] { return static_cast<int32_t>(random.range(-4 * 16, 4 * 16)); };
      ST_KEYPOINT& from = pair.ref.keypoints[199 - j];
      ST_KEYPOINT& to = pair.match.keypoints[j];
      from.x = spread();
      from.y = spread();
      const bool right = static_cast<int>(j % 10) < c.right;
      to.x = right ? from.x + 160 + error() : spread();
      to.y = right ? from.y - 96 + error() : spread();
    }
    pair.run(c.scale);
    EXPECT_EQ(pair.result, 0);
    Digest digest;
    digest.addAll(pair.printed);
    digest.add(pair.pairs.count);
    digest.addAll(pair.refPoints);
    digest.addAll(pair.matchPoints);
    EXPECT_EQ(digest.value(), c.digest) << c.right;
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
  EXPECT_EQ(pair.run(1).result, 0);
  EXPECT_EQ(pair.pairs.count, 30);
}

TEST(FeatureMatcher, WantsFiveMatches) {
  for (const std::size_t count : {0, 1, 4, 5}) {
    Pair pair(count, 22);
    EXPECT_EQ(pair.run(4).result, count < 5 ? 2 : 0) << count;
    EXPECT_THAT(pair.printed,
                testing::HasSubstr("KnnMatcher find matched num " + std::to_string(count) + "\n"));
    if (count == 5) continue;
    EXPECT_EQ(pair.pairs.count, -1);
    EXPECT_THAT(pair.refPoints, testing::Each(-1.0f));
    EXPECT_THAT(pair.matchPoints, testing::Each(-1.0f));
  }
}

/// A descriptor with each value moved by +-60000, wrapping.
Descriptor noisy(Descriptor descriptor, Random& random) {
  for (auto& value : descriptor)
    value = static_cast<int32_t>(static_cast<uint32_t>(value) +
                                 static_cast<uint32_t>(random.range(-60000, 60000)));
  return descriptor;
}

TEST(KnnSearch, GivesTheSameForestAndNeighboursOnEveryMachine) {
  // The digests are those of trees and searches written for clarity alone.
  const struct {
    const char* name;
    int32_t (*value)(Random& random);  // null: like those of feature extraction
    uint32_t digest;
  } cases[] = {
      {"surf-like", nullptr, 154646899},
      {"many ties", [](Random& r) { return static_cast<int32_t>(r.range(-1, 1) * (1 << 20)); },
       1224415592},
      {"wrapping", [](Random& r) { return static_cast<int32_t>(r.next()); }, 4204096027},
      {"equal", [](Random&) { return 1234567; }, 43503695}};
  for (const auto& c : cases) {
    Random random(1);
    Digest digest;
    const auto draw = [&](std::size_t count) {
      auto all = surfLike(random, count);
      for (Descriptor& descriptor : all) {
        if (c.value != nullptr) {
          for (int32_t& value : descriptor)
            value = c.value(random);
        }
      }
      return all;
    };
    for (const std::size_t count : {1, 2, 3, 4, 7, 31, 64, 100, 101, 102, 203, 700}) {
      FeatureSet set(draw(count));
      Forest forest(set);
      const auto indexOf = [&](const ST_NODE* node) {
        return node == nullptr ? -1 : static_cast<int32_t>(node - forest.pool.data());
      };
      for (const ST_NODE* root : forest.roots)
        digest.add(indexOf(root));
      for (std::size_t i = 0; i < 4 * (2 * count - 1); ++i) {
        const ST_NODE& node = forest.pool[i];
        const bool leaf = node.child1 == nullptr;
        digest.addAll(std::vector{node.divfeat, indexOf(node.child1), indexOf(node.child2),
                                  leaf ? 0 : node.divval});
      }
      FeatureSet queries(draw(60));
      for (std::size_t q = 0; q < 60; q += 2)  // noisy copies of points beside new ones
        queries.descriptors[q] = noisy(set.descriptors[random.index(count)], random);
      std::vector<int32_t> points(2 * 60, -1), distances = points;
      tagKNN_RESULT result = {nullptr, points.data(), distances.data(), 77};
      ST_IMAGEFEATURES query = queries.record(), ref = set.record();
      EXPECT_EQ(KnnMatch(&query, &ref, &result, forest.roots), 0);
      EXPECT_EQ(result.matchCount, 77);
      digest.addAll(points);  // two neighbours each and their distances, the nearest last
      digest.addAll(distances);
    }
    EXPECT_EQ(digest.value(), c.digest) << c.name;
  }
}

TEST(KnnSearch, TakesEmptySets) {
  FeatureSet set({});
  Forest forest(set);
  EXPECT_EQ(forest.result, 0);
  EXPECT_THAT(forest.roots, testing::Each(nullptr));
  tagKNN_RESULT result = {};
  for (const int32_t queries : {0, -3})
    EXPECT_EQ(KnnSearch(nullptr, &result, queries, forest.roots, 4, nullptr), 0);
}

}  // namespace
}  // namespace velmora::test
