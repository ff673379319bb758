// What a camera notes in a JPEG file about its picture.
#ifndef VELMORA_TOOL_FORMATS_EXIF_H
#define VELMORA_TOOL_FORMATS_EXIF_H

#include <cstdint>
#include <optional>
#include <span>

#include "picture.h"

namespace velmora::tool {

/// The Exif orientation of a JPEG file, 1..8: how the stored rows and columns lie in the upright
/// picture. 1, upright, when the file has none or it cannot be read.
int exifOrientation(std::span<const uint8_t> jpeg);

/// How the camera says that it sharpened: 0 as usual, 1 less, 2 more. Nothing when it does not say.
std::optional<int> exifSharpness(std::span<const uint8_t> jpeg);

/// The size of the upright picture.
Size uprightSize(Size stored, int orientation);

/// Turns a picture stored with an Exif orientation upright.
void turnUpright(Picture& picture, int orientation);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_FORMATS_EXIF_H
