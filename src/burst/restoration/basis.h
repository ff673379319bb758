// The cosine transforms of restoration: their basis and the fixed-point formats on the way.
//
// Samples are 16-bit with five fraction bits, centred on mid-grey and limited to kSampleLimit.
// Columns are transformed first, at half of the orthonormal scale: what a 16 x 16 block makes of
// the largest samples stays below 2^14, so that sums and differences of two fit 16 bits. Rows
// follow, which leaves coefficients of at most 32760: four fraction bits for 8 x 8 blocks, three
// for 16 x 16. All sums fit 32 bits, since the basis is orthonormal; each axis rounds once.
#ifndef VELMORA_SRC_BURST_RESTORATION_BASIS_H
#define VELMORA_SRC_BURST_RESTORATION_BASIS_H

#include <cstddef>
#include <cstdint>

namespace velmora::burst {

inline constexpr int32_t kMidGrey = 4080;      ///< 127.5 with five fraction bits
inline constexpr int32_t kSampleLimit = 8190;  ///< of centred samples: -128 .. 383 grey levels

/// Rounding shifts behind sums of values times Basis::q15.
inline constexpr int32_t kColumnShift = 16;
template <int32_t N>
inline constexpr int32_t kRowShift = N == 8 ? 15 : 16;
template <int32_t N>
inline constexpr int32_t kInverseRowShift = N == 8 ? 15 : 14;
/// Steps of a coefficient per grey level.
template <int32_t N>
inline constexpr int32_t kCoefficientScale = N == 8 ? 16 : 8;

/// [frequency][position].
template <int32_t N>
struct Basis {
  int16_t q15[N][N];
  float doubled[N][N];  ///< the inverse of columns
};

/// cos(pi * steps / (2 * N)) by its series; the compiler's own arithmetic, no run-time library.
consteval double cosineOfSteps(int32_t steps, int32_t n) {
  int32_t turn = steps % (4 * n);
  if (turn > 2 * n) turn = 4 * n - turn;
  const bool negative = turn > n;
  if (negative) turn = 2 * n - turn;
  const double angle = 3.14159265358979323846 * turn / (2 * n);
  double term = 1;
  double sum = 1;
  for (int32_t i = 1; i < 24; i += 2) {
    term *= -angle * angle / (i * (i + 1));
    sum += term;
  }
  return negative ? -sum : sum;
}

template <int32_t N>
consteval Basis<N> makeBasis() {
  // Square roots of 1 / N and 2 / N.
  constexpr double kConstant = N == 8 ? 0.35355339059327376220 : 0.25;
  constexpr double kWave = N == 8 ? 0.5 : 0.35355339059327376220;
  Basis<N> basis = {};
  for (int32_t k = 0; k < N; ++k) {
    for (int32_t i = 0; i < N; ++i) {
      const double value = k == 0 ? kConstant : kWave * cosineOfSteps((2 * i + 1) * k, N);
      const double scaled = value * 32768;
      basis.q15[k][i] = static_cast<int16_t>(scaled < 0 ? scaled - 0.5 : scaled + 0.5);
      basis.doubled[k][i] = static_cast<float>(2 * value);
    }
  }
  return basis;
}

template <int32_t N>
inline constexpr Basis<N> kBasis = makeBasis<N>();

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RESTORATION_BASIS_H
