// Conversion of floats to integers that is defined for every value.
#ifndef VELMORA_SRC_COMMON_FLOAT_TO_INT_H
#define VELMORA_SRC_COMMON_FLOAT_TO_INT_H

#include <cstdint>

namespace velmora {

/// Cuts toward zero; values beyond 32 bits saturate, NaN gives `notANumber`. Float widens exactly.
constexpr int32_t truncateToInt(double value, int32_t notANumber = 0) {
  if (value != value) return notANumber;
  if (value >= 2147483647.0) return INT32_MAX;
  if (value <= -2147483648.0) return INT32_MIN;
  return static_cast<int32_t>(value);
}

}  // namespace velmora

#endif  // VELMORA_SRC_COMMON_FLOAT_TO_INT_H
