// The slots of the thread pool that the stages of this folder run their bands of rows on.
#ifndef VELMORA_SRC_INTERPOLATION_BANDS_H
#define VELMORA_SRC_INTERPOLATION_BANDS_H

#include <array>
#include <cstdint>

#include "thread_pool/row_band.h"

namespace velmora {

/// Interpolation runs on these slots, its first band on the calling thread under index 12.
inline constexpr std::array<int32_t, 3> kInterpolationSlots = {13, 14, 15};
inline constexpr int32_t kInterpolationCaller = 12;

/// The band of the thread with this index, 12..15: the remainder goes with the caller's. No rows
/// for any other index.
constexpr RowBand interpolationBand(int32_t rows, int32_t threadIndex) {
  return rowBand(rows, threadIndex - kInterpolationCaller, Remainder::first);
}

/// Conversion runs on these slots, its last quarter on the calling thread under index 3.
inline constexpr std::array<int32_t, 3> kConversionSlots = {0, 1, 2};
inline constexpr int32_t kConversionCaller = 3;

/// De-ghosting likewise.
inline constexpr std::array<int32_t, 3> kDeghostSlots = {12, 13, 14};
inline constexpr int32_t kDeghostCaller = 15;

/// Quarter i (0..3) of the rows of a conversion or of de-ghosting.
constexpr RowBand quarterBand(int32_t rows, int32_t i) {
  return rowBand(rows, i, Remainder::spread);
}

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_BANDS_H
