#include "burst/resampling/samples.h"

#include <algorithm>
#include <cmath>

namespace velmora::burst {
namespace {

// -1 is 0, -2 is 1, and so on, at both ends, however far.
int32_t mirrored(int32_t i, int32_t size) {
  const int32_t period = 2 * size;
  const int32_t phase = ((i % period) + period) % period;
  return phase < size ? phase : period - 1 - phase;
}

// Rows [top, bottom) of columns [left, right), which may lie anywhere. `sampleOf(x, row)` reads
// column x of a row that `rowOf(y)` has found.
template <typename RowOf, typename SampleOf>
void copyMirrored(Size plane, const Rect& part, int16_t* out, std::ptrdiff_t pitch, RowOf rowOf,
                  SampleOf sampleOf) {
  const int32_t left = std::clamp(part.left, 0, plane.width);
  const int32_t right = std::clamp(part.right, left, plane.width);
  for (int32_t y = part.top; y < part.bottom; ++y, out += pitch) {
    const auto* row = rowOf(mirrored(y, plane.height));
    for (int32_t x = part.left; x < std::min(left, part.right); ++x)
      out[x - part.left] = sampleOf(mirrored(x, plane.width), row);
    for (int32_t x = left; x < right; ++x)
      out[x - part.left] = sampleOf(x, row);
    for (int32_t x = std::max(right, part.left); x < part.right; ++x)
      out[x - part.left] = sampleOf(mirrored(x, plane.width), row);
  }
}

void copyPeriodic(const SampleSource& source, const Rect& part, int16_t* out,
                  std::ptrdiff_t pitch) {
  const Size size = source.samples.size;
  for (int32_t y = part.top; y < part.bottom; ++y, out += pitch) {
    const int16_t* row = source.samples.row((y + source.shift) & (size.height - 1));
    for (int32_t x = part.left; x < part.right; ++x)
      out[x - part.left] = row[(x + source.shift) & (size.width - 1)];
  }
}

}  // namespace

Levels matchedLevels(double gain, double bias, bool chroma) {
  // A level times the gain: below 2^8 * 2^22 = 2^30 for gains up to 64.
  constexpr int32_t kGainBits = 16;
  constexpr int32_t kShift = kGainBits - kFractionBits;
  const auto toFixed = [](double value) {
    constexpr double kLimit = 64 * 256;
    return static_cast<int64_t>(
        std::floor(std::clamp(value, -kLimit, kLimit) * (1 << kGainBits) + 0.5));
  };
  const int64_t g = toFixed(gain);
  const int64_t b = chroma ? 128 * ((1 << kGainBits) - g) : toFixed(bias);
  Levels levels;
  for (int32_t level = 0; level < 256; ++level) {
    const int64_t value = (level * g + b + (1 << (kShift - 1))) >> kShift;
    levels.of[level] = static_cast<int16_t>(std::clamp<int64_t>(value, INT16_MIN, INT16_MAX));
  }
  return levels;
}

void readSamples(const SampleSource& source, const Rect& part, int16_t* out, std::ptrdiff_t pitch) {
  if (source.periodic) {
    copyPeriodic(source, part, out, pitch);
  } else if (source.levels == nullptr) {
    copyMirrored(
        source.samples.size, part, out, pitch, [&](int32_t y) { return source.samples.row(y); },
        [](int32_t x, const int16_t* row) { return row[x]; });
  } else {
    const std::ptrdiff_t step = source.bytes.step;
    const int16_t* levels = source.levels->of;
    copyMirrored(
        source.bytes.size, part, out, pitch, [&](int32_t y) { return source.bytes.row(y); },
        [=](int32_t x, const uint8_t* row) { return levels[row[x * step]]; });
  }
}

}  // namespace velmora::burst
