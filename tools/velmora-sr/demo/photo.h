// A photo as the scene of the demonstration.
#ifndef VELMORA_TOOL_DEMO_PHOTO_H
#define VELMORA_TOOL_DEMO_PHOTO_H

#include <string>

#include "demo/canvas.h"
#include "picture.h"

namespace velmora::tool {

/// The middle of a photo, reduced until it just covers `size`: its pixels are then as sharp as its
/// detail allows. Throws Failure for a file that is no picture, or is smaller.
Canvas photoScene(const std::string& path, Size size);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_DEMO_PHOTO_H
