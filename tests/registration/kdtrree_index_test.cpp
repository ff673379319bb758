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

}  // namespace
}  // namespace velmora::test
