// What restoration is told: how much noise there is, how to go about it, and where.
#ifndef VELMORA_SRC_BURST_RESTORATION_PLAN_H
#define VELMORA_SRC_BURST_RESTORATION_PLAN_H

#include <array>
#include <cstdint>

#include "burst/plane.h"

namespace velmora::burst {

/// Standard deviation of the noise in each coefficient of orthonormal cosine transforms, in grey
/// levels; row by row, the lowest vertical frequency first.
struct CoefficientNoise {
  std::array<float, 64> of8 = {};    ///< of blocks of 8 x 8 samples
  std::array<float, 256> of16 = {};  ///< of 16 x 16
  std::array<float, 64> low = {};    ///< of 8 x 8 cells, see low_band.h
};

/// How a plane is restored.
struct RestorationPlan {
  bool fast = false;      ///< 8 x 8 blocks only, stride 3
  bool fine = false;      ///< strides 1 and 2 in place of 2 and 4, no cells: for one frame before
                          ///< enlargement
  bool wiener16 = false;  ///< the second pass with 16 x 16 blocks: for strong noise
  /// [n - 1]: the noise where n frames were added up.
  std::array<CoefficientNoise, 8> noise;
  int32_t frames = 1;  ///< entries of `noise` in use
};

/// A part of a plane that is worked on at a time.
struct RestorationWindow {
  Plane<const int16_t> samples;  ///< the window; five fraction bits
  Plane<const uint8_t> frames;   ///< how many frames were added up at each sample, 1 .. 8; same
                                 ///< size, or data null: one everywhere
  int32_t left;                  ///< where the window lies in the plane
  int32_t top;
  Size plane;   ///< blocks lie at multiples of their stride in the plane, the last ones at its end
  Rect wanted;  ///< the part to be restored, in coordinates of the plane
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RESTORATION_PLAN_H
