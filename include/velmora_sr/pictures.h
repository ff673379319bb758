// Pictures and integral images, as the stages of registration take them.
#ifndef VELMORA_SR_PICTURES_H
#define VELMORA_SR_PICTURES_H

#include <cstddef>
#include <cstdint>

/// An 8-bit picture. The feature path reads width, height and data only.
struct tagST_PIC {
  int32_t width;     ///< pixels per row
  int32_t height;    ///< rows
  int32_t stride;    ///< not read by the feature path: rows follow each other every width bytes
  uint8_t* data;     ///< luma samples, row-major
  uint8_t* chroma1;  ///< U plane, or the interleaved chroma plane
  uint8_t* chroma2;  ///< V plane
  int32_t chromaStride1;  ///< not read
  int32_t chromaStride2;  ///< not read
};

/// An integral image (summed-area table): entry (y, x) is the sum of all samples in rows below y
/// and columns below x of the picture, so row 0 and column 0 are zero. Sums wrap to 32 bits, which
/// is exact up to 8,421,504 pixels; beyond that, box sums that fit are still exact.
struct tagIntegralMat {
  int32_t width;   ///< picture width + 1
  int32_t height;  ///< picture height + 1
  int32_t* data;   ///< width * height values, row-major
};

#if UINTPTR_MAX == 0xFFFFFFFFu
// On the 32-bit device the layouts are fixed to the byte.
static_assert(sizeof(tagST_PIC) == 32);
static_assert(offsetof(tagST_PIC, data) == 12);
static_assert(sizeof(tagIntegralMat) == 12);
#endif

#endif  // VELMORA_SR_PICTURES_H
