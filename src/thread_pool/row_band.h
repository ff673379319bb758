// How the rows of a stage, or the items of a list, are shared out over four threads.
#ifndef VELMORA_SRC_THREAD_POOL_ROW_BAND_H
#define VELMORA_SRC_THREAD_POOL_ROW_BAND_H

#include <cstdint>

namespace velmora {

/// Rows (or items) [first, end).
struct RowBand {
  int32_t first;
  int32_t end;
};

/// Who takes the rows that are left when four do not divide their number.
enum class Remainder {
  first,  ///< the first band takes them all
  last,   ///< the last band takes them all
  spread  ///< band i ends at the whole part of (i + 1) * rows / 4
};

/// Band `i` of `rows` >= 0 rows; no rows for an `i` outside 0..3. Which rows a band takes is part
/// of the stages' results: blocks begin at the first row of a band.
constexpr RowBand rowBand(int32_t rows, int32_t i, Remainder remainder) {
  if (i < 0 || i > 3 || rows < 0) return {0, 0};
  const auto start = [rows, remainder](int64_t band) -> int32_t {
    if (band == 0) return 0;
    if (band == 4) return rows;
    switch (remainder) {
      case Remainder::first:
        return static_cast<int32_t>(band * (rows / 4) + rows % 4);
      case Remainder::last:
        return static_cast<int32_t>(band * (rows / 4));
      case Remainder::spread:
        break;
    }
    return static_cast<int32_t>(band * rows / 4);
  };
  return {start(i), start(i + 1)};
}

}  // namespace velmora

#endif  // VELMORA_SRC_THREAD_POOL_ROW_BAND_H
