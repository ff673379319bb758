#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <vector>

#include "registration/call_support.h"
#include "registration/feature_sets.h"
#include "velmora_sr/matching.h"

namespace velmora::test {
namespace {

TEST(RandomShuffle, DrawsTheKnownSequence) {
  std::vector<int32_t> list(10);
  std::iota(list.begin(), list.end(), 0);
  unsigned long long state = ~0ULL;
  for (const int32_t count : {-1, 0, 1, 10})  // too few leave the state alone
    RandomShuffle(list.data(), count, &state);
  EXPECT_THAT(list, testing::ElementsAre(3, 2, 1, 9, 0, 7, 6, 4, 8, 5));
  EXPECT_EQ(state, 0x84dca00411e43195u);
}

TEST(CalcDistance, ShiftsBeforeItSquaresAndWraps) {
  Descriptor a{}, b{};
  a[0] = 255;  // 0 after the shift, from the other side -1
  a[1] = -1;   // -1: the shift keeps the sign; from the other side 0
  a[63] = 512;
  EXPECT_EQ(CalcDistance(a.data(), b.data()), 1 + 4);
  EXPECT_EQ(CalcDistance(b.data(), a.data()), 1 + 4);
  a = {};
  a[5] = 46341 << 8;
  EXPECT_EQ(CalcDistance(a.data(), b.data()), 46341LL * 46341 - (1LL << 32));
  a[5] = INT32_MIN;
  b[5] = 1;                                                    // the difference wraps to 2^31 - 1
  EXPECT_EQ(CalcDistance(a.data(), b.data()), 1 - (1 << 24));  // (2^23 - 1)^2 modulo 2^32
}

TEST(AddPoint, KeepsTheTwoNearest) {
  const struct {
    int32_t distance;
    std::array<int32_t, 2> points, distances;
  } cases[] = {
      {5, {20, 99}, {10, 5}},                              // nearer than both
      {10, {99, 20}, {10, 10}},                            // as near as the nearest: second
      {15, {99, 20}, {15, 10}}, {30, {10, 20}, {30, 10}},  // as far as the second: not entered
      {-7, {20, 99}, {10, -7}},                            // wrapped distances are signed
  };
  for (const auto& c : cases) {
    std::array<int32_t, 2> points = {10, 20};
    std::array<int32_t, 2> distances = {30, 10};
    AddPoint(points.data(), distances.data(), c.distance, 99);
    EXPECT_EQ(points, c.points) << c.distance;
    EXPECT_EQ(distances, c.distances) << c.distance;
  }
}

using Generator = std::vector<Descriptor> (*)(Random&, std::size_t);
const struct {
  const char* name;
  Generator make;
} kGenerators[] = {{"surf-like", surfLike},
                   {"coarse", coarse},
                   {"extreme", extreme},
                   {"equal", [](Random& random, std::size_t count) {
                      return std::vector<Descriptor>(count, surfLike(random, 1)[0]);
                    }}};

TEST(BuildKDTreeIndices, BuildsTheForestOfThePlainImplementation) {
  Random random(1);
  for (const auto& generator : kGenerators) {
    for (const std::size_t count : {1, 2, 3, 4, 7, 31, 64, 100, 101, 102, 203, 700}) {
      SCOPED_TRACE(testing::Message() << generator.name << ", " << count << " points");
      FeatureSet set(generator.make(random, count));
      const PlainForest plain(set.descriptors);
      const Forest forest(set);
      ASSERT_EQ(plain.nodes().size(), 4 * (2 * count - 1));
      const auto indexOf = [&](const ST_NODE* node) {
        return node == nullptr ? -1 : node - forest.pool.data();
      };
      for (std::size_t tree = 0; tree < 4; ++tree)
        ASSERT_EQ(indexOf(forest.roots[tree]), plain.root(tree));
      for (std::size_t i = 0; i < plain.nodes().size(); ++i) {
        const PlainForest::Node& expected = plain.nodes()[i];
        const ST_NODE& node = forest.pool[i];
        ASSERT_EQ(node.divfeat, expected.feature) << i;
        ASSERT_EQ(indexOf(node.child1), expected.low) << i;
        ASSERT_EQ(indexOf(node.child2), expected.high) << i;
        if (expected.low >= 0) {
          ASSERT_EQ(node.divval, expected.value) << i;
        }
      }
    }
  }
}

TEST(BuildKDTreeIndices, GivesAnEmptySetEmptyTrees) {
  FeatureSet set({});
  ST_NODE dummy = {};
  ST_NODE* roots[4] = {&dummy, &dummy, &dummy, &dummy};
  ST_IMAGEFEATURES record = set.record();
  EXPECT_EQ(BuildKDTreeIndices(&record, roots, nullptr), 0);
  EXPECT_THAT(roots, testing::Each(nullptr));
}

TEST(BuildKDTreeIndices, ReportsEachFailedAllocation) {
  Random random(2);
  FeatureSet set(surfLike(random, 20));
  expectEachHeapFailureReported(
      std::vector<Report>(2, {"kdtrree_index", "GETFEATURE_SURF: malloc failed!"}),
      [&] { return Forest(set).result; });
}

TEST(KnnSearch, FindsWhatThePlainImplementationFinds) {
  Random random(3);
  for (const auto& generator : kGenerators) {
    for (const std::size_t count : {1, 2, 5, 31, 32, 33, 63, 64, 600}) {
      SCOPED_TRACE(testing::Message() << generator.name << ", " << count << " points");
      FeatureSet set(generator.make(random, count));
      // Half of the queries are noisy copies of points, half of them new.
      FeatureSet queries(generator.make(random, 60));
      for (std::size_t q = 0; q < 60; q += 2)
        queries.descriptors[q] = noisy(set.descriptors[random.index(count)], 60000, random);
      const PlainForest plain(set.descriptors);
      Forest forest(set);
      std::vector<int32_t> neighbours(120, -1);
      std::vector<int32_t> distances(120, -1);
      tagKNN_RESULT result = {nullptr, neighbours.data(), distances.data(), 77};
      ST_IMAGEFEATURES query = queries.record();
      ST_IMAGEFEATURES ref = set.record();
      ASSERT_EQ(KnnMatch(&query, &ref, &result, forest.roots), 0);
      EXPECT_EQ(result.matchCount, 77);
      for (std::size_t q = 0; q < 60; ++q) {
        const auto expected = plain.search(queries.descriptors[q]);
        for (std::size_t k = 0; k < 2; ++k) {
          EXPECT_EQ(neighbours[2 * q + k], expected.points[k]) << q;
          EXPECT_EQ(distances[2 * q + k], expected.distances[k]) << q;
        }
      }
    }
  }
}

TEST(KnnSearch, WritesNothingWithoutQueriesButStillTakesItsScratch) {
  Random random(5);
  FeatureSet set(surfLike(random, 4));
  Forest forest(set);
  int32_t untouched = 42;
  tagKNN_RESULT result = {nullptr, &untouched, &untouched, 0};
  for (const int32_t count : {0, -3}) {
    expectEachHeapFailureReported({{"kdtrree_index", "GETFEATURE_SURF: malloc failed!"}}, [&] {
      return KnnSearch(nullptr, &result, count, forest.roots, 4, nullptr);
    });
  }
  EXPECT_EQ(untouched, 42);
}

TEST(SearchLevel, DropsBranchesBeyondTheCapacity) {
  Random random(6);
  FeatureSet set(surfLike(random, 8));
  Forest forest(set);
  std::vector<int32_t*> points;
  for (auto& descriptor : set.descriptors)
    points.push_back(descriptor.data());
  for (const int32_t capacity : {0, 1, 2}) {
    std::array<ST_NODE*, 8> nodes{};
    std::array<int32_t, 8> bounds{};
    tagBranchStruct branches = {nodes.data(), bounds.data(), 0};
    uint32_t checked = 0;
    int32_t checks = 0;
    int32_t neighbours[2] = {}, distances[2] = {INT32_MAX, INT32_MAX};
    Descriptor query = set.descriptors[3];
    tagSEARCHLEL_PARAMS params = {0,         &checked,     points.data(),   neighbours,
                                  distances, query.data(), forest.roots[0], capacity};
    SearchLevel(&params, &checks, &branches);
    EXPECT_EQ(branches.count, capacity);
    EXPECT_EQ(checks, 1);
    EXPECT_EQ(neighbours[1], 3);  // a point's own descriptor leads to its leaf
    EXPECT_EQ(distances[1], 0);
    EXPECT_EQ(checked, 8u);
  }
}

}  // namespace
}  // namespace velmora::test
