// Feature sets and descriptor collections for the tests of the matcher.
#ifndef VELMORA_TESTS_REGISTRATION_FEATURE_SETS_H
#define VELMORA_TESTS_REGISTRATION_FEATURE_SETS_H

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "support/random.h"
#include "velmora_sr/matching.h"

namespace velmora::test {

using Descriptor = std::array<int32_t, 64>;

/// Like those of feature extraction: length about 2^23, half of the values sums of magnitudes.
/// (Vectors pointing away from each other would be so far apart that distances wrap.)
inline std::vector<Descriptor> surfLike(Random& random, std::size_t count) {
  std::vector<Descriptor> all(count);
  for (Descriptor& descriptor : all) {
    for (std::size_t d = 0; d < 64; ++d) {
      const bool magnitude = d % 4 >= 2;
      descriptor[d] = static_cast<int32_t>(
          random.range(magnitude ? 0 : -1000000, magnitude ? 2300000 : 1000000));
    }
  }
  return all;
}

/// A descriptor with each value moved by +-spread, wrapping.
inline Descriptor noisy(Descriptor descriptor, int32_t spread, Random& random) {
  for (auto& value : descriptor)
    value = static_cast<int32_t>(static_cast<uint32_t>(value) +
                                 static_cast<uint32_t>(random.range(-spread, spread)));
  return descriptor;
}

/// A feature set with arrays of its own.
struct FeatureSet {
  std::vector<ST_KEYPOINT> keypoints;
  std::vector<Descriptor> descriptors;

  explicit FeatureSet(std::vector<Descriptor> all)
      : keypoints(all.size()), descriptors(std::move(all)) {}
  ST_IMAGEFEATURES record() {
    int32_t* values = descriptors.empty() ? nullptr : descriptors.front().data();
    return {keypoints.data(), values, static_cast<int32_t>(descriptors.size())};
  }
};

/// The library's forest over a feature set.
struct Forest {
  ST_NODE* roots[kKdTreeCount] = {};
  std::vector<ST_NODE> pool;
  int32_t result;

  explicit Forest(FeatureSet& set) : pool(8 * set.descriptors.size()) {
    ST_IMAGEFEATURES record = set.record();
    void* memory = pool.data();
    result = BuildKDTreeIndices(&record, roots, static_cast<unsigned char*>(memory));
  }
};

/// What KnnMatch finds for each query: two neighbours and their distances, the nearest last.
struct Neighbours {
  std::vector<int32_t> points, distances;

  Neighbours(FeatureSet& set, FeatureSet& queries)
      : points(2 * queries.descriptors.size(), -1), distances(points) {
    Forest forest(set);
    tagKNN_RESULT result = {nullptr, points.data(), distances.data(), 77};
    ST_IMAGEFEATURES query = queries.record(), ref = set.record();
    EXPECT_EQ(KnnMatch(&query, &ref, &result, forest.roots), 0);
    EXPECT_EQ(result.matchCount, 77);
  }
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_REGISTRATION_FEATURE_SETS_H
