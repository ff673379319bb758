// The Gaussian weights of the descriptor's 20 x 20 Haar responses.
#ifndef VELMORA_SRC_REGISTRATION_DESCRIPTOR_WEIGHTS_H
#define VELMORA_SRC_REGISTRATION_DESCRIPTOR_WEIGHTS_H

#include <array>
#include <cstdint>

namespace velmora {

/// Cells per side of the grid of Haar responses.
inline constexpr int32_t kHaarSide = 20;

/// w(i, j) = round(2^24 G(i, j) / sum of G), row-major, with the Gaussian
/// G(i, j) = exp(-((i - 9.5)^2 + (j - 9.5)^2) / (2 * 3.3^2)). From 62 in the corners to 240761 in
/// the centre; rounding leaves a sum of 16777204.
///
/// With the odd numbers k = 2 i - 19 and l = 2 j - 19 the Gaussian is q^(k^2 + l^2), where
/// q = exp(-1 / (8 * 3.3^2)). So one constant gives the table while compiling; no weight comes
/// nearer than 0.0019 to a half, far beyond the error of the powers.
inline constexpr std::array<int32_t, kHaarSide* kHaarSide> kDescriptorWeights = [] {
  constexpr double q = 0.98858720516679155;
  std::array<double, kHaarSide> row{};
  double sum = 0;
  for (int32_t i = 0; i < kHaarSide; ++i) {
    const int32_t k = 2 * i - (kHaarSide - 1);
    double power = 1;
    for (int32_t n = 0; n < k * k; ++n)
      power *= q;
    row[i] = power;
    sum += power;
  }
  std::array<int32_t, kHaarSide * kHaarSide> weights{};
  for (int32_t i = 0; i < kHaarSide; ++i) {
    for (int32_t j = 0; j < kHaarSide; ++j) {
      const double weight = row[i] * row[j] / (sum * sum) * 16777216.0;
      // Positive, and a constant, which std::lround cannot make.
      weights[i * kHaarSide + j] =
          static_cast<int32_t>(weight + 0.5);  // NOLINT(bugprone-incorrect-roundings)
    }
  }
  return weights;
}();

}  // namespace velmora

#endif  // VELMORA_SRC_REGISTRATION_DESCRIPTOR_WEIGHTS_H
