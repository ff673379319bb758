// 3 x 3 erosion and dilation. On masks of 0 and 255 the bitwise operations are minimum and maximum.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>

#include "velmora_sr/image_utilities.h"

namespace {

/// Combines the samples of the cross, by AND (erosion) or OR (dilation).
template <typename Operation>
struct Cross {
  static uint8_t at(const uint8_t* above, const uint8_t* row, const uint8_t* below,
                    std::ptrdiff_t x) {
    constexpr Operation op;
    return static_cast<uint8_t>(op(op(op(row[x], row[x - 1]), op(row[x + 1], above[x])), below[x]));
  }
};

/// Combines all samples of the block.
template <typename Operation>
struct Rect {
  static uint8_t at(const uint8_t* above, const uint8_t* row, const uint8_t* below,
                    std::ptrdiff_t x) {
    constexpr Operation op;
    const auto ofThree = [=](const uint8_t* r) { return op(op(r[x - 1], r[x]), r[x + 1]); };
    return static_cast<uint8_t>(op(op(ofThree(above), ofThree(row)), ofThree(below)));
  }
};

using Erode = std::bit_and<int>;
using Dilate = std::bit_or<int>;

template <typename Element>
void applyRepeatedly(uint8_t* image, uint8_t* scratch, int32_t width, int32_t height,
                     int32_t iterations) {
  if (image == nullptr || scratch == nullptr || width < 1 || height < 1) return;
  const auto pitch = static_cast<std::ptrdiff_t>(width);
  const auto size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  for (int32_t k = 0; k < iterations; ++k) {
    std::memcpy(scratch, image, size);
    std::memset(image, 0, size);  // the border stays cleared
    for (std::ptrdiff_t y = 1; y < height - 1; ++y) {
      const uint8_t* row = scratch + y * pitch;
      uint8_t* out = image + y * pitch;
      for (std::ptrdiff_t x = 1; x < pitch - 1; ++x)
        out[x] = Element::at(row - pitch, row, row + pitch, x);
    }
    // A plane that no longer changes never will again; large counts end here.
    if (std::memcmp(image, scratch, size) == 0) return;
  }
}

}  // namespace

void ErodeWith3x3Cross(uint8_t* image, uint8_t* scratch, int32_t width, int32_t height,
                       int32_t iterations) {
  applyRepeatedly<Cross<Erode>>(image, scratch, width, height, iterations);
}

void ErodeWith3x3Rect(uint8_t* image, uint8_t* scratch, int32_t width, int32_t height,
                      int32_t iterations) {
  applyRepeatedly<Rect<Erode>>(image, scratch, width, height, iterations);
}

void DilateWith3x3Cross(uint8_t* image, uint8_t* scratch, int32_t width, int32_t height,
                        int32_t iterations) {
  applyRepeatedly<Cross<Dilate>>(image, scratch, width, height, iterations);
}

void DilateWith3x3Rect(uint8_t* image, uint8_t* scratch, int32_t width, int32_t height,
                       int32_t iterations) {
  applyRepeatedly<Rect<Dilate>>(image, scratch, width, height, iterations);
}
