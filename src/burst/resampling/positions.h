// Where the samples of one grid lie on another: nodes on every eighth sample, integers between.
#ifndef VELMORA_SRC_BURST_RESAMPLING_POSITIONS_H
#define VELMORA_SRC_BURST_RESAMPLING_POSITIONS_H

#include <cstdint>
#include <functional>

#include "burst/memory.h"
#include "burst/motion.h"
#include "burst/workers.h"

namespace velmora::burst {

/// Positions are kept with 14 fraction bits (up to +-131071 samples) and used with six: 64 phases.
inline constexpr int32_t kNodeBits = 14;
inline constexpr int32_t kPhaseBits = 6;
inline constexpr int32_t kPhases = 1 << kPhaseBits;
inline constexpr int32_t kNodeSpacing = 8;

/// Maps a grid of `size` samples. A homography with the perspective of a hand-held burst differs
/// from its nodes' bilinear surface by less than 1/1000 sample.
class PositionGrid {
 public:
  PositionGrid() = default;
  /// `position` tells where a sample of this grid lies on the other; what lies farther than 64
  /// samples outside `target` is moved to there, so that positions stay in range.
  PositionGrid(Memory& memory, Workers& workers, Size size, Size target,
               const std::function<Point(Point)>& position);

  /// The positions of samples [left, right) of a row, six fraction bits, rounded to nearest.
  void row(int32_t y, int32_t left, int32_t right, int32_t* x, int32_t* yOut) const;

  [[nodiscard]] Size size() const { return size_; }
  /// A rectangle (ends exclusive) around the whole parts of the positions of all samples of a part
  /// of the grid.
  [[nodiscard]] Rect bounds(const Rect& part) const;
  /// The largest distance on the other grid, per axis, between positions of samples that are one
  /// column or one row apart, the two added up: how far a step of one sample in both can reach.
  [[nodiscard]] double reach() const { return reach_; }

 private:
  Size size_ = {};
  int32_t nodesPerRow_ = 0;
  Buffer<int32_t> nodes_;  ///< x, y of each node
  double reach_ = 0;
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RESAMPLING_POSITIONS_H
