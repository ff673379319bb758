// Weights of the de-ghosting by the difference between the frames.
#include "velmora_sr/deghosting.h"

#include <cmath>

const int16_t Degost_LUT[256] = {4096, 4096, 3803, 3511, 3218, 2926, 2633, 2341,
                                 2048, 1755, 1463, 1170, 878,  585,  293};

void CreateDeGhostLUTOnline(int16_t* table, int32_t low, int32_t high) {
  // 64 bits, so that no pair of thresholds overflows.
  const auto range = static_cast<float>(int64_t{high} - low);
  for (int32_t i = 0; i < 256; ++i) {
    float weight = 0.0f;
    if (i < low) {
      weight = 1.0f;
    } else if (i < high) {
      weight = static_cast<float>(int64_t{high} - i) / range;
    }
    table[i] = static_cast<int16_t>(std::floor(weight * 4096.0 + 0.5));
  }
}
