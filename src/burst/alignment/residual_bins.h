// The median of residuals' magnitudes.
#ifndef VELMORA_SRC_BURST_ALIGNMENT_RESIDUAL_BINS_H
#define VELMORA_SRC_BURST_ALIGNMENT_RESIDUAL_BINS_H

#include <algorithm>
#include <cmath>

#include "burst/memory.h"

namespace velmora::burst {

/// Counts in steps of 1/32 grey level, up to 128. Each worker counts on its own: the sums do not
/// depend on who has counted what.
class ResidualBins {
 public:
  ResidualBins(Memory& memory, int32_t workers)
      : bins_(memory, kBins * static_cast<std::size_t>(workers)) {
    clear();
  }
  void clear() { std::fill(bins_.data(), bins_.data() + bins_.size(), 0u); }
  void add(int32_t worker, float residual) {
    const float bin = std::min(std::fabs(residual) * kPerLevel, static_cast<float>(kBins - 1));
    ++bins_[static_cast<std::size_t>(worker) * kBins + static_cast<std::size_t>(bin)];
  }
  [[nodiscard]] double median() const {
    uint64_t total = 0;
    for (const uint32_t count : bins_.span())
      total += count;
    std::size_t bin = 0;
    for (uint64_t below = 0; bin < kBins; ++bin) {
      for (std::size_t i = bin; i < bins_.size(); i += kBins)
        below += bins_[i];
      if (2 * below >= total) break;
    }
    return (static_cast<double>(bin) + 0.5) / static_cast<double>(kPerLevel);
  }

 private:
  static constexpr std::size_t kBins = 4096;
  static constexpr float kPerLevel = 32;
  Buffer<uint32_t> bins_;
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_ALIGNMENT_RESIDUAL_BINS_H
