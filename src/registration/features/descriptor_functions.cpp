// Scalar functions of the descriptor: the patch of a point and its Haar sums.
#include <algorithm>
#include <array>

#include "registration/features/descriptor_weights.h"
#include "registration/features/feature_functions.h"

namespace velmora::scalar {

void reducePatch(const uint8_t* window, std::ptrdiff_t stride, int32_t spacing, uint8_t* patch) {
  const auto reciprocal = static_cast<uint32_t>(65536 / (spacing * spacing));
  for (int32_t y = 0; y < kPatchSide; ++y) {
    std::array<uint32_t, kPatchSide> sums{};  // at most 256^2 * 255 each
    for (int32_t row = 0; row < spacing; ++row, window += stride) {
      const uint8_t* sample = window;
      for (uint32_t& sum : sums) {
        for (int32_t i = 0; i < spacing; ++i)
          sum += *sample++;
      }
    }
    // The product stays below 255 * 65536 + 1.
    for (const uint32_t sum : sums)
      *patch++ = static_cast<uint8_t>((sum * reciprocal + 32768) >> 16);
  }
}

void haarSums(const uint8_t* patch, int32_t* sums) {
  constexpr int32_t kCells = kHaarSide / 4;  // a sub-region has 5 x 5 cells
  // The weights of an inner sub-region add up to 3202390, so that no sum exceeds 510 times this,
  // 1633218900: 32 bits hold them all.
  std::fill_n(sums, 64, 0);
  for (int32_t i = 0; i < kHaarSide; ++i) {
    int32_t* regionRow = sums + i / kCells * 16;
    for (int32_t j = 0; j < kHaarSide; ++j) {
      // The patch has rows of 21 samples but is read as rows of 20. So the lower pair of a cell
      // lies one column left of its upper pair, and every row of cells begins one column further
      // left than the one above. Both pictures of a pair are described this way and thresholds are
      // tuned for it: straight rows would be another descriptor.
      const int32_t k = kHaarSide * i + j;
      const int32_t a = patch[k];
      const int32_t b = patch[k + 1];
      const int32_t c = patch[k + kHaarSide];
      const int32_t d = patch[k + kHaarSide + 1];
      const int32_t weight = kDescriptorWeights[k];
      const int32_t dx = (b + d - a - c) * weight;  // at most 510 * 240761
      const int32_t dy = (c + d - a - b) * weight;
      int32_t* region = regionRow + j / kCells * 4;
      region[0] += dx;
      region[1] += dy;
      region[2] += dx < 0 ? -dx : dx;
      region[3] += dy < 0 ? -dy : dy;
    }
  }
}

}  // namespace velmora::scalar
