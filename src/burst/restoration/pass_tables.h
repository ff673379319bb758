// What passes shrink coefficients by.
#ifndef VELMORA_SRC_BURST_RESTORATION_PASS_TABLES_H
#define VELMORA_SRC_BURST_RESTORATION_PASS_TABLES_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <tuple>

#include "burst/memory.h"
#include "burst/restoration/basis.h"
#include "burst/restoration/functions.h"
#include "burst/restoration/plan.h"

namespace velmora::burst {

/// Tables of a block size, [size * size][frames - 1]: thresholds of the first pass, squares of the
/// second.
struct PassTables {
  Buffer<int16_t> thresholds;
  Buffer<float> squares;
};

/// For blocks of N x N, whose noise is a member of CoefficientNoise. Throws std::bad_alloc.
///
/// Thresholds are in steps of a coefficient, which is a whole number: rounded down they mean the
/// same. The first coefficient, the block's mean, is always kept.
template <int32_t N>
PassTables passTables(Memory& memory, const RestorationPlan& plan,
                      std::array<float, std::size_t{N} * N> CoefficientNoise::*noise) {
  constexpr float kThreshold = 2.6F;  // in standard deviations of the noise
  constexpr std::size_t kEntries = std::size_t{N} * N;
  static_assert(kTables == std::tuple_size_v<decltype(plan.noise)>);
  PassTables tables = {{memory, kEntries * kTables}, {memory, kEntries * kTables}};
  for (std::size_t i = 0; i < kEntries; ++i) {
    for (std::size_t n = 0; n < kTables; ++n) {
      const float levels = std::clamp((plan.noise[n].*noise)[i], 0.0F, 255.0F);
      const float sigma = levels * float{kCoefficientScale<N>};
      const float threshold = std::min(kThreshold * sigma, 32766.0F);
      tables.thresholds[i * kTables + n] = i == 0 ? int16_t{-1} : static_cast<int16_t>(threshold);
      tables.squares[i * kTables + n] = i == 0 ? 0.0F : sigma * sigma;
    }
  }
  return tables;
}

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RESTORATION_PASS_TABLES_H
