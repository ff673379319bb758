// Adds frames up on a part of the grid and corrects the sum by back projection.
#ifndef VELMORA_SRC_BURST_RECONSTRUCTION_TILE_SUMS_H
#define VELMORA_SRC_BURST_RECONSTRUCTION_TILE_SUMS_H

#include "burst/reconstruction/functions.h"
#include "burst/reconstruction/tile_plan.h"

namespace velmora::burst {

/// The scratch of one worker.
class TileSums {
 public:
  struct Result {
    Plane<const int16_t> samples;  ///< the wanted part; valid until the next run
    Plane<const uint8_t> frames;   ///< how many frames were added up; data null: one everywhere
  };

  /// For tiles of up to these sizes. Throws std::bad_alloc.
  TileSums(Memory& memory, const TileSizes& largest);
  /// Works on the part of the job's grid that was planned for.
  Result run(const PlaneJob& job, const TilePlan& plan);

 private:
  void chooseFrames(const PlaneJob& job, const TilePlan& plan);
  void prepareWeights(const PlaneJob& job);
  void weightRow(const PlaneJob& job, int32_t y);
  void firstSum(const PlaneJob& job, const TilePlan& plan);
  void residuals(const PlaneJob& job, const TilePlan& plan, int32_t iteration);
  void correct(const PlaneJob& job, const TilePlan& plan, int32_t iteration);

  /// Row y of a buffer of the grid.
  template <typename T>
  T* gridRow(T* buffer, int32_t y) const {
    return buffer + (y - area_.top) * pitch_;
  }
  /// Sample (0, 0) of a frame whose window lies in a buffer.
  static const int16_t* origin(const int16_t* buffer, const Rect& window) {
    return buffer - window.top * tilePitch(window.width()) - window.left;
  }

  Buffer<int16_t> samples_;      ///< of the grid
  Buffer<int16_t> corrections_;  ///< [frame] of the grid: what its residuals are multiplied with
  Buffer<uint8_t> counts_;       ///< of the grid
  Buffer<int16_t> windows_;      ///< [frame] samples of the frame
  Buffer<int16_t> residuals_;    ///< [frame] what they lack or have too much
  Buffer<int16_t> means_;        ///< of the picture over a frame's samples
  Buffer<int16_t> inside_;       ///< ResidualRow::inside of these
  // Rows, some of them one for each frame.
  Buffer<int32_t> x_, y_;
  Buffer<int16_t> sums_, spreads_, shares_;
  Buffer<uint8_t> weights_;
  Buffer<int32_t> weightColumns_;
  Buffer<int16_t> weightTaps_, blended_;

  std::size_t gridSize_, windowSize_, rowSize_;

  // Of the tile at work.
  Rect area_ = {};  ///< of the grid, in the buffers
  std::ptrdiff_t pitch_ = 0;
  int32_t active_ = 0;  ///< frames that have a weight here, the reference first
  int32_t activeFrame_[kMostFrames] = {};
  bool uniform_[kMostFrames] = {};  ///< whose weight is 255 all over the tile
  int32_t firstWeightColumn_ = 0;
  int32_t weightColumnsRead_ = 0;
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RECONSTRUCTION_TILE_SUMS_H
