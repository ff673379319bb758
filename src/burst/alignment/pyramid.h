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
  PlaneBuffer<uint8_t> masked;  ///< 1 where a sample is nearly black or white, or lies beside one
};

/// Levels 1 to `top` of a frame's luma; level 0 is the frame itself.
struct Pyramid {
  static constexpr int32_t kMostLevels = 5;
  SourcePlane luma = {};
  int32_t top = 0;  ///< 4, lower while the smaller side of the level would be below 30 samples
  std::array<PyramidLevel, kMostLevels> levels;  ///< [0] is made for frames below one megapixel
};

/// Throws std::bad_alloc and Cancelled.
Pyramid buildPyramid(Memory& memory, Workers& workers, const SourcePlane& luma);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_ALIGNMENT_PYRAMID_H
