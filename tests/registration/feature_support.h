// What the tests of feature extraction and matching share: integral images, parameters, key points,
// feature sets.
#ifndef VELMORA_TESTS_REGISTRATION_FEATURE_SUPPORT_H
#define VELMORA_TESTS_REGISTRATION_FEATURE_SUPPORT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "registration/synthetic_scene.h"
#include "support/random.h"
#include "velmora_sr/features.h"
#include "velmora_sr/matching.h"

namespace velmora::test {

/// What a value that nobody wrote looks like.
constexpr int32_t kUnwritten = -0x5A5A5A5B;

/// An integral image by its definition, and its record.
struct Integral {
  std::vector<int32_t> sums;
  tagIntegralMat record;

  explicit Integral(Frame frame) {
    const auto width = static_cast<std::size_t>(frame.width) + 1;
    sums.assign(width * (static_cast<std::size_t>(frame.height) + 1), 0);
    for (int32_t y = 0; y < frame.height; ++y) {
      int32_t row = 0;
      for (int32_t x = 0; x < frame.width; ++x) {
        row += frame.at(y, x);
        const std::size_t i = (static_cast<std::size_t>(y) + 1) * width + x + 1;
        sums[i] = sums[i - width] + row;
      }
    }
    record = {frame.width + 1, frame.height + 1, sums.data()};
  }
};

inline tagSURFParams surfParams(float threshold = 280.0f, int32_t octaves = 1, int32_t layers = 2) {
  return {threshold, 0.45f, octaves, layers, {VELMORA_SR_DESCRIPTOR_LENGTH, 1, 0, 20}};
}

/// What feature extraction sets of key points: x, y and size of each.
inline std::vector<int32_t> pointsOf(const std::vector<ST_KEYPOINT>& records, int32_t count,
                                     int32_t first = 0) {
  std::vector<int32_t> values;
  for (int32_t i = first; i < count; ++i) {
    const ST_KEYPOINT& p = records[static_cast<std::size_t>(i)];
    values.insert(values.end(), {p.x, p.y, p.size});
  }
  return values;
}

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
  ST_NODE* roots[VELMORA_SR_KD_TREES] = {};
  std::vector<ST_NODE> pool;
  int32_t result;

  explicit Forest(FeatureSet& set) : pool(8 * set.descriptors.size()) {
    ST_IMAGEFEATURES record = set.record();
    void* memory = pool.data();
    result = BuildKDTreeIndices(&record, roots, static_cast<unsigned char*>(memory));
  }
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_REGISTRATION_FEATURE_SUPPORT_H
