// Synthetic frames of one scene: a texture rich in corners and blobs, seen through a window.
#ifndef VELMORA_TESTS_INTERFACE_TEXTURED_FRAME_H
#define VELMORA_TESTS_INTERFACE_TEXTURED_FRAME_H

#include <cstdint>
#include <utility>
#include <vector>

#include "interface/session.h"

namespace velmora::test {

/// The NV12 frame of the window whose top-left pixel is scene position (x, y); windows of one scene
/// that overlap show the same samples there.
std::vector<uint8_t> texturedFrame(int32_t width, int32_t height, int32_t x, int32_t y,
                                   uint64_t scene = 1);

constexpr int32_t kWidth = 480, kHeight = 400;  // the least that registration works on
constexpr int32_t kOutWidth = 720, kOutHeight = 600;

/// The window of that size at (x, y), drawn once.
const std::vector<uint8_t>& frameAt(int32_t x, int32_t y);

/// A call that enlarges frames of that size.
struct PairCall : Call {
  PairCall(std::vector<uint8_t> firstFrame, std::vector<uint8_t> secondFrame,
           Region region = whole(kWidth, kHeight))
      : Call(kWidth, kHeight, VELMORA_SR_FORMAT_NV12, region, kOutWidth, kOutHeight,
             std::move(firstFrame), std::move(secondFrame)) {}
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_INTERFACE_TEXTURED_FRAME_H
