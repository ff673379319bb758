#include "interface/textured_frame.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "support/random.h"

namespace velmora::test {
namespace {

/// A value in [-1, 1] that belongs to a lattice point.
double latticeValue(uint64_t scene, int32_t x, int32_t y) {
  Random random(scene * 0x9E3779B97F4A7C15u +
                static_cast<uint64_t>(static_cast<uint32_t>(x)) * 0x100000001B3u +
                static_cast<uint32_t>(y));
  random.next();
  return 2 * random.unit() - 1;
}

/// Lattice values at a spacing of `cell` pixels, smoothly interpolated.
double noise(uint64_t scene, double x, double y, double cell) {
  const double column = std::floor(x / cell), row = std::floor(y / cell);
  const double fx = x / cell - column, fy = y / cell - row;
  const double wx = fx * fx * (3 - 2 * fx), wy = fy * fy * (3 - 2 * fy);
  const auto at = [&](int32_t dx, int32_t dy) {
    return latticeValue(scene, static_cast<int32_t>(column) + dx, static_cast<int32_t>(row) + dy);
  };
  const double top = at(0, 0) * (1 - wx) + at(1, 0) * wx;
  const double bottom = at(0, 1) * (1 - wx) + at(1, 1) * wx;
  return top * (1 - wy) + bottom * wy;
}

uint8_t sample(double value) {
  return static_cast<uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

}  // namespace

std::vector<uint8_t> texturedFrame(int32_t width, int32_t height, int32_t x, int32_t y,
                                   uint64_t scene) {
  std::vector<uint8_t> frame(frameBytes(width, height));
  auto next = frame.begin();
  for (int32_t row = y; row < y + height; ++row) {
    for (int32_t column = x; column < x + width; ++column) {
      *next++ = sample(128 + 70 * noise(scene, column, row, 29) +
                       50 * noise(scene + 100, column, row, 13) +
                       15 * noise(scene + 200, column, row, 5));
    }
  }
  for (int32_t row = y / 2; row < y / 2 + height / 2; ++row) {
    for (int32_t column = x / 2; column < x / 2 + width / 2; ++column) {
      *next++ = sample(128 + 60 * noise(scene + 300, column, row, 40));
      *next++ = sample(128 + 60 * noise(scene + 400, column, row, 40));
    }
  }
  return frame;
}

const std::vector<uint8_t>& frameAt(int32_t x, int32_t y) {
  static std::map<std::pair<int32_t, int32_t>, std::vector<uint8_t>> frames;
  auto& frame = frames[{x, y}];
  if (frame.empty()) frame = texturedFrame(kWidth, kHeight, x, y);
  return frame;
}

}  // namespace velmora::test
