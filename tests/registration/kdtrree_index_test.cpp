#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "registration/call_support.h"
#include "registration/feature_sets.h"
#include "velmora_sr/matching.h"

namespace velmora::test {
namespace {

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
      const Forest forest(set);
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
        queries.descriptors[q] = noisy(set.descriptors[random.index(count)], 60000, random);
      const Neighbours found(set, queries);
      digest.addAll(found.points);
      digest.addAll(found.distances);
    }
    EXPECT_EQ(digest.value(), c.digest) << c.name;
  }
}

TEST(KnnSearch, TakesEmptySets) {
  FeatureSet set({});
  ST_NODE dummy = {};
  ST_NODE* roots[4] = {&dummy, &dummy, &dummy, &dummy};
  ST_IMAGEFEATURES record = set.record();
  EXPECT_EQ(BuildKDTreeIndices(&record, roots, nullptr), 0);
  EXPECT_THAT(roots, testing::Each(nullptr));
  int32_t untouched = 42;
  tagKNN_RESULT result = {nullptr, &untouched, &untouched, 0};
  for (const int32_t queries : {0, -3})
    EXPECT_EQ(KnnSearch(nullptr, &result, queries, roots, 4, nullptr), 0);
  EXPECT_EQ(untouched, 42);
}

}  // namespace
}  // namespace velmora::test
