// Half-size pictures of a frame, of the half-size picture, and so on: what frames are registered
// on.
#ifndef VELMORA_SRC_BURST_ALIGNMENT_PYRAMID_H
#define VELMORA_SRC_BURST_ALIGNMENT_PYRAMID_H

#include <array>
#include <cstdint>

#include "burst/memory.h"
#include "burst/workers.h"

namespace velmora::burst {

/// A level: means of 2 x 2 samples of the one below, smoothed by [1 2 1] / 4 both ways. A position
/// x of the frame is (x + 0.5) / 2^level - 0.5 here.
struct PyramidLevel {
  PlaneBuffer<int16_t> smooth;  ///< five fraction bits
  /// Bit 0: the sample is nearly black or white (on higher levels: half of it is), or lies beside
  /// one that is. Bit 1: so is this sample or its right, lower or lower right neighbour.
  PlaneBuffer<uint8_t> masked;
};

/// Levels 1 to `top` of a frame's luma; level 0 is the frame itself.
struct Pyramid {
  static constexpr int32_t kMostLevels = 5;
  SourcePlane luma = {};
  int32_t top = 0;  ///< 4, lower while the smaller side of the level would be below 30 samples
  std::array<PyramidLevel, kMostLevels> levels;  ///< [0] is made for frames below one
                                                 ///< megapixel and for strips

  [[nodiscard]] int32_t bottom() const { return levels[0].smooth.empty() ? 1 : 0; }
};

/// Throws std::bad_alloc and Cancelled.
Pyramid buildPyramid(Memory& memory, Workers& workers, const SourcePlane& luma);

/// What level 0 would hold. Throws std::bad_alloc and Cancelled.
PlaneBuffer<int16_t> smoothFrame(Memory& memory, Workers& workers, const SourcePlane& luma,
                                 double weight);

/// What buildPyramid() asks Workers for in all, in nanoseconds of one thread, about.
inline double pyramidWork(Size frame) {
  return 0.5 * frame.width * frame.height;
}

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_ALIGNMENT_PYRAMID_H
