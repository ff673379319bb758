// The rows of a plane, shared out among the workers of a call.
#ifndef VELMORA_SRC_BURST_ALIGNMENT_ROW_BANDS_H
#define VELMORA_SRC_BURST_ALIGNMENT_ROW_BANDS_H

#include <algorithm>
#include <cstdint>

#include "burst/workers.h"

namespace velmora::burst {

/// Calls row(y, worker) for each y in [0, rows), in bands that cost 2^14 or more together: less
/// is not worth a thread's attention.
template <typename Row>
void forRows(Workers& workers, int32_t rows, int64_t costPerRow, double weight, const Row& row) {
  if (rows <= 0) return;
  constexpr int64_t kBand = 1 << 14;
  const auto parts = static_cast<int32_t>(std::clamp<int64_t>(rows * costPerRow / kBand, 1, rows));
  workers.run(parts, weight, [&](int32_t part, int32_t worker) {
    const auto end = static_cast<int32_t>(int64_t{rows} * (part + 1) / parts);
    for (auto y = static_cast<int32_t>(int64_t{rows} * part / parts); y < end; ++y)
      row(y, worker);
  });
}

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_ALIGNMENT_ROW_BANDS_H
