#include "burst/resampling/taps.h"

#include <algorithm>
#include <array>

#include "burst/resampling/series.h"

namespace velmora::burst {
namespace {

constexpr int32_t kTapBits = 12;
constexpr int32_t kOne = 1 << kTapBits;

// The three kernels of one axis at a distance t >= 0 from the sample.
constexpr double lanczos(double t) {
  if (t == 0) return 1;
  if (t >= 2) return 0;
  return sine(kPi * t) * sine(kPi * t / 2) / (kPi * t * (kPi * t / 2));
}
constexpr double catmullRom(double t) {
  if (t >= 2) return 0;
  if (t >= 1) return ((-0.5 * t + 2.5) * t - 4) * t + 2;
  return (1.5 * t - 2.5) * t * t + 1;
}
constexpr double gaussian(double t) {
  constexpr double kDeviation = 0.4;
  return exponentialOfMinus(t * t / (2 * kDeviation * kDeviation));
}

using AxisTaps = std::array<std::array<double, 4>, kPhases>;

template <typename Kernel>
constexpr AxisTaps axisTaps(Kernel kernel) {
  AxisTaps taps = {};
  for (std::size_t phase = 0; phase < kPhases; ++phase) {
    const double f = static_cast<double>(phase) / kPhases;
    taps[phase] = {kernel(1 + f), kernel(f), kernel(1 - f), kernel(2 - f)};
  }
  return taps;
}

// Adds up in an order that a mirrored phase shares.
constexpr double sumOf(const std::array<double, 4>& taps) {
  return (taps[0] + taps[3]) + (taps[1] + taps[2]);
}

constexpr AxisTaps normalised(AxisTaps taps) {
  for (auto& row : taps) {
    const double sum = sumOf(row);
    for (double& tap : row)
      tap /= sum;
  }
  return taps;
}

constexpr AxisTaps kLanczos = normalised(axisTaps(lanczos));
constexpr AxisTaps kCatmullRom = axisTaps(catmullRom);
constexpr AxisTaps kGaussian = axisTaps(gaussian);

// What rounding took from or gave to the sum goes to the largest tap, or to all that are as large.
void correctSum(int16_t* window) {
  int32_t sum = 0;
  for (int32_t i = 0; i < 16; ++i)
    sum += window[i];
  const int16_t largest = *std::max_element(window, window + 16);
  const auto ties = static_cast<int32_t>(std::count(window, window + 16, largest));
  int32_t missing = kOne - sum;
  const int32_t share = missing / ties;
  missing -= share * ties;
  for (int32_t i = 0; i < 16; ++i) {
    if (window[i] != largest) continue;
    window[i] = static_cast<int16_t>(window[i] + share + missing);
    missing = 0;
  }
}

WindowTable windows(Memory& memory, const AxisTaps& axis) {
  WindowTable table = {Buffer<int16_t>(memory, std::size_t{16} * kPhases * kPhases), kTapBits};
  int16_t* out = table.taps.data();
  for (const auto& vertical : axis) {
    for (const auto& horizontal : axis) {
      for (const double v : vertical) {
        for (const double h : horizontal) {
          const double tap = kOne * (v * h);
          *out++ = static_cast<int16_t>(tap + (tap < 0 ? -0.5 : 0.5));
        }
      }
    }
  }
  return table;
}

WindowTable normalisedWindows(Memory& memory, const AxisTaps& axis) {
  WindowTable table = windows(memory, axis);
  for (std::size_t i = 0; i < table.taps.size(); i += 16)
    correctSum(table.taps.data() + i);
  return table;
}

}  // namespace

WindowTable lanczosWindows(Memory& memory) {
  return normalisedWindows(memory, kLanczos);
}

WindowTable catmullRomWindows(Memory& memory) {
  return normalisedWindows(memory, kCatmullRom);
}

float catmullRomNoise(int32_t phase) {
  const auto& taps = kCatmullRom[static_cast<std::size_t>(phase)];
  return static_cast<float>(
      sumOf({taps[0] * taps[0], taps[1] * taps[1], taps[2] * taps[2], taps[3] * taps[3]}));
}

WindowTable gaussianWindows(Memory& memory, Buffer<int32_t>& sums) {
  WindowTable table = windows(memory, kGaussian);
  sums = Buffer<int32_t>(memory, std::size_t{kPhases} * kPhases);
  for (std::size_t i = 0; i < sums.size(); ++i) {
    sums[i] = 0;
    for (std::size_t j = 0; j < 16; ++j)
      sums[i] += table.taps[16 * i + j];
  }
  return table;
}

}  // namespace velmora::burst
