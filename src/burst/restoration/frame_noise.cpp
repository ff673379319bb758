#include "burst/restoration/frame_noise.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

#include "burst/restoration/basis.h"

namespace velmora::burst {
namespace {

constexpr int32_t kBlock = 16;
// More blocks than this tell nothing new: of larger planes every second, third, ... one counts.
constexpr double kEnoughBlocks = 2048;
constexpr int32_t kDarkest = 4;  // samples beyond these may be clipped, which hides their noise
constexpr int32_t kLightest = 251;
// Of white noise: median of the absolute values, over the filter's gain (the root of the sum of the
// squared weights is 6).
constexpr double kMedianOfNormal = 0.6745;
constexpr double kGain = 6;

/// Which of the blocks, sorted by their noise, tells the plane's.
struct Quantile {
  double share;  // of the blocks that lie below that one
  double bias;   // how far it lies below the mean in white noise
};
// The quietest blocks have the least texture; a wider share is steadier.
constexpr Quantile kQuietest = {0.02, 0.83};
constexpr Quantile kQuiet = {0.1, 0.88};
// Less than this part of the noise at half the frequency: JPEG or a soft lens took it away.
constexpr double kTaken = 0.5;

// In JPEG files more is known. With the distance of a filter's taps the power of a texture grows,
// that of noise does not. On photos texture at distance 3 has so many times the power that it gains
// up to 4.
constexpr double kTextureByGrowth = 2.3;
// With more texture than this part of the power, what is left of it says little about noise.
constexpr double kLittleTexture = 0.3;
// Neighbours show less than this part of the noise that wider filters see.
constexpr double kTakenByJpeg = 0.8;
// What JPEG leaves comes in single cosine waves, which only go when taken for more noise: on photos
// of qualities 60 to 95 factor 1 leaves most of them, 1.4 takes texture along.
constexpr double kInWaves = 1.15;

// The second difference in both directions: no slope and no curve along one axis passes.
int32_t highPass(const SourcePlane& plane, int32_t x, int32_t y, int32_t distance) {
  const auto across = [&](int32_t row) {
    return plane.at(x - distance, row) - 2 * plane.at(x, row) + plane.at(x + distance, row);
  };
  return across(y - distance) - 2 * across(y) + across(y + distance);
}

bool clipped(const SourcePlane& plane, int32_t left, int32_t top) {
  for (int32_t y = top; y < top + kBlock; ++y) {
    for (int32_t x = left; x < left + kBlock; ++x) {
      const int32_t sample = plane.at(x, y);
      if (sample < kDarkest || sample > kLightest) return true;
    }
  }
  return false;
}

double blockNoise(const SourcePlane& plane, int32_t left, int32_t top, int32_t distance) {
  std::array<int32_t, std::size_t{kBlock} * kBlock> values;
  std::size_t count = 0;
  for (int32_t y = top; y < top + kBlock; ++y) {
    for (int32_t x = left; x < left + kBlock; ++x)
      values[count++] = std::abs(highPass(plane, x, y, distance));
  }
  // Whole numbers: the share of the middle value that lies below the median keeps the scale fine.
  int32_t* const middle = values.data() + values.size() / 2;
  std::nth_element(values.data(), middle, values.data() + values.size());
  const int32_t median = *middle;
  const auto below =
      std::count_if(values.begin(), values.end(), [&](int32_t v) { return v < median; });
  const auto equal = std::count(values.begin(), values.end(), median);
  const double upToMedian = static_cast<double>(values.size()) / 2 - static_cast<double>(below);
  const double fine = median - 0.5 + upToMedian / static_cast<double>(equal);
  return std::max(fine, 0.0) / (kMedianOfNormal * kGain);
}

// From block to block.
int32_t stepOf(const SourcePlane& plane) {
  const int32_t across = plane.size.width / kBlock;
  const int32_t down = plane.size.height / kBlock;
  const double blocks = static_cast<double>(across) * down;
  return kBlock * std::max(static_cast<int32_t>(std::ceil(std::sqrt(blocks / kEnoughBlocks))), 1);
}

/// Calls block(left, top) for the blocks that count; the filter's taps lie inside the plane.
template <typename Block>
void forBlocks(const SourcePlane& plane, int32_t distance, Block block) {
  const int32_t step = stepOf(plane);
  for (int32_t y = distance; y + kBlock + distance <= plane.size.height; y += step) {
    for (int32_t x = distance; x + kBlock + distance <= plane.size.width; x += step) {
      if (!clipped(plane, x, y)) block(x, y);
    }
  }
}

/// The sorted noise of all blocks that count.
class Blocks {
 public:
  Blocks(Memory& memory, const SourcePlane& plane, int32_t distance) {
    std::size_t count = 0;
    forBlocks(plane, distance, [&](int32_t, int32_t) { ++count; });
    noise_ = Buffer<double>(memory, count);
    std::size_t next = 0;
    forBlocks(plane, distance, [&](int32_t left, int32_t top) {
      noise_[next++] = blockNoise(plane, left, top, distance);
    });
    std::sort(noise_.data(), noise_.data() + count);
  }
  /// 0 without any block.
  [[nodiscard]] double at(const Quantile& quantile) const {
    const auto count = noise_.size();
    if (count == 0) return 0;
    return noise_[static_cast<std::size_t>(quantile.share * static_cast<double>(count))] /
           quantile.bias;
  }

 private:
  Buffer<double> noise_;
};

// Coefficient (u, v) of the orthonormal cosine transform of 8 x 8 samples.
double coefficient(const SourcePlane& plane, int32_t left, int32_t top, int32_t u, int32_t v) {
  int64_t sum = 0;  // below 2^8 * 2^30 * 64 = 2^44
  for (int32_t y = 0; y < 8; ++y) {
    for (int32_t x = 0; x < 8; ++x)
      sum += int64_t{plane.at(left + x, top + y)} * kBasis<8>.rows[u][x] * kBasis<8>.rows[v][y];
  }
  return static_cast<double>(sum) / (1 << 30);
}

// Whether the plane comes from a JPEG file that has taken noise away: of its blocks many more lack
// the highest frequencies than of those half way between.
bool isFromJpeg(const SourcePlane& plane) {
  constexpr double kNothing = 1.5;  // more than rounding makes of it
  constexpr double kManyMore = 0.1;
  int64_t lacking[2] = {};
  int64_t count = 0;
  const int32_t step = stepOf(plane);
  for (int32_t y = 0; y + 12 <= plane.size.height; y += step) {
    for (int32_t x = 0; x + 12 <= plane.size.width; x += step) {
      for (const int32_t frequency : {5, 6, 7}) {
        for (const int32_t half : {0, 1}) {
          const double c = coefficient(plane, x + 4 * half, y + 4 * half, 7, frequency);
          if (std::fabs(c) < kNothing) ++lacking[half];
        }
        ++count;
      }
    }
  }
  return static_cast<double>(lacking[0] - lacking[1]) > kManyMore * static_cast<double>(count);
}

}  // namespace

double measureFrameNoise(Memory& memory, const SourcePlane& plane) {
  const Blocks neighbours(memory, plane, 1);
  const double fine = neighbours.at(kQuietest);
  const double atHalfFrequency = Blocks(memory, plane, 2).at(kQuietest);
  if (isFromJpeg(plane)) {
    const double three = Blocks(memory, plane, 3).at(kQuiet);
    const double four = Blocks(memory, plane, 4).at(kQuiet);
    const double power = three * three;
    const double texture = kTextureByGrowth * std::max(0.0, four * four - power);
    const double coarse = std::sqrt(std::max(0.0, power - texture));
    if (texture < kLittleTexture * power && fine < kTakenByJpeg * std::min(atHalfFrequency, coarse))
      return kInWaves * coarse;
  }
  if (neighbours.at(kQuiet) < kTaken * atHalfFrequency) return atHalfFrequency;
  return fine;
}

}  // namespace velmora::burst
