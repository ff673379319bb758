#include "burst/resampling/source_window.h"

#include <algorithm>
#include <cmath>

namespace velmora::burst {
namespace {

/// Any index, folded back into [0, size) at the border samples.
int32_t mirrored(int32_t index, int32_t size) {
  if (size == 1) return 0;
  const int32_t period = 2 * (size - 1);
  const int32_t folded = ((index % period) + period) % period;
  return std::min(folded, period - folded);
}

int32_t rounded(double value) {
  return static_cast<int32_t>(std::floor(value + 0.5));
}

/// Up to 255 * 8 + 1024 grey levels, so the sum stays below 2^28 and the result within 17 bits;
/// what 16 do not hold is limited.
int16_t matched(uint8_t sample, const LevelMatch& match) {
  const int32_t level = (sample * match.gain + match.bias + 1024) >> 11;
  return static_cast<int16_t>(std::clamp(level, -32768, 32767));
}

}  // namespace

LevelMatch LevelMatch::of(int32_t plane, double gain, double bias) {
  gain = std::clamp(gain, 0.125, 8.0);
  bias = plane == 0 ? std::clamp(bias, -1024.0, 1024.0) : 128 * (1 - gain);
  return {rounded(gain * 65536), rounded(bias * 65536)};
}

void loadWindow(const SourcePlane& plane, const Rect& part, const LevelMatch& match, int16_t* out,
                std::ptrdiff_t pitch) {
  const int32_t insideLeft = std::clamp(0, part.left, part.right);
  const int32_t insideRight = std::clamp(plane.size.width, insideLeft, part.right);
  for (int32_t y = part.top; y < part.bottom; ++y, out += pitch) {
    const uint8_t* const row = plane.row(mirrored(y, plane.size.height));
    const auto take = [&](int32_t x) { return matched(row[x * plane.step], match); };
    for (int32_t x = part.left; x < insideLeft; ++x) {
      out[x - part.left] = take(mirrored(x, plane.size.width));
    }
    if (plane.step == 1) {  // a loop of its own, for the compiler to make vectors of
      for (int32_t x = insideLeft; x < insideRight; ++x)
        out[x - part.left] = matched(row[x], match);
    } else {
      for (int32_t x = insideLeft; x < insideRight; ++x)
        out[x - part.left] = take(x);
    }
    for (int32_t x = insideRight; x < part.right; ++x) {
      out[x - part.left] = take(mirrored(x, plane.size.width));
    }
  }
}

}  // namespace velmora::burst
