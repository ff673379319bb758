// The cosine transforms of restoration: their basis and the fixed-point formats on the way.
//
// Samples are 16-bit with five fraction bits, centred on mid-grey and limited to kSampleLimit.
// Columns are transformed first, at half (8 x 8) or a quarter (16 x 16) of the orthonormal scale,
// which leaves at most 8188 or 5790: sums of four fit 16 bits. Rows follow at full scale, which
// leaves at most 23160: four fraction bits for 8 x 8 blocks, three for 16 x 16. Since the basis is
// orthonormal, no sum on the way forward or back, of whatever shrinking leaves, is larger.
//
// Transforms of 8 values round each product to 16 bits, those of 16 values, which have more
// products and fewer fraction bits, their 32-bit sums.
#ifndef VELMORA_SRC_BURST_RESTORATION_BASIS_H
#define VELMORA_SRC_BURST_RESTORATION_BASIS_H

#include <cstddef>
#include <cstdint>

namespace velmora::burst {

inline constexpr int32_t kMidGrey = 4080;      ///< 127.5 with five fraction bits
inline constexpr int32_t kSampleLimit = 5790;  ///< of centred samples: -53 .. 308 grey levels

/// Rounding shifts behind values times Basis::rows and Basis::columns.
inline constexpr int32_t kRowShift = 15;
template <int32_t N>
inline constexpr int32_t kColumnShift = N == 8 ? 15 : 17;
/// Steps of a coefficient per grey level.
template <int32_t N>
inline constexpr int32_t kCoefficientScale = N == 8 ? 16 : 8;

/// [frequency][position].
template <int32_t N>
struct Basis {
  int16_t rows[N][N];
  int16_t columns[N][N];
  float columnsBack[N][N];
};

/// cos(pi * steps / (2 * N)) by its series; the compiler's own arithmetic, no run-time library.
constexpr double cosineOfSteps(int32_t steps, int32_t n) {
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
constexpr Basis<N> makeBasis() {
  // Square roots of 1 / N and 2 / N.
  constexpr double kConstant = N == 8 ? 0.35355339059327376220 : 0.25;
  constexpr double kWave = N == 8 ? 0.5 : 0.35355339059327376220;
  Basis<N> basis = {};
  for (int32_t k = 0; k < N; ++k) {
    for (int32_t i = 0; i < N; ++i) {
      const double value = k == 0 ? kConstant : kWave * cosineOfSteps((2 * i + 1) * k, N);
      const double q15 = value * 32768;
      const double half = N == 8 ? q15 / 2 : q15;
      basis.rows[k][i] = static_cast<int16_t>(q15 < 0 ? q15 - 0.5 : q15 + 0.5);
      basis.columns[k][i] = static_cast<int16_t>(half < 0 ? half - 0.5 : half + 0.5);
      basis.columnsBack[k][i] = static_cast<float>((N == 8 ? 2 : 4) * value);
    }
  }
  return basis;
}

template <int32_t N>
inline constexpr Basis<N> kBasis = makeBasis<N>();

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RESTORATION_BASIS_H
