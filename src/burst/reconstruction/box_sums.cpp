#include "burst/reconstruction/box_sums.h"

#include <algorithm>

#include "burst/resampling/functions.h"

namespace velmora::burst {
namespace {

constexpr int32_t kTapBits = 7;

}  // namespace

BoxTaps::BoxTaps(double side) {
  for (int32_t phase = 0; phase < kPhases; ++phase) {
    auto& taps = taps_[static_cast<std::size_t>(phase)];
    // Sample i covers [i, i + 1), the square [begin, begin + side).
    const double begin = static_cast<double>(phase) / kPhases;
    int32_t sum = 0;
    for (int32_t i = 0; i < kMost; ++i) {
      const double overlap = std::min(i + 1.0, begin + side) - std::max<double>(i, begin);
      const double tap = (1 << kTapBits) * (std::max(overlap, 0.0) / side);
      taps[static_cast<std::size_t>(i)] = static_cast<int16_t>(tap + 0.5);
      sum += taps[static_cast<std::size_t>(i)];
    }
    // What rounding has taken or given goes to the middle, which moves the mean least.
    const auto middle = static_cast<std::size_t>(begin + side / 2);
    taps[middle] = static_cast<int16_t>(taps[middle] + (1 << kTapBits) - sum);
    for (int32_t i = 0; i < kMost; ++i) {
      if (taps[static_cast<std::size_t>(i)] != 0) count_ = std::max(count_, i + 1);
    }
  }
}

BoxSums::BoxSums(Memory& memory, double sideX, double sideY) : x_(sideX), y_(sideY) {
  constexpr int32_t kWindow = 4;
  if (x_.count() > kWindow || y_.count() > kWindow) return;
  windows_ = {Buffer<int16_t>(memory, std::size_t{16} * kPhases * kPhases), 2 * kTapBits};
  int16_t* out = windows_.taps.data();
  for (int32_t yPhase = 0; yPhase < kPhases; ++yPhase) {
    for (int32_t xPhase = 0; xPhase < kPhases; ++xPhase) {
      for (std::size_t v = 0; v < kWindow; ++v) {
        for (std::size_t h = 0; h < kWindow; ++h)
          *out++ = static_cast<int16_t>(y_.of(yPhase)[v] * x_.of(xPhase)[h]);
      }
    }
  }
}

void BoxSums::row(const int16_t* source, std::ptrdiff_t pitch, const int32_t* x, const int32_t* y,
                  int32_t count, int16_t* out) const {
  if (windows_.taps.data() != nullptr) {
    resamplingFunctions().windowSums({source, pitch, x, y, windows_.taps.data(), windows_.shift},
                                     count, out);
    return;
  }
  for (int32_t i = 0; i < count; ++i) {
    const auto& across = x_.of(x[i] & (kPhases - 1));
    const auto& down = y_.of(y[i] & (kPhases - 1));
    const int16_t* samples =
        source + ((y[i] >> kPhaseBits) - 1) * pitch + ((x[i] >> kPhaseBits) - 1);
    // Means of 16-bit samples: sums stay below 2^15 * 2^14.
    int32_t sum = 1 << (2 * kTapBits - 1);
    for (const int16_t tap : down) {
      int32_t line = 0;
      for (std::size_t h = 0; h < BoxTaps::kMost; ++h)
        line += samples[h] * across[h];
      sum += line * tap;
      samples += pitch;
    }
    out[i] = static_cast<int16_t>(sum >> (2 * kTapBits));
  }
}

}  // namespace velmora::burst
