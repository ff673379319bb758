#include "burst/resampling/samples.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

namespace velmora::burst {
namespace {

// -1 is 0, -2 is 1, and so on, at both ends, however far.
int32_t mirrored(int32_t i, int32_t size) {
  if (i >= 0 && i < size) return i;
  const int32_t period = 2 * size;
  const int32_t phase = ((i % period) + period) % period;
  return phase < size ? phase : period - 1 - phase;
}

// Columns and rows of a part, which may lie anywhere. `rowOf(y)` finds a row, `copy(x, row, count,
// out)` takes samples of it from column x on.
template <typename RowOf, typename Copy>
void copyMirrored(Size plane, const Rect& part, int16_t* out, std::ptrdiff_t pitch, RowOf rowOf,
                  Copy copy) {
  const int32_t left = std::clamp(part.left, 0, plane.width);
  const int32_t right = std::clamp(part.right, left, plane.width);
  for (int32_t y = part.top; y < part.bottom; ++y, out += pitch) {
    const auto* row = rowOf(mirrored(y, plane.height));
    for (int32_t x = part.left; x < std::min(left, part.right); ++x)
      copy(mirrored(x, plane.width), row, 1, out + (x - part.left));
    copy(left, row, right - left, out + (left - part.left));
    for (int32_t x = std::max(right, part.left); x < part.right; ++x)
      copy(mirrored(x, plane.width), row, 1, out + (x - part.left));
  }
}

// Samples of a caller's plane. What is plain for the compiler it makes vectors of.
template <typename Step>
void copyBytes(const SampleSource& source, const Rect& part, int16_t* out, std::ptrdiff_t pitch,
               Step step) {
  const auto copy = [&](auto levelOf) {
    copyMirrored(
        source.bytes.size, part, out, pitch, [&](int32_t y) { return source.bytes.row(y); },
        [=](int32_t x, const uint8_t* row, int32_t count, int16_t* to) {
          const uint8_t* from = row + x * step;
          for (int32_t i = 0; i < count; ++i)
            to[i] = levelOf(from[i * step]);
        });
  };
  if (source.levels->plain) {
    copy([](uint8_t byte) { return static_cast<int16_t>(byte << kFractionBits); });
  } else {
    copy([levels = source.levels->of](uint8_t byte) { return levels[byte]; });
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
  levels.plain = gain == 1 && (chroma || bias == 0);
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
        [](int32_t x, const int16_t* row, int32_t count, int16_t* to) {
          std::copy_n(row + x, count, to);
        });
  } else if (source.bytes.step == 1) {
    copyBytes(source, part, out, pitch, std::integral_constant<std::ptrdiff_t, 1>());
  } else if (source.bytes.step == 2) {
    copyBytes(source, part, out, pitch, std::integral_constant<std::ptrdiff_t, 2>());
  } else {
    copyBytes(source, part, out, pitch, source.bytes.step);
  }
}

}  // namespace velmora::burst
