// Functions with variants for instruction sets: those of feature extraction, matching and the
// position maps.
#ifndef VELMORA_SRC_REGISTRATION_FUNCTIONS_H
#define VELMORA_SRC_REGISTRATION_FUNCTIONS_H

#include <cstddef>
#include <cstdint>

namespace velmora {

enum class CpuSet;  // cpu/cpu_set.h; files compiled for a set take no more than they need

/// Samples per side of a descriptor's patch.
inline constexpr int32_t kPatchSide = 21;
/// Bytes that a patch buffer holds: 21 x 21 samples and some that vector loads may touch.
inline constexpr int32_t kPatchBufferSize = 512;

/// One filter size of the detector: the geometry of its box filters in pixels and what normalises
/// their determinant. The fields, for a filter whose top-left pixel is (0, 0):
struct HessianFilter {
  int32_t size;      ///< side of the filter, 9 or more
  int32_t step;      ///< pixels from one grid point to the next
  int32_t lobe;      ///< Dxx, Dyy: length of each of the three lobes in the direction of derivation
  int32_t inset;     ///< Dxx, Dyy: first row (column) of the lobes across it
  int32_t across;    ///< Dxx, Dyy: rows (columns) of the lobes across it
  int32_t corner;    ///< Dxy: first row and column of its four quadrants
  int32_t quadrant;  ///< Dxy: side of each quadrant
  int64_t directScale;  ///< factor of Dxx * Dyy, Q16
  int64_t mixedScale;   ///< factor of Dxy^2, Q16
};

struct RegistrationFunctions {
  // --- Features ---

  /// dst[i] = mean, rounded half up, of the 4 x 4 block at column 4 i of the rows at src, src +
  /// stride, ...; count blocks.
  void (*reduceBox4)(const uint8_t* src, std::ptrdiff_t stride, uint8_t* dst, int32_t count);
  /// dst[0] = 0, dst[i] = src[0] + ... + src[i - 1]: writes count + 1 sums, wrapping to 32 bits.
  void (*integrateRow)(const uint8_t* src, int32_t* dst, int32_t count);
  /// row[i] += above[i], wrapping.
  void (*addRow)(const int32_t* above, int32_t* row, int32_t count);
  /// det[i], i < count: response of the filter whose top-left pixel is step * i pixels right of
  /// *integral, an entry of an integral image with stride values per row. Derivatives are 32-bit,
  /// wrapping; det = ((int32(Dxx * Dyy) * directScale) >> 16) - ((Dxy^2 * mixedScale) >> 16), the
  /// products 64-bit, wrapping, each shifted value cut to 32 bits.
  void (*hessianRow)(const int32_t* integral, std::ptrdiff_t stride, const HessianFilter& filter,
                     int32_t* det, int32_t count);
  /// Columns c, 0 <= c < count, where above the threshold planes[1][c] is strictly greater than its
  /// 26 neighbours: the 3 x 3 blocks around planes[0][c] and planes[2][c] and the eight others in
  /// its own plane. The planes have stride values per row and can be read one row and one column
  /// around the count columns. Ascending; returns how many, at most (count + 1) / 2.
  int32_t (*maximaInRow)(const int32_t* const planes[3], std::ptrdiff_t stride, int32_t threshold,
                         int32_t count, int32_t* columns);
  /// Reduces a window of (21 spacing)^2 samples, rows stride bytes apart, to a patch of 21 x 21:
  /// the low 8 bits of (sum of a spacing x spacing block * floor(65536 / spacing^2) + 32768) >> 16.
  /// 1 <= spacing <= 256. patch has kPatchBufferSize bytes; those beyond 441 may be overwritten.
  void (*reducePatch)(const uint8_t* window, std::ptrdiff_t stride, int32_t spacing,
                      uint8_t* patch);
  /// The 64 sums of a descriptor from a patch: per sub-region the weighted dx, dy, |dx|, |dy|, none
  /// beyond 1633218900. patch has kPatchBufferSize readable bytes, of which 421 count.
  void (*haarSums)(const uint8_t* patch, int32_t* sums);

  // --- kd-trees; a descriptor is 64 values, all arithmetic wraps to 32 bits ---

  /// Sum of ((a - b) >> 8)^2 over the 64 values of two descriptors.
  int32_t (*descriptorDistance)(const int32_t* a, const int32_t* b);
  /// sums[0..63]: the sums, value by value, of the descriptors named by count indices.
  void (*descriptorSums)(const int32_t* const* descriptors, const int32_t* indices, int32_t count,
                         int32_t* sums);
  /// spreads[0..63]: the sums of ((value - mean) >> 12)^2 over the same descriptors.
  void (*descriptorSpreads)(const int32_t* const* descriptors, const int32_t* indices,
                            int32_t count, const int32_t* means, int32_t* spreads);
  /// Index of the first of the smallest of count >= 1 values.
  int32_t (*firstSmallest)(const int32_t* values, int32_t count);

  // --- Position maps ---

  /// Positions of row y, 16.16: posX[x] and posY[x], x < count, are the image of (x, y) under the
  /// homography (9 values, the last taken as 1), in float: w = 1 / ((h7 y + 1) + h6 x), then
  /// ((h2 + y h1) + x h0) * 65536 * w and ((h5 + y h4) + x h3) * 65536 * w, nothing fused, cut
  /// toward zero. Beyond 32 bits they saturate; what is not a number becomes the smallest value.
  /// 0 <= y, count <= 2^24, so that both are exact in float.
  void (*positionRow)(const float* homography, int32_t y, int32_t* posX, int32_t* posY,
                      int32_t count);
};

/// The functions in use, and those of one set.
const RegistrationFunctions& registrationFunctions();
const RegistrationFunctions& registrationFunctions(CpuSet set);

}  // namespace velmora

#endif  // VELMORA_SRC_REGISTRATION_FUNCTIONS_H
