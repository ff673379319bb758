#include "engine/sharpness.h"

#include <algorithm>
#include <cstdint>

#include "engine/noise.h"
#include "timings.h"

namespace velmora::tool {
namespace {

// Of white noise with variance 1, what both Sobel gradients make of it: 12 each.
constexpr double kNoiseGain = 24;
// Sobel's weights on one side sum to 4, over two samples.
constexpr double kStep = 8;

}  // namespace

double sharpnessOf(const Plane& plane) {
  const timings::Step step("measure sharpness");
  const Size size = plane.size;
  if (size.width < 3 || size.height < 3) return 0;
  int64_t energy = 0;
  for (int y = 1; y + 1 < size.height; ++y) {
    const uint8_t* above = plane.row(y - 1);
    const uint8_t* here = plane.row(y);
    const uint8_t* below = plane.row(y + 1);
    // Up to 2 * 1020^2 a sample: a row of 32767 is beyond 32 bits.
    int64_t row = 0;
    for (int x = 1; x + 1 < size.width; ++x) {
      const int across = above[x + 1] + 2 * here[x + 1] + below[x + 1] - above[x - 1] -
                         2 * here[x - 1] - below[x - 1];
      const int down =
          below[x - 1] + 2 * below[x] + below[x + 1] - above[x - 1] - 2 * above[x] - above[x + 1];
      row += across * across + down * down;
    }
    energy += row;
  }
  const double samples = double(size.width - 2) * double(size.height - 2);
  const double noise = noiseOf(plane);
  const double left = static_cast<double>(energy) / samples - kNoiseGain * noise * noise;
  return std::max(left, 0.0) / (kStep * kStep);
}

}  // namespace velmora::tool
