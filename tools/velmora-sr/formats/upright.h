// Turns pictures that a camera held sideways has stored as they came.
#ifndef VELMORA_TOOL_FORMATS_UPRIGHT_H
#define VELMORA_TOOL_FORMATS_UPRIGHT_H

#include "picture.h"

namespace velmora::tool {

/// The size of the upright picture; orientations are those of Exif, 1..8.
Size uprightSize(Size stored, int orientation);

/// Turns a picture stored with an orientation upright.
void turnUpright(Picture& picture, int orientation);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_FORMATS_UPRIGHT_H
