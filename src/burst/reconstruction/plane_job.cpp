#include "burst/reconstruction/plane_job.h"

#include <algorithm>

namespace velmora::burst {

SumTables sumTables(Memory& memory) {
  SumTables tables;
  tables.lanczos = lanczosWindows(memory);
  tables.gaussian = gaussianWindows(memory, tables.spreads);
  const auto spreads = tables.spreads.span();
  const auto [lowest, highest] = std::minmax_element(spreads.begin(), spreads.end());
  tables.lowestSpread = *lowest;
  tables.highestSpread = *highest;
  // One entry more than there are sums: vectors read pairs.
  constexpr uint32_t kSums = 255 * (kMostFrames - 1) + 1;
  tables.reciprocals = Buffer<uint16_t>(memory, kSums + 1);
  for (uint32_t i = 0; i <= kSums; ++i) {
    const uint32_t weights = 255 + i;
    tables.reciprocals[i] = static_cast<uint16_t>(((1u << 22) + weights - 1) / weights);
  }
  return tables;
}

Buffer<uint16_t> stepTable(Memory& memory, const SumTables& tables, double step) {
  const auto count = static_cast<std::size_t>(tables.highestSpread - tables.lowestSpread + 2);
  Buffer<uint16_t> steps(memory, count);
  for (std::size_t i = 0; i < count; ++i) {
    const double spread = (tables.lowestSpread + static_cast<double>(i)) / 4096;
    steps[i] = static_cast<uint16_t>((1 << 14) * (step / spread) + 0.5);
  }
  return steps;
}

}  // namespace velmora::burst
