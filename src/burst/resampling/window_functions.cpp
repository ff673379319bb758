// What the entries of the table of resampling functions mean.
#include <algorithm>

#include "burst/resampling/function_sets.h"
#include "burst/resampling/positions.h"

namespace velmora::burst::scalar {

// Sums stay below 2^15 * 2^15 = 2^30.
void windowSums(const WindowRow& row, int32_t count, int16_t* out) {
  const int32_t half = 1 << (row.shift - 1);
  for (int32_t i = 0; i < count; ++i) {
    const int32_t phases = ((row.y[i] & (kPhases - 1)) << kPhaseBits) + (row.x[i] & (kPhases - 1));
    const int16_t* taps = row.taps + std::ptrdiff_t{16} * phases;
    const int16_t* samples =
        row.source + ((row.y[i] >> kPhaseBits) - 1) * row.pitch + ((row.x[i] >> kPhaseBits) - 1);
    int32_t sum = half;
    for (int32_t v = 0; v < 4; ++v, samples += row.pitch, taps += 4) {
      for (int32_t h = 0; h < 4; ++h)
        sum += samples[h] * taps[h];
    }
    out[i] = static_cast<int16_t>(std::clamp(sum >> row.shift, INT16_MIN, INT16_MAX));
  }
}

}  // namespace velmora::burst::scalar
