// How the rows of a stage are shared out over four threads.
#ifndef VELMORA_SRC_INTERPOLATION_BANDS_H
#define VELMORA_SRC_INTERPOLATION_BANDS_H

#include <array>
#include <cstdint>

namespace velmora {

/// Rows [first, end).
struct RowBand {
  int32_t first;
  int32_t end;
};

/// Interpolation runs on these slots, its first band on the calling thread under index 12.
inline constexpr std::array<int32_t, 3> kInterpolationSlots = {13, 14, 15};
inline constexpr int32_t kInterpolationCaller = 12;

/// The band of the thread with this index, 12..15: equal shares of n >= 0 rows, the remainder with
/// the first. No rows for any other index.
constexpr RowBand interpolationBand(int32_t n, int32_t threadIndex) {
  const int32_t share = threadIndex - kInterpolationCaller;
  if (share < 0 || share > 3) return {0, 0};
  const int32_t base = n / 4;
  const int32_t rest = n % 4;
  if (share == 0) return {0, base + rest};
  return {share * base + rest, (share + 1) * base + rest};
}

/// Conversion runs on these slots, its last quarter on the calling thread under index 3.
inline constexpr std::array<int32_t, 3> kConversionSlots = {0, 1, 2};
inline constexpr int32_t kConversionCaller = 3;

/// De-ghosting likewise.
inline constexpr std::array<int32_t, 3> kDeghostSlots = {12, 13, 14};
inline constexpr int32_t kDeghostCaller = 15;

/// Quarter i (0..3) of n >= 0 rows.
constexpr RowBand quarterBand(int32_t n, int32_t i) {
  const auto start = [n](int64_t quarter) { return static_cast<int32_t>(quarter * n / 4); };
  return {start(i), start(i + 1)};
}

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_BANDS_H
