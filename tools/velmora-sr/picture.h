// Pictures as the tool holds them: three planes, 8 bits, 4:2:0.
#ifndef VELMORA_TOOL_PICTURE_H
#define VELMORA_TOOL_PICTURE_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velmora::tool {

struct Size {
  int width = 0;
  int height = 0;
  bool operator==(const Size&) const = default;
};

/// Chroma of a picture: half the luma size, rounded up, so that an odd last column or row has its
/// own.
constexpr Size chromaSize(Size luma) {
  return {(luma.width + 1) / 2, (luma.height + 1) / 2};
}

/// A rectangle of pixels, all four bounds inclusive.
struct Region {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;
  bool operator==(const Region&) const = default;
  [[nodiscard]] Size size() const { return {right - left + 1, bottom - top + 1}; }
};

constexpr Region wholeOf(Size size) {
  return {0, 0, size.width - 1, size.height - 1};
}

/// One plane of 8-bit samples, rows packed.
struct Plane {
  Size size;
  std::vector<uint8_t> samples;

  Plane() = default;
  explicit Plane(Size planeSize, uint8_t value = 0) { reset(planeSize, value); }
  void reset(Size planeSize, uint8_t value = 0) {
    size = planeSize;
    samples.assign(std::size_t(planeSize.width) * std::size_t(planeSize.height), value);
  }
  [[nodiscard]] uint8_t* row(int y) { return samples.data() + std::size_t(y) * size.width; }
  [[nodiscard]] const uint8_t* row(int y) const {
    return samples.data() + std::size_t(y) * size.width;
  }
};

/// What sample values mean: 0..255, or luma 16..235 and chroma 16..240. Both BT.601.
enum class Range { full, limited };

struct Picture {
  Plane y, u, v;
  Plane alpha;  ///< of y's size, 255 opaque: y, u and v show the picture over white; or empty
  Range range = Range::full;
  bool grey = false;  ///< no colour: u and v are 128 throughout

  Picture() = default;
  /// Mid-grey chroma, black luma.
  explicit Picture(Size size) { reset(size); }
  void reset(Size size) {
    y.reset(size);
    u.reset(chromaSize(size), 128);
    v.reset(chromaSize(size), 128);
    alpha = {};
  }
  [[nodiscard]] Size size() const { return y.size; }
};

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_PICTURE_H
