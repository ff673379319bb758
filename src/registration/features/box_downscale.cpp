// Reduction of large pictures by four before their features are extracted.
#include "registration/functions.h"
#include "velmora_sr/features.h"

void DownScaleNewX16_neon_surf_asm(uint8_t* src, int32_t height, int32_t width, uint8_t* dst) {
  const auto reduceBox4 = velmora::registrationFunctions().reduceBox4;
  const int32_t columns = width / 4;
  if (columns < 1) return;
  for (int32_t row = 0; row < height / 4; ++row) {
    reduceBox4(src, width, dst, columns);
    src += std::ptrdiff_t{4} * width;
    dst += columns;
  }
}
