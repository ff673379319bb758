// Frames to padded planes and planes to frames; of NV12 on four bands of the thread pool.
#ifndef VELMORA_SRC_INTERPOLATION_FRAME_PLANES_H
#define VELMORA_SRC_INTERPOLATION_FRAME_PLANES_H

#include <cstddef>

#include "memory/call_buffer.h"

namespace velmora {

/// A 4:2:0 frame without row padding: width * height luma samples, then height / 2 chroma rows of
/// 2 * (width / 2) bytes, or two planes of width / 2 by height / 2. An odd last column or row has
/// no chroma.
struct FrameShape {
  int32_t width;
  int32_t height;
  int32_t format;  ///< VELMORA_SR_FORMAT_...

  [[nodiscard]] int32_t chromaWidth() const { return width / 2; }
  [[nodiscard]] int32_t chromaHeight() const { return height / 2; }
  [[nodiscard]] std::size_t lumaSize() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  }
  /// Samples of one chroma plane.
  [[nodiscard]] std::size_t chromaSize() const {
    return static_cast<std::size_t>(chromaWidth()) * static_cast<std::size_t>(chromaHeight());
  }
};

/// The padded planes of one input frame.
struct PaddedFrame {
  CallBuffer<uint8_t> y, u, v;

  /// Takes the planes, in this order; false when one cannot be had.
  bool take(const Allocator& allocator, const FrameShape& shape, int32_t border);
};

/// The chroma planes of the output frame, without padding.
struct OutputChroma {
  CallBuffer<uint8_t> u, v;

  bool take(const Allocator& allocator, const FrameShape& shape);
};

/// Two frames of the same shape and the planes they go to.
struct FramesToLoad {
  const uint8_t* frame1;
  const PaddedFrame& planes1;
  const uint8_t* frame2;
  const PaddedFrame& planes2;
};

/// Copies luma and chroma pairs of two frames into the planes and mirrors their borders. Frames
/// without chroma (one sample wide or high) get neutral planes.
void loadFrames(const FrameShape& shape, const FramesToLoad& frames, int32_t border);

/// Fills the chroma planes of a frame whose chroma is two planes, or that has none.
void loadPlanarChroma(const FrameShape& shape, const uint8_t* frame, const PaddedFrame& planes,
                      int32_t border);

/// Writes the chroma planes behind the luma of the output frame, as pairs or as planes.
void storeChromaPairs(const FrameShape& shape, const OutputChroma& chroma, uint8_t* frame);
void storePlanarChroma(const FrameShape& shape, const OutputChroma& chroma, uint8_t* frame);

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_FRAME_PLANES_H
