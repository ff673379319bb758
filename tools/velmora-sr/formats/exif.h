// Exif blocks: read for the orientation, changed where the tool makes them wrong.
#ifndef VELMORA_TOOL_FORMATS_EXIF_H
#define VELMORA_TOOL_FORMATS_EXIF_H

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "picture.h"

namespace velmora::tool {

/// The orientation in an Exif block (a TIFF header and what follows), 1..8: how the stored rows and
/// columns lie in the upright picture. 1, upright, when the block has none or it cannot be read.
int exifOrientation(std::span<const uint8_t> block);

/// How the camera says that it sharpened: 0 as usual, 1 less, 2 more. Nothing when it does not say.
std::optional<int> exifSharpness(std::span<const uint8_t> block);

/// Makes the block that of an upright picture of this size: orientation and sizes are set where
/// they stand, the thumbnail is taken out. Everything else stays at its place, since makers' notes
/// hold positions. False for a block that cannot be read; it is then as it was.
bool updateExif(std::vector<uint8_t>& block, Size size);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_FORMATS_EXIF_H
