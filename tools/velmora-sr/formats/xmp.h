// XMP packets: changed where the tool makes them wrong, otherwise passed on as they are.
#ifndef VELMORA_TOOL_FORMATS_XMP_H
#define VELMORA_TOOL_FORMATS_XMP_H

#include <cstdint>
#include <vector>

#include "picture.h"

namespace velmora::tool {

/// Makes the packet that of a picture of this size: sizes are set where they stand, and with
/// `upright` the orientation, too; thumbnails are taken out.
void updateXmp(std::vector<uint8_t>& packet, Size size, bool upright);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_FORMATS_XMP_H
