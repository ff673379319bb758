// The mean power of each coefficient of the cosine transforms of a plane's blocks.
#ifndef VELMORA_SRC_BURST_RECONSTRUCTION_BLOCK_SPECTRUM_H
#define VELMORA_SRC_BURST_RECONSTRUCTION_BLOCK_SPECTRUM_H

#include <array>

#include "burst/plane.h"

namespace velmora::burst {

/// Sums over blocks of `kSide` x `kSide` samples, side by side.
template <std::size_t kSide>
class BlockSpectrum {
 public:
  /// All blocks that fit into a plane, from its first sample on.
  void add(Plane<const int16_t> samples);
  /// What another spectrum has added.
  void add(const BlockSpectrum& other);
  [[nodiscard]] int64_t blocks() const { return blocks_; }
  /// Root mean square of coefficient (u, v) of the orthonormal transform, [v * kSide + u]; only
  /// after a block.
  [[nodiscard]] double rootMeanSquare(std::size_t u, std::size_t v) const;

 private:
  std::array<double, kSide* kSide> power_ = {};
  int64_t blocks_ = 0;
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RECONSTRUCTION_BLOCK_SPECTRUM_H
