#include "burst/weights/noise_between.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "burst/weights/warped_plane.h"

namespace velmora::burst {
namespace {

constexpr int32_t kBlock = 16;
constexpr std::size_t kSamples = std::size_t{kBlock} * kBlock;
// More blocks than this tell nothing new: of larger planes every second, third, ... one counts.
constexpr int64_t kEnoughBlocks = 2048;
constexpr int32_t kDarkest = 4;  // samples beyond these may be clipped, which hides their noise
constexpr int32_t kLightest = 251;
// Of white noise: the median of the absolute values, and how far the tenth of 256 such medians that
// is lowest lies below their mean. The quietest blocks count, where no texture is left over.
constexpr double kMedianOfNormal = 0.6745;
constexpr std::size_t kQuietest = 10;  // one block in ten is as quiet or quieter
constexpr double kQuietBias = 0.915;
constexpr float kUnusable = -1;

/// How much of white noise is left in the difference of a sample and one that was interpolated at a
/// pair of phases, as the factor that makes its standard deviation that of one frame:
/// 1 / sqrt(1 + gain^2 * noise of x * noise of y).
class Evenness {
 public:
  Evenness(Memory& memory, double gain) : factors_(memory, std::size_t{kPhases} * kPhases) {
    const auto square = static_cast<float>(gain * gain);
    for (int32_t y = 0; y < kPhases; ++y) {
      for (int32_t x = 0; x < kPhases; ++x) {
        factors_[index(x, y)] = 1 / std::sqrt(1 + square * catmullRomNoise(x) * catmullRomNoise(y));
      }
    }
  }
  /// For positions with six fraction bits.
  [[nodiscard]] float factor(int32_t x, int32_t y) const { return factors_[index(x, y)]; }

 private:
  static std::size_t index(int32_t x, int32_t y) {
    return static_cast<std::size_t>((y & (kPhases - 1)) << kPhaseBits | (x & (kPhases - 1)));
  }
  Buffer<float> factors_;
};

/// The samples of a block; false where some may be clipped.
bool takeBlock(const SourcePlane& plane, const Rect& block,
               std::array<uint8_t, kSamples>& samples) {
  uint8_t* to = samples.data();
  for (int32_t y = block.top; y < block.bottom; ++y) {
    const uint8_t* from = plane.row(y) + block.left * plane.step;
    for (int32_t x = 0; x < kBlock; ++x, from += plane.step)
      *to++ = *from;
  }
  uint8_t darkest = UINT8_MAX;
  uint8_t lightest = 0;
  for (const uint8_t sample : samples) {
    darkest = std::min(darkest, sample);
    lightest = std::max(lightest, sample);
  }
  return darkest >= kDarkest && lightest <= kLightest;
}

/// The value that half of the others are not above, of values from 0 on.
float middleOf(std::array<float, kSamples>& values) {
  // Sorted by their whole parts into places, of which only the one in the middle is looked into.
  constexpr std::size_t kPlaces = 256;
  constexpr std::size_t kBefore = kSamples / 2;
  std::array<uint16_t, kPlaces> counts = {};
  const auto placeOf = [](float value) {
    return std::min(static_cast<std::size_t>(static_cast<int32_t>(value)), kPlaces - 1);
  };
  for (const float value : values)
    ++counts[placeOf(value)];
  std::size_t place = 0;
  std::size_t before = 0;
  while (before + counts[place] <= kBefore)
    before += counts[place++];
  auto* const end = std::remove_if(values.begin(), values.end(),
                                   [&](float value) { return placeOf(value) != place; });
  auto* const middle = values.begin() + static_cast<std::ptrdiff_t>(kBefore - before);
  std::nth_element(values.begin(), middle, end);
  return *middle;
}

/// The median of the absolute differences of a block from their mean, over what it is for noise of
/// standard deviation 1.
float blockNoise(const WarpedPlane& warped, const Evenness& evenness, const Rect& block,
                 const WarpScratch& scratch) {
  std::array<uint8_t, kSamples> samples;
  if (!takeBlock(warped.reference(), block, samples)) return kUnusable;
  std::array<int16_t, kSamples> values;
  warped.all(block, scratch, values.data());
  std::array<float, kSamples> differences;
  float sum = 0;
  bool allInside = true;
  for (std::size_t i = 0; i < kSamples; ++i) {
    const int32_t px = scratch.x[i];
    const int32_t py = scratch.y[i];
    allInside &= warped.inside(px, py);
    const int32_t difference = values[i] - (samples[i] << kFractionBits);
    differences[i] = static_cast<float>(difference) * evenness.factor(px, py);
    sum += differences[i];
  }
  if (!allInside) return kUnusable;
  const float mean = sum / static_cast<float>(kSamples);
  for (float& d : differences)
    d = std::fabs(d - mean);
  return middleOf(differences) / (1 << kFractionBits) / static_cast<float>(kMedianOfNormal);
}

double planeNoise(Memory& memory, Workers& workers, const MatchedPair& pair, int32_t plane,
                  const WindowTable& windows) {
  const WarpedPlane warped(memory, workers, pair, plane, windows);
  const Size size = warped.size();
  const int64_t all = int64_t{size.width / kBlock} * (size.height / kBlock);
  int32_t step = kBlock;
  while (int64_t{step} * step * kEnoughBlocks < all * kBlock * kBlock)
    step += kBlock;
  const int32_t across = (size.width - kBlock) / step + 1;
  const int32_t down = (size.height - kBlock) / step + 1;
  if (size.width < kBlock || size.height < kBlock) return kUnusable;

  const auto blockAt = [step](int32_t i, int32_t j) {
    return Rect{i * step, j * step, i * step + kBlock, j * step + kBlock};
  };
  std::size_t largest = 0;
  for (int32_t j = 0; j < down; ++j) {
    for (int32_t i = 0; i < across; ++i) {
      largest = std::max(largest, warped.windowSize(blockAt(i, j)));
    }
  }
  std::array<WarpScratch, kMostWorkers> scratch;
  for (int32_t w = 0; w < workers.count(); ++w) {
    scratch[static_cast<std::size_t>(w)] = {Buffer<int16_t>(memory, largest),
                                            Buffer<int32_t>(memory, kSamples),
                                            Buffer<int32_t>(memory, kSamples)};
  }
  const Buffer<float> noise(memory,
                            static_cast<std::size_t>(across) * static_cast<std::size_t>(down));
  const Evenness evenness(memory, pair.gain);
  workers.run(down, 0, [&](int32_t j, int32_t worker) {
    float* out = noise.data() + static_cast<std::ptrdiff_t>(j) * across;
    for (int32_t i = 0; i < across; ++i) {
      *out++ =
          blockNoise(warped, evenness, blockAt(i, j), scratch[static_cast<std::size_t>(worker)]);
    }
  });
  float* const end = std::remove(noise.data(), noise.data() + noise.size(), kUnusable);
  const auto usable = static_cast<std::size_t>(end - noise.data());
  if (usable == 0) return kUnusable;
  float* const quiet = noise.data() + usable / kQuietest;
  std::nth_element(noise.data(), quiet, end);
  return static_cast<double>(*quiet) / kQuietBias;
}

}  // namespace

NoiseLevels measureNoiseBetween(Memory& memory, Workers& workers, const MatchedPair& pair) {
  const WindowTable windows = catmullRomWindows(memory);
  NoiseLevels levels;
  for (int32_t plane = 0; plane < kPlanes; ++plane) {
    levels.sigma[plane] = planeNoise(memory, workers, pair, plane, windows);
  }
  return levels;
}

}  // namespace velmora::burst
