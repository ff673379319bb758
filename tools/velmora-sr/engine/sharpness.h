// How sharp a picture is, for the choice among pictures of one scene.
#ifndef VELMORA_TOOL_ENGINE_SHARPNESS_H
#define VELMORA_TOOL_ENGINE_SHARPNESS_H

#include "picture.h"

namespace velmora::tool {

/// Mean square of the gradient in sample steps, less what the plane's noise adds to it; 0 where
/// nothing is left. Of two pictures of a scene the one with less blur has more.
double sharpnessOf(const Plane& plane);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ENGINE_SHARPNESS_H
