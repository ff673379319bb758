#include "engine/noise.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <vector>

#include "timings.h"

namespace velmora::tool {
namespace {

constexpr int kBlock = 16;
// More blocks than this tell nothing new: of larger planes every second, third, ... one counts.
constexpr double kEnoughBlocks = 2048;
constexpr int kDarkest = 4;  // samples beyond these may be clipped, which hides their noise
constexpr int kLightest = 251;
constexpr double kQuietShare = 0.2;
// Of white noise: median of the absolute values, over the filter's gain (the root of the sum of the
// squared weights is 6), and how far the quietest fifth of such medians lies below their mean.
constexpr double kMedianOfNormal = 0.6745;
constexpr double kGain = 6;
constexpr double kQuietBias = 0.88;

// The second difference in both directions: no slope and no curve along one axis passes.
int highPass(const Plane& plane, int x, int y) {
  const uint8_t* above = plane.row(y - 1) + x;
  const uint8_t* here = plane.row(y) + x;
  const uint8_t* below = plane.row(y + 1) + x;
  return above[-1] - 2 * above[0] + above[1] - 2 * here[-1] + 4 * here[0] - 2 * here[1] +
         below[-1] - 2 * below[0] + below[1];
}

// Nothing for a block with clipped samples.
std::optional<double> blockNoise(const Plane& plane, int left, int top) {
  std::array<int, std::size_t{kBlock} * kBlock> values;
  std::size_t count = 0;
  for (int y = top; y < top + kBlock; ++y) {
    for (int x = left; x < left + kBlock; ++x) {
      const int sample = plane.row(y)[x];
      if (sample < kDarkest || sample > kLightest) return std::nullopt;
      values[count++] = std::abs(highPass(plane, x, y));
    }
  }
  // Whole numbers: the share of the middle value that lies below the median keeps the scale fine.
  int* const middle = values.data() + values.size() / 2;
  std::nth_element(values.data(), middle, values.data() + values.size());
  const int median = *middle;
  const auto below = std::count_if(values.begin(), values.end(), [&](int v) { return v < median; });
  const auto equal = std::count(values.begin(), values.end(), median);
  const double upToMedian = static_cast<double>(values.size()) / 2 - static_cast<double>(below);
  const double fine = median - 0.5 + upToMedian / static_cast<double>(equal);
  return std::max(fine, 0.0) / (kMedianOfNormal * kGain);
}

}  // namespace

double noiseOf(const Plane& plane) {
  const int across = plane.size.width / kBlock;
  const int down = plane.size.height / kBlock;
  const double all = double(across) * double(down);
  const int step =
      kBlock * std::max(static_cast<int>(std::ceil(std::sqrt(all / kEnoughBlocks))), 1);
  std::vector<double> blocks;
  for (int y = 1; y + kBlock < plane.size.height; y += step) {
    for (int x = 1; x + kBlock < plane.size.width; x += step) {
      if (const auto noise = blockNoise(plane, x, y)) blocks.push_back(*noise);
    }
  }
  if (blocks.empty()) return 0;
  const auto at = blocks.begin() +
                  static_cast<std::ptrdiff_t>(kQuietShare * static_cast<double>(blocks.size()) / 2);
  std::nth_element(blocks.begin(), at, blocks.end());
  return *at / kQuietBias;
}

double noiseOf(const Picture& picture) {
  const timings::Step step("measure noise");
  if (picture.grey) return noiseOf(picture.y);
  return std::max({noiseOf(picture.y), noiseOf(picture.u), noiseOf(picture.v)});
}

}  // namespace velmora::tool
