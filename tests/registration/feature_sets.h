// Feature sets and descriptor collections for the tests of the matcher.
#ifndef VELMORA_TESTS_REGISTRATION_FEATURE_SETS_H
#define VELMORA_TESTS_REGISTRATION_FEATURE_SETS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "registration/plain_forest.h"
#include "support/random.h"
#include "velmora_sr/matching.h"

namespace velmora::test {

/// Descriptors like those of feature extraction: length about 2^23, half of the values sums of
/// magnitudes. (Vectors pointing away from each other would be so far apart that distances wrap.)
inline std::vector<Descriptor> surfLike(Random& random, std::size_t count) {
  std::vector<Descriptor> all(count);
  for (auto& descriptor : all) {
    for (std::size_t d = 0; d < 64; ++d) {
      const bool magnitude = d % 4 >= 2;
      descriptor[d] = static_cast<int32_t>(magnitude ? random.range(0, 2300000)
                                                     : random.range(-1000000, 1000000));
    }
  }
  return all;
}

/// Few distinct values per dimension: many ties in every split.
inline std::vector<Descriptor> coarse(Random& random, std::size_t count) {
  std::vector<Descriptor> all(count);
  for (auto& descriptor : all) {
    for (auto& value : descriptor)
      value = static_cast<int32_t>(random.range(-1, 1)) << 20;
  }
  return all;
}

/// The whole range of 32 bits: every sum wraps.
inline std::vector<Descriptor> extreme(Random& random, std::size_t count) {
  std::vector<Descriptor> all(count);
  for (auto& descriptor : all) {
    for (auto& value : descriptor)
      value = static_cast<int32_t>(random.next());
  }
  return all;
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

  explicit Forest(FeatureSet& set) : pool(8 * set.descriptors.size()) {
    ST_IMAGEFEATURES record = set.record();
    void* memory = pool.data();
    BuildKDTreeIndices(&record, roots, static_cast<unsigned char*>(memory));
  }
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_REGISTRATION_FEATURE_SETS_H
