// Planes of samples and parts of them.
#ifndef VELMORA_SRC_BURST_PLANE_H
#define VELMORA_SRC_BURST_PLANE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace velmora::burst {

struct Size {
  int32_t width;
  int32_t height;
  bool operator==(const Size&) const = default;
};

/// Columns [left, right) of rows [top, bottom).
struct Rect {
  int32_t left;
  int32_t top;
  int32_t right;
  int32_t bottom;
  [[nodiscard]] int32_t width() const { return right - left; }
  [[nodiscard]] int32_t height() const { return bottom - top; }
};

/// `part` and so many samples more on each side, as far as the plane goes.
inline Rect grown(const Rect& part, int32_t by, Size plane) {
  return {std::max(part.left - by, 0), std::max(part.top - by, 0),
          std::min(part.right + by, plane.width), std::min(part.bottom + by, plane.height)};
}

/// Samples of the library's own, one after the other in a row.
template <typename T>
struct Plane {
  T* data = nullptr;
  std::ptrdiff_t pitch = 0;  ///< samples from row to row
  Size size = {};
  [[nodiscard]] T* row(int32_t y) const { return data + y * pitch; }
  operator Plane<const T>() const { return {data, pitch, size}; }
};

/// A plane of a caller's frame.
struct SourcePlane {
  const uint8_t* data = nullptr;
  std::ptrdiff_t pitch = 0;  ///< bytes from row to row, any sign
  std::ptrdiff_t step = 1;   ///< bytes from sample to sample, at least 1
  Size size = {};
  [[nodiscard]] const uint8_t* row(int32_t y) const { return data + y * pitch; }
  [[nodiscard]] uint8_t at(int32_t x, int32_t y) const { return row(y)[x * step]; }
};

/// A plane of the caller's picture.
struct TargetPlane {
  uint8_t* data = nullptr;
  std::ptrdiff_t pitch = 0;
  std::ptrdiff_t step = 1;
  Size size = {};
  [[nodiscard]] uint8_t* row(int32_t y) const { return data + y * pitch; }
};

/// Luma, U and V.
inline constexpr int32_t kPlanes = 3;
struct SourceFrame {
  SourcePlane planes[kPlanes];
};
struct TargetFrame {
  TargetPlane planes[kPlanes];
};

/// Samples of the library's own are 16-bit grey levels with five fraction bits: 0 .. 8160 for
/// pictures, what lies beside that for sums on their way.
inline constexpr int32_t kFractionBits = 5;

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_PLANE_H
