// How much two frames differ, with and without the motion between them.
#ifndef VELMORA_TOOL_ENGINE_RESIDUAL_H
#define VELMORA_TOOL_ENGINE_RESIDUAL_H

#include <array>

#include "picture.h"

namespace velmora::tool {

/// Column and row of a frame.
struct Position {
  double x = 0;
  double y = 0;
};

/// Row-major, leads from the first frame to the second.
using Homography = std::array<float, 9>;

Position project(const Homography& homography, Position position);

/// Over the part of the first frame that a homography keeps inside the second.
struct Residual {
  double before = 0;      ///< mean absolute difference of the samples at the same place
  double after = 0;       ///< of those where the homography leads, interpolated bilinearly
  double firstMean = 0;   ///< mean luma of the first frame
  double secondMean = 0;  ///< of the second, where the homography leads

  /// True when the motion makes the frames differ more. Frames that stand still gain nothing, and
  /// interpolation costs a little: that is no failure.
  [[nodiscard]] bool worse() const { return after > 1.05 * before + 0.5; }
};

/// Measured on a quarter of a million samples at most; all zero for an empty rectangle.
Residual residualOf(const Plane& first, const Plane& second, const Homography& homography,
                    Region rectangle);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ENGINE_RESIDUAL_H
