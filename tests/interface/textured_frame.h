// Synthetic frames of one scene: a texture rich in corners and blobs, seen through a window.
#ifndef VELMORA_TESTS_INTERFACE_TEXTURED_FRAME_H
#define VELMORA_TESTS_INTERFACE_TEXTURED_FRAME_H

#include <cstdint>
#include <vector>

namespace velmora::test {

/// The NV12 frame of the window whose top-left pixel is scene position (x, y); windows of one scene
/// that overlap show the same samples there.
std::vector<uint8_t> texturedFrame(int32_t width, int32_t height, int32_t x, int32_t y,
                                   uint64_t scene = 1);

}  // namespace velmora::test

#endif  // VELMORA_TESTS_INTERFACE_TEXTURED_FRAME_H
