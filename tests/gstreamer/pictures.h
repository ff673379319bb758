// Frames for the element, and the pictures that the library makes of them.
#ifndef VELMORA_TESTS_GSTREAMER_PICTURES_H
#define VELMORA_TESTS_GSTREAMER_PICTURES_H

#include <gst/video/video.h>

#include <cstdint>
#include <vector>

namespace velmora::test {

/// Rows of Y, then of U and V, (width + 1) / 2 by (height + 1) / 2, without padding.
struct Picture {
  int width;
  int height;
  std::vector<uint8_t> samples;

  Picture(int w, int h);
  [[nodiscard]] int halfWidth() const { return (width + 1) / 2; }
  [[nodiscard]] int halfHeight() const { return (height + 1) / 2; }
  uint8_t* y() { return samples.data(); }
  uint8_t* u() { return y() + width * height; }
  uint8_t* v() { return u() + halfWidth() * halfHeight(); }
  bool operator==(const Picture&) const = default;
};

/// A noisy view of a texture, which moves by a sample and a half from frame to frame.
Picture drawnFrame(int number, int width, int height);

/// A buffer of GStreamer's layout for the caps, or of one with rows and planes further apart.
GstBuffer* bufferOf(const Picture& picture, const GstVideoInfo& info, bool spaced = false);
Picture pictureOf(GstBuffer* buffer, const GstVideoInfo& info);

struct BurstOptions {
  float noise = -1;
  float sharpened = -1;
  bool normal = false;
};
/// What the burst stage makes around the frame `shown` of frames[first] .. frames[last].
Picture burstOf(std::vector<Picture>& frames, int first, int last, int shown, int width, int height,
                const BurstOptions& options = {});

/// What the one-frame path makes of NV12.
Picture enlargedByCamera(Picture& frame, int width, int height);

}  // namespace velmora::test

#endif  // VELMORA_TESTS_GSTREAMER_PICTURES_H
