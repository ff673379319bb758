// Borders of padded planes: reflection without repeating the edge sample.
#include <algorithm>
#include <cstddef>

#include "interpolation/mirror.h"
#include "velmora_sr/plane_conversion.h"

namespace {

/// A padded plane: `rows` rows of `pitch` samples around a w x h image.
template <typename T>
class PaddedPlane {
 public:
  PaddedPlane(T* data, int32_t b, int32_t w, int32_t h)
      : data_(data), b_(std::max(b, 0)), w_(w), h_(h), pitch_(w_ + 2 * b_) {}

  T* interiorRow(std::ptrdiff_t y) const { return row(b_ + y) + b_; }

  /// Fills the border columns of one interior row from the image row `from`, which may be the
  /// interior row itself.
  void mirrorColumns(std::ptrdiff_t y, const T* from) const {
    velmora::mirrorRowEnds(from, interiorRow(y), b_, w_);
  }

  /// Fills the border rows from whole padded rows, so that the corners come out mirrored as well.
  void mirrorRows() const {
    for (std::ptrdiff_t k = 0; k < b_; ++k) {
      copyRow(b_ + velmora::mirroredIndex(-1 - k, h_), b_ - 1 - k);
      copyRow(b_ + velmora::mirroredIndex(h_ + k, h_), b_ + h_ + k);
    }
  }

 private:
  T* row(std::ptrdiff_t index) const { return data_ + index * pitch_; }
  void copyRow(std::ptrdiff_t from, std::ptrdiff_t to) const {
    std::copy_n(row(from), pitch_, row(to));
  }

  T* data_;
  std::ptrdiff_t b_;
  std::ptrdiff_t w_;
  std::ptrdiff_t h_;
  std::ptrdiff_t pitch_;
};

template <typename T>
void copyMirrored(const T* source, T* destination, int32_t b, int32_t w, int32_t h) {
  if (w < 1 || h < 1) return;
  const PaddedPlane<T> plane(destination, b, w, h);
  for (std::ptrdiff_t y = 0; y < h; ++y) {
    const T* from = source + y * w;
    plane.mirrorColumns(y, from);
    std::copy_n(from, w, plane.interiorRow(y));
  }
  plane.mirrorRows();
}

template <typename T>
void mirrorInPlace(T* padded, int32_t b, int32_t w, int32_t h) {
  if (w < 1 || h < 1) return;
  const PaddedPlane<T> plane(padded, b, w, h);
  for (std::ptrdiff_t y = 0; y < h; ++y)
    plane.mirrorColumns(y, plane.interiorRow(y));
  plane.mirrorRows();
}

}  // namespace

void EdgeMirror(const uint8_t* source, uint8_t* destination, int32_t b, int32_t w, int32_t h) {
  copyMirrored(source, destination, b, w, h);
}

void EdgeMirror(const int16_t* source, int16_t* destination, int32_t b, int32_t w, int32_t h) {
  copyMirrored(source, destination, b, w, h);
}

void EdgeMirror(const float* source, float* destination, int32_t b, int32_t w, int32_t h) {
  copyMirrored(source, destination, b, w, h);
}

void EdgeMirror(uint8_t* plane, int32_t b, int32_t w, int32_t h) {
  mirrorInPlace(plane, b, w, h);
}

void EdgeMirror(int16_t* plane, int32_t b, int32_t w, int32_t h) {
  mirrorInPlace(plane, b, w, h);
}

void EdgeMirror(float* plane, int32_t b, int32_t w, int32_t h) {
  mirrorInPlace(plane, b, w, h);
}
