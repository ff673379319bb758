// The rules that make kernel tables: Lanczos values, sharpening, Q12. The compiled-in tables and
// the generators share them; velmora_sr/kernel_tables.h names their sources.
//
// Tables must come out alike on every platform, so nothing here calls the mathematics library:
// plain IEEE arithmetic in the order written, without contraction. The values are those of single
// precision: a table made in double precision, or with a reciprocal in place of the division,
// differs in some entries (phases 0 and 25 of the plain table among them).
#ifndef VELMORA_SRC_INTERPOLATION_LANCZOS_RULES_H
#define VELMORA_SRC_INTERPOLATION_LANCZOS_RULES_H

#include <cstddef>
#include <cstdint>
#include <span>

namespace velmora {

inline constexpr int kDefaultPhases = 50;
inline constexpr int kDefaultTaps = 4;
inline constexpr int kDefaultOrder = 2;
inline constexpr float kDefaultStrength = 0.2f;

/// High-pass filter of the 1D sharpening, the identity less a Gaussian of standard deviation 1:
/// outer, centre.
inline constexpr float kSharpenOuter = -0.2741f;
inline constexpr float kSharpenCentre = 0.5481f;

/// 3 x 3 filters of the 2D sharpening, the identity less a Gaussian of standard deviation 1
/// and 1.5: corner, edge, centre.
struct SharpenFilter {
  float corner, edge, centre;

  /// Value in row r and column c, 0..2 each.
  [[nodiscard]] constexpr float at(std::size_t r, std::size_t c) const {
    if (r == 1 && c == 1) return centre;
    return r == 1 || c == 1 ? edge : corner;
  }
};
inline constexpr SharpenFilter kSharpen310 = {-0.07511399686336517f, -0.12384100258350372f,
                                              0.7958199977874756f};
inline constexpr SharpenFilter kSharpen315 = {-0.094742f, -0.118318f, 0.852239f};

/// Sine of x, |x| < 2^31: reduced to [-pi/2, pi/2] by a multiple of pi, then its power series,
/// whose remainder there is below 2e-18. The error stays below 4e-16 while |x| < 2^20.
constexpr double sine(double x) {
  // pi in two parts; the first has 33 bits, so that its multiples are exact.
  constexpr double kPi = 3.14159265346825122833e+00;
  constexpr double kPiRest = 1.21542010130123844986e-10;
  const double turns = x / (kPi + kPiRest);
  const auto half = static_cast<int64_t>(turns < 0.0 ? turns - 0.5 : turns + 0.5);
  const double r = (x - static_cast<double>(half) * kPi) - static_cast<double>(half) * kPiRest;
  const double square = r * r;
  double sum = 1.0;
  for (int k = 22; k >= 2; k -= 2)
    sum = 1.0 - sum * square / static_cast<double>(k * (k + 1));
  return half % 2 == 0 ? r * sum : -(r * sum);
}

/// Lanczos kernel of order 2 at distance t from the sample:
/// sin(pi t) sin(pi t / 2) / (pi^2 t^2 / 2). The constant added above and below makes 1 of t = 0.
constexpr float lanczos(float t) {
  constexpr float kTiny = 2.2204e-16f;
  const auto outer = static_cast<float>(sine(static_cast<double>(3.1415926f * t)));
  const auto inner = static_cast<float>(sine(static_cast<double>(1.5707963f * t)));
  return (outer * inner + kTiny) / (t * t * 4.9348f + kTiny);
}

/// Offset of phase p of `phases`: the nearest single to the quotient.
constexpr float phaseOffset(int p, int phases) {
  return static_cast<float>(p) / static_cast<float>(phases);
}

/// Values of a kernel at fraction f, 0 <= f < 1, for samples 1 - n/2 .. n/2, n = values.size().
/// Outside |t| < order, or for a t that is no number, they are 0.
constexpr void evaluateKernel(std::span<float> values, float f, float scale, int order) {
  const int first = 1 - static_cast<int>(values.size()) / 2;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const float t = (static_cast<float>(first + static_cast<int>(i)) - f) / scale;
    const bool inside = t > -static_cast<float>(order) && t < static_cast<float>(order);
    values[i] = inside ? lanczos(t) : 0.0f;
  }
}

/// Sum from left to right.
constexpr float sumOf(std::span<const float> values) {
  float sum = 0.0f;
  for (const float value : values)
    sum += value;
  return sum;
}

/// Index -1 of a mirrored row is 1, index `size` is size - 2: the end value is not repeated.
constexpr std::size_t mirrored(std::ptrdiff_t index, std::size_t size) {
  const auto last = static_cast<std::ptrdiff_t>(size) - 1;
  return static_cast<std::size_t>(index < 0 ? -index : index > last ? 2 * last - index : index);
}

/// values += strength * high-pass of values. `extended` is scratch of values.size() + 2, and
/// values.size() >= 2.
constexpr void sharpenRow(std::span<float> values, std::span<float> extended, float strength) {
  for (std::size_t i = 0; i < extended.size(); ++i)
    extended[i] = values[mirrored(static_cast<std::ptrdiff_t>(i) - 1, values.size())];
  for (std::size_t i = 0; i < values.size(); ++i) {
    const float highPass = kSharpenOuter * extended[i] + kSharpenCentre * extended[i + 1] +
                           kSharpenOuter * extended[i + 2];
    values[i] = extended[i + 1] + strength * highPass;
  }
}

/// Sum of filter * values over the 3 x 3 neighbourhood whose top left value is `top`; row by row.
constexpr float neighbourhoodSum(const float* top, std::size_t pitch, const SharpenFilter& filter) {
  const float* middle = top + pitch;
  const float* bottom = middle + pitch;
  return filter.corner * top[0] + filter.edge * top[1] + filter.corner * top[2] +
         filter.edge * middle[0] + filter.centre * middle[1] + filter.edge * middle[2] +
         filter.corner * bottom[0] + filter.edge * bottom[1] + filter.corner * bottom[2];
}

/// The same for a block of taps x taps values, row by row, with a 3 x 3 filter. `extended` is
/// scratch of (taps + 2) x (taps + 2).
constexpr void sharpenBlock(std::span<float> block, std::span<float> extended, std::size_t taps,
                            const SharpenFilter& filter, float strength) {
  const std::size_t pitch = taps + 2;
  float* target = extended.data();
  for (std::size_t r = 0; r < pitch; ++r) {
    const float* row = block.data() + mirrored(static_cast<std::ptrdiff_t>(r) - 1, taps) * taps;
    *target++ = row[1];
    for (std::size_t c = 0; c < taps; ++c)
      *target++ = row[c];
    *target++ = row[taps - 2];
  }
  for (std::size_t r = 0; r < taps; ++r) {
    const float* top = extended.data() + r * pitch;
    float* row = block.data() + r * taps;
    for (std::size_t c = 0; c < taps; ++c)
      row[c] = top[pitch + c + 1] + strength * neighbourhoodSum(top + c, pitch, filter);
  }
}

/// Q12 value of a tap, truncated toward zero; saturated, and 0 for what is no number.
constexpr int16_t quantizeTap(float value) {
  const float scaled = value * 4096.0f;
  if (scaled >= 32767.0f) return 32767;
  if (scaled > -32768.0f) return static_cast<int16_t>(scaled);
  return scaled <= -32768.0f ? int16_t{-32768} : int16_t{0};
}

/// A row of a 1D table: the values divided by their sum.
constexpr void quantizeRow(std::span<const float> values, std::span<int16_t> row) {
  const float sum = sumOf(values);
  for (std::size_t i = 0; i < values.size(); ++i)
    row[i] = quantizeTap(values[i] / sum);
}

/// A row of the 2D table: the values as they are, then the sum of what they became (saturated).
constexpr void quantizeBlock(std::span<const float> values, std::span<int16_t> row) {
  int32_t sum = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    row[i] = quantizeTap(values[i]);
    sum += row[i];
  }
  row[values.size()] = static_cast<int16_t>(sum > 32767 ? 32767 : sum < -32768 ? -32768 : sum);
}

/// The separable product: entry (r, c) is vertical[r] * horizontal[c].
constexpr void outerProduct(std::span<const float> vertical, std::span<const float> horizontal,
                            std::span<float> block) {
  for (std::size_t r = 0; r < vertical.size(); ++r) {
    for (std::size_t c = 0; c < horizontal.size(); ++c)
      block[r * horizontal.size() + c] = vertical[r] * horizontal[c];
  }
}

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_LANCZOS_RULES_H
