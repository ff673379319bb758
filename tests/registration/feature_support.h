// What the tests of feature extraction share: integral images, parameters, key points.
#ifndef VELMORA_TESTS_REGISTRATION_FEATURE_SUPPORT_H
#define VELMORA_TESTS_REGISTRATION_FEATURE_SUPPORT_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "registration/synthetic_scene.h"
#include "velmora_sr/features.h"

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
  return {threshold, 0.45f, octaves, layers, {kDescriptorLength, 1, 0, 20}};
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

}  // namespace velmora::test

#endif  // VELMORA_TESTS_REGISTRATION_FEATURE_SUPPORT_H
