// Feature sets and descriptor collections for the tests of the matcher.
#ifndef VELMORA_TESTS_REGISTRATION_FEATURE_SETS_H
#define VELMORA_TESTS_REGISTRATION_FEATURE_SETS_H

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "registration/plain_forest.h"
#include "support/random.h"
#include "velmora_sr/matching.h"

namespace velmora::test {

/// `count` descriptors of the values that make(random, dimension) gives.
template <typename Make>
std::vector<Descriptor> descriptorsOf(Random& random, std::size_t count, Make make) {
  std::vector<Descriptor> all(count);
  for (auto& descriptor : all) {
    for (std::size_t d = 0; d < 64; ++d)
      descriptor[d] = static_cast<int32_t>(make(random, d));
  }
  return all;
}

/// Like those of feature extraction: length about 2^23, half of the values sums of magnitudes.
/// (Vectors pointing away from each other would be so far apart that distances wrap.)
inline std::vector<Descriptor> surfLike(Random& random, std::size_t count) {
  return descriptorsOf(random, count, [](Random& r, std::size_t d) {
    return d % 4 >= 2 ? r.range(0, 2300000) : r.range(-1000000, 1000000);
  });
}

/// Few distinct values per dimension: many ties in every split.
inline std::vector<Descriptor> coarse(Random& random, std::size_t count) {
  return descriptorsOf(random, count,
                       [](Random& r, std::size_t) { return r.range(-1, 1) * (1 << 20); });
}

/// The whole range of 32 bits: every sum wraps.
inline std::vector<Descriptor> extreme(Random& random, std::size_t count) {
  return descriptorsOf(random, count, [](Random& r, std::size_t) { return r.next(); });
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

}  // namespace velmora::test

#endif  // VELMORA_TESTS_REGISTRATION_FEATURE_SETS_H
