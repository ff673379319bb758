#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <vector>

#include "registration/feature_sets.h"
#include "registration/plain_forest.h"
#include "support/heap_faults.h"
#include "support/log_capture.h"
#include "support/random.h"
#include "velmora_sr/logging.h"
#include "velmora_sr/matching.h"

namespace {

using velmora::test::Descriptor;
using velmora::test::FeatureSet;
using velmora::test::Forest;
using velmora::test::HeapFaults;
using velmora::test::LogCapture;
using velmora::test::PlainForest;
using velmora::test::Random;

TEST(RandomShuffle, DrawsTheKnownSequence) {
  std::vector<int32_t> list(10);
  std::iota(list.begin(), list.end(), 0);
  unsigned long long state = ~0ULL;
  RandomShuffle(list.data(), 10, &state);
  EXPECT_THAT(list, testing::ElementsAre(3, 2, 1, 9, 0, 7, 6, 4, 8, 5));
  EXPECT_EQ(state, 0x84dca00411e43195u);
}

TEST(RandomShuffle, LeavesShortListsAndTheStateAlone) {
  for (const int32_t count : {-1, 0, 1}) {
    std::vector<int32_t> list = {7, 8};
    unsigned long long state = 5;
    RandomShuffle(list.data(), count, &state);
    EXPECT_THAT(list, testing::ElementsAre(7, 8));
    EXPECT_EQ(state, 5u);
  }
}

TEST(SelectDivision, TakesTheFirstOfTheLargest) {
  std::array<int32_t, 64> variances{};
  EXPECT_EQ(SelectDivision(variances.data()), 0);
  variances[63] = 5;
  EXPECT_EQ(SelectDivision(variances.data()), 63);
  variances[9] = 5;
  EXPECT_EQ(SelectDivision(variances.data()), 9);
  variances.fill(-3);  // wrapped sums may be negative
  variances[40] = -2;
  EXPECT_EQ(SelectDivision(variances.data()), 40);
}

/// Points whose dimension 2 takes the given values.
struct Line {
  std::vector<Descriptor> descriptors;
  std::vector<int32_t*> points;
  std::vector<int32_t> indices;

  explicit Line(const std::vector<int32_t>& values) {
    for (const int32_t value : values) {
      descriptors.push_back({});
      descriptors.back()[2] = value;
    }
    for (auto& descriptor : descriptors)
      points.push_back(descriptor.data());
    indices.resize(values.size());
    std::iota(indices.begin(), indices.end(), 0);
  }
  [[nodiscard]] int32_t count() const { return static_cast<int32_t>(indices.size()); }
  [[nodiscard]] std::vector<int32_t> ordered() const {
    std::vector<int32_t> values;
    for (const int32_t index : indices)
      values.push_back(descriptors[static_cast<std::size_t>(index)][2]);
    return values;
  }
};

TEST(PlaneSplit, PutsBelowThenEqualThenAbove) {
  const struct {
    std::vector<int32_t> values;
    int32_t cut, below, belowOrEqual;
  } cases[] = {{{5, 3, 5, 9, 1, 5, 0}, 5, 3, 6},
               {{1, 2, 3}, 4, 3, 3},
               {{1, 2, 3}, 0, 0, 0},
               {{7, 7, 7}, 7, 0, 3},
               {{-4, 6, -4, 6}, 1, 2, 2},
               {{8}, 8, 0, 1},
               {{INT32_MAX, INT32_MIN}, 0, 1, 1}};
  for (const auto& c : cases) {
    Line line(c.values);
    int32_t below = -1;
    int32_t belowOrEqual = -1;
    PlaneSplit(line.indices.data(), line.count(), 2, c.cut, &below, &belowOrEqual,
               line.points.data());
    EXPECT_EQ(below, c.below);
    EXPECT_EQ(belowOrEqual, c.belowOrEqual);
    const auto ordered = line.ordered();
    for (int32_t i = 0; i < line.count(); ++i) {
      const int32_t value = ordered[static_cast<std::size_t>(i)];
      EXPECT_EQ(value < c.cut, i < below) << testing::PrintToString(ordered);
      EXPECT_EQ(value <= c.cut, i < belowOrEqual) << testing::PrintToString(ordered);
    }
    EXPECT_THAT(line.indices,
                testing::WhenSorted(testing::ElementsAreArray(Line(c.values).indices)));
  }
}

TEST(MeanSplit, CutsAtTheMeanNearTheMiddle) {
  constexpr int32_t k = 1 << 20;
  // 101 sampled points at 0, and after them points that must move the cut only if sampled.
  std::vector<int32_t> beyondSample(101, 0);
  beyondSample[0] = 101 * k;
  beyondSample.insert(beyondSample.end(), 50, 1000 * k);
  const struct {
    const char* name;
    std::vector<int32_t> values;
    int32_t split, dimension, cut;
  } cases[] = {
      {"mean splits", {0, k, 2 * k, 9 * k}, 3, 2, 3 * k},
      {"cut toward zero", {-k, -k - 1, -5 * k}, 1, 2, -(7 * k + 1) / 3},
      {"most above: all not above go low", {0, 9 * k, 9 * k, 10 * k}, 1, 2, 7 * k},
      {"equal ones shared out", {0, 2 * k, 2 * k, 2 * k, 4 * k}, 2, 2, 2 * k},
      {"all equal", {k, k, k, k, k}, 2, 0, 0},
      {"only the first 101 count", beyondSample, 100, 2, k},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Line line(c.values);
    int32_t split = -1;
    int32_t dimension = -1;
    int32_t cut = -1;
    MeanSplit(line.indices.data(), line.count(), &split, &dimension, &cut, line.points.data());
    EXPECT_EQ(split, c.split);
    EXPECT_EQ(dimension, c.dimension);
    EXPECT_EQ(cut, c.cut);
  }
}

TEST(CalcDistance, ShiftsBeforeItSquaresAndWraps) {
  Descriptor a{};
  Descriptor b{};
  EXPECT_EQ(CalcDistance(a.data(), b.data()), 0);
  a[0] = 255;  // 0 after the shift
  a[1] = -1;   // -1: the shift keeps the sign
  a[63] = 512;
  EXPECT_EQ(CalcDistance(a.data(), b.data()), 1 + 4);
  EXPECT_EQ(CalcDistance(b.data(), a.data()), 1 + 0 + 4);  // -255 becomes -1, 1 becomes 0
  a.fill(1 << 24);
  EXPECT_EQ(CalcDistance(a.data(), b.data()), 0);  // 64 * 2^32
  a.fill(0);
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
} kGenerators[] = {{"surf-like", velmora::test::surfLike},
                   {"coarse", velmora::test::coarse},
                   {"extreme", velmora::test::extreme},
                   {"equal", [](Random& random, std::size_t count) {
                      return std::vector<Descriptor>(count, velmora::test::surfLike(random, 1)[0]);
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
      for (std::size_t tree = 0; tree < 4; ++tree)
        ASSERT_EQ(forest.roots[tree] - forest.pool.data(), plain.root(tree));
      for (std::size_t i = 0; i < plain.nodes().size(); ++i) {
        const PlainForest::Node& expected = plain.nodes()[i];
        const ST_NODE& node = forest.pool[i];
        ASSERT_EQ(node.divfeat, expected.feature) << i;
        if (expected.low < 0) {
          ASSERT_EQ(node.child1, nullptr) << i;
          ASSERT_EQ(node.child2, nullptr) << i;
        } else {
          ASSERT_EQ(node.divval, expected.value) << i;
          ASSERT_EQ(node.child1 - forest.pool.data(), expected.low) << i;
          ASSERT_EQ(node.child2 - forest.pool.data(), expected.high) << i;
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
  InitLogParams(nullptr, 2);
  Random random(2);
  FeatureSet set(velmora::test::surfLike(random, 20));
  std::vector<ST_NODE> pool(160);
  ST_NODE* roots[4] = {};
  for (int n = 0;; ++n) {
    ST_IMAGEFEATURES record = set.record();
    void* memory = pool.data();
    LogCapture log;
    const HeapFaults heap(n);
    const int32_t result = BuildKDTreeIndices(&record, roots, static_cast<unsigned char*>(memory));
    EXPECT_EQ(heap.live(), 0u) << n;
    if (heap.requests() <= n) {
      EXPECT_EQ(result, 0);
      EXPECT_EQ(n, 2);
      break;
    }
    EXPECT_EQ(result, -1000) << n;
    EXPECT_THAT(log.takeTexts(),
                testing::ElementsAre(testing::MatchesRegex(
                    ">>BRISOLE2\\[error\\]\\[src/registration/source/kdtrree_index\\]\\[[0-9]+\\] "
                    ": GETFEATURE_SURF: malloc failed!\n")));
  }
}

/// Queries: half of them noisy copies of points, half of them new.
std::vector<Descriptor> queriesFor(Random& random, const std::vector<Descriptor>& points,
                                   Generator make, std::size_t count) {
  std::vector<Descriptor> queries = make(random, count);
  for (std::size_t q = 0; q < count; q += 2) {
    queries[q] = points[static_cast<std::size_t>(random.next() % points.size())];
    for (auto& value : queries[q])
      value = static_cast<int32_t>(static_cast<uint32_t>(value) +
                                   static_cast<uint32_t>(random.range(-60000, 60000)));
  }
  return queries;
}

TEST(KnnSearch, FindsWhatThePlainImplementationFinds) {
  Random random(3);
  for (const auto& generator : kGenerators) {
    for (const std::size_t count : {1, 2, 5, 31, 32, 33, 63, 64, 600}) {
      SCOPED_TRACE(testing::Message() << generator.name << ", " << count << " points");
      FeatureSet set(generator.make(random, count));
      FeatureSet queries(queriesFor(random, set.descriptors, generator.make, 60));
      const PlainForest plain(set.descriptors);
      Forest forest(set);
      std::vector<int32_t> neighbours(120, -1);
      std::vector<int32_t> distances(120, -1);
      tagKNN_RESULT result = {nullptr, neighbours.data(), distances.data(), 77};
      ST_IMAGEFEATURES query = queries.record();
      ST_IMAGEFEATURES ref = set.record();
      ASSERT_EQ(KnnMatch(&query, &ref, &result, forest.roots), 0);
      EXPECT_EQ(result.matchCount, 77);
      int mostChecks = 0;
      for (std::size_t q = 0; q < 60; ++q) {
        int checks = 0;
        const auto expected = plain.search(queries.descriptors[q], &checks);
        mostChecks = std::max(mostChecks, checks);
        EXPECT_EQ(neighbours[2 * q], expected.points[0]) << q;
        EXPECT_EQ(neighbours[2 * q + 1], expected.points[1]) << q;
        EXPECT_EQ(distances[2 * q], expected.distances[0]) << q;
        EXPECT_EQ(distances[2 * q + 1], expected.distances[1]) << q;
      }
      EXPECT_LE(mostChecks, static_cast<int>(std::min<std::size_t>(count, 32)));
    }
  }
}

TEST(KnnSearch, WritesNothingWithoutQueriesButStillTakesItsScratch) {
  Random random(5);
  FeatureSet set(velmora::test::surfLike(random, 4));
  Forest forest(set);
  int32_t untouched = 42;
  tagKNN_RESULT result = {nullptr, &untouched, &untouched, 0};
  for (const int32_t count : {0, -3}) {
    {
      const HeapFaults heap;
      EXPECT_EQ(KnnSearch(nullptr, &result, count, forest.roots, 4, nullptr), 0);
      EXPECT_EQ(heap.requests(), 1);
      EXPECT_EQ(heap.live(), 0u);
    }
    const HeapFaults heap(0);
    EXPECT_EQ(KnnSearch(nullptr, &result, count, forest.roots, 4, nullptr), -1000);
  }
  EXPECT_EQ(untouched, 42);
}

TEST(SearchLevel, DropsBranchesBeyondTheCapacity) {
  Random random(6);
  FeatureSet set(velmora::test::surfLike(random, 8));
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
    std::array<int32_t, 2> neighbours{};
    std::array<int32_t, 2> distances = {INT32_MAX, INT32_MAX};
    Descriptor query = set.descriptors[3];
    tagSEARCHLEL_PARAMS params = {0,
                                  &checked,
                                  points.data(),
                                  neighbours.data(),
                                  distances.data(),
                                  query.data(),
                                  forest.roots[0],
                                  capacity};
    SearchLevel(&params, &checks, &branches);
    EXPECT_EQ(branches.count, capacity);
    EXPECT_EQ(checks, 1);
    EXPECT_EQ(neighbours[1], 3);  // a point's own descriptor leads to its leaf
    EXPECT_EQ(distances[1], 0);
    EXPECT_EQ(checked, 8u);
  }
}

}  // namespace
