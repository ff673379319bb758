// What the tests of feature extraction share: pictures, integral images, key points.
#ifndef VELMORA_TESTS_REGISTRATION_FEATURE_SUPPORT_H
#define VELMORA_TESTS_REGISTRATION_FEATURE_SUPPORT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <vector>

#include "support/random.h"
#include "velmora_sr/features.h"

namespace velmora::test {

/// A packed luma plane.
struct Picture {
  int32_t width;
  int32_t height;
  std::vector<uint8_t> samples;

  Picture(int32_t w, int32_t h, uint8_t value = 0)
      : width(w), height(h), samples(static_cast<std::size_t>(w) * h, value) {}

  uint8_t& at(int32_t y, int32_t x) { return samples[static_cast<std::size_t>(y) * width + x]; }
  [[nodiscard]] uint8_t at(int32_t y, int32_t x) const {
    return samples[static_cast<std::size_t>(y) * width + x];
  }
  /// Sum of the samples in rows [y0, y1) and columns [x0, x1).
  [[nodiscard]] int64_t box(int32_t y0, int32_t y1, int32_t x0, int32_t x1) const {
    int64_t sum = 0;
    for (int32_t y = y0; y < y1; ++y) {
      for (int32_t x = x0; x < x1; ++x)
        sum += at(y, x);
    }
    return sum;
  }
  /// The stride is set to what nobody may read.
  tagST_PIC record() {
    tagST_PIC pic = {};
    pic.width = width;
    pic.height = height;
    pic.stride = -7;
    pic.data = samples.data();
    return pic;
  }
};

/// Independent samples: the hardest case for filters.
inline Picture noise(int32_t width, int32_t height, uint64_t seed) {
  Picture picture(width, height);
  picture.samples = Random(seed).bytes(picture.samples.size());
  return picture;
}

/// Blobs of several sizes, as detectors like them: three lattices of random values, each
/// interpolated linearly.
inline Picture texture(int32_t width, int32_t height, uint64_t seed) {
  Picture picture(width, height);
  Random random(seed);
  for (const int32_t cell : {6, 13, 40}) {
    const int32_t columns = width / cell + 2;
    const std::vector<uint8_t> lattice =
        random.bytes(static_cast<std::size_t>(columns) * (height / cell + 2));
    for (int32_t y = 0; y < height; ++y) {
      for (int32_t x = 0; x < width; ++x) {
        const uint8_t* corner = &lattice[static_cast<std::size_t>(y / cell) * columns + x / cell];
        const int32_t fx = x % cell;
        const int32_t fy = y % cell;
        const int32_t top = corner[0] * (cell - fx) + corner[1] * fx;
        const int32_t bottom = corner[columns] * (cell - fx) + corner[columns + 1] * fx;
        const int32_t value = (top * (cell - fy) + bottom * fy) / (cell * cell);
        picture.at(y, x) = static_cast<uint8_t>(picture.at(y, x) + value / 3);
      }
    }
  }
  return picture;
}

/// A picture by the rounded means of its blocks of 4 x 4.
inline Picture reduced(const Picture& picture) {
  Picture small(picture.width / 4, picture.height / 4);
  for (int32_t y = 0; y < small.height; ++y) {
    for (int32_t x = 0; x < small.width; ++x) {
      const int64_t sum = picture.box(4 * y, 4 * y + 4, 4 * x, 4 * x + 4);
      small.at(y, x) = static_cast<uint8_t>((sum + 8) / 16);
    }
  }
  return small;
}

/// An integral image by its definition, and its record.
struct Integral {
  std::vector<int32_t> sums;
  tagIntegralMat record;

  explicit Integral(const Picture& picture) {
    const auto width = static_cast<std::size_t>(picture.width) + 1;
    sums.assign(width * (static_cast<std::size_t>(picture.height) + 1), 0);
    for (int32_t y = 0; y < picture.height; ++y) {
      int64_t row = 0;
      for (int32_t x = 0; x < picture.width; ++x) {
        row += picture.at(y, x);
        const std::size_t i = (static_cast<std::size_t>(y) + 1) * width + x + 1;
        sums[i] = static_cast<int32_t>(sums[i - width] + row);
      }
    }
    record = {picture.width + 1, picture.height + 1, sums.data()};
  }
};

inline tagSURFParams surfParams(float threshold = 280.0f, int32_t octaves = 1, int32_t layers = 2) {
  return {threshold, 0.45f, octaves, layers, {kDescriptorLength, 1, 0, 20}};
}

/// What feature extraction sets of a key point.
using Point = std::tuple<int32_t, int32_t, int32_t>;

inline std::vector<Point> pointsOf(const std::vector<ST_KEYPOINT>& records, int32_t count) {
  std::vector<Point> points;
  for (int32_t i = 0; i < count; ++i) {
    const ST_KEYPOINT& p = records[static_cast<std::size_t>(i)];
    points.emplace_back(p.x, p.y, p.size);
  }
  return points;
}

}  // namespace velmora::test

#endif  // VELMORA_TESTS_REGISTRATION_FEATURE_SUPPORT_H
