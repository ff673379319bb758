// Pictures as the frames that the library takes: NV12 in one block, even sides.
#ifndef VELMORA_TOOL_ENGINE_FRAME_BUFFER_H
#define VELMORA_TOOL_ENGINE_FRAME_BUFFER_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "picture.h"

namespace velmora::tool {

/// Bytes of a frame with even sides.
constexpr std::size_t frameBytes(Size size) {
  return std::size_t(size.width) * std::size_t(size.height) * 3 / 2;
}

/// Writes a picture into a frame that is at least as large; what the frame has beyond the picture
/// continues it mirrored. `frame` has even sides, `bytes` frameBytes(frame) bytes.
void fillFrame(const Picture& picture, Size frame, std::span<uint8_t> bytes);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ENGINE_FRAME_BUFFER_H
