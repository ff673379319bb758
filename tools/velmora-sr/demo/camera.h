// A camera with half the resolution of the truth, held by hand.
#ifndef VELMORA_TOOL_DEMO_CAMERA_H
#define VELMORA_TOOL_DEMO_CAMERA_H

#include <cstdint>

#include "picture.h"

namespace velmora::tool {

/// How the camera moved: a turn and a step about the centre of the frame, then a shift.
struct Motion {
  double shiftX = 0;  ///< in pixels of the frame
  double shiftY = 0;
  double angle = 0;  ///< in radians, clockwise
  double scale = 1;  ///< above 1: a step back, the frame shows more
};

/// Pixel (x, y) of a frame taken without motion is the mean of 2 x 2 pixels of the truth about
/// (2x + margin, 2y + margin); what lies beyond the truth repeats its edge. The noise is normally
/// distributed with a standard deviation of `noise` in luma and half of it in chroma; the same seed
/// gives the same.
Picture photographed(const Picture& truth, Size frame, const Motion& motion, double noise,
                     uint32_t seed, int margin = 0);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_DEMO_CAMERA_H
