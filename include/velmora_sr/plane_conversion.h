// Plane conversion: interleaved chroma to planes and back, and planes with a mirrored border.
//
// A padded plane of a w x h image with border b holds (h + 2b) rows of (w + 2b) samples without
// gaps; the image stands at column b of row b (its interior origin). The interpolators read 4 x 4
// neighbourhoods from such planes without looking for the image's edge.
#ifndef VELMORA_SR_PLANE_CONVERSION_H
#define VELMORA_SR_PLANE_CONVERSION_H

#include <cstdint>

#include "velmora_sr/export.h"

/// Copies an image into a padded plane and fills the border by reflection without repeating the
/// edge sample: column -1-k takes column 1+k, column w+k takes column w-2-k, rows likewise, corners
/// by both rules. A reflected position past the far edge (b > w - 1 or b > h - 1) takes the sample
/// at that edge.
///   source       w * h samples, pitch w; not null
///   destination  (w + 2b) * (h + 2b) samples of the caller, all written; not null, no overlap
///   b            border in samples; below 1: nothing but the copy
///   w, h         image size; an image without samples (w < 1 or h < 1) writes nothing
/// Any thread.
VELMORA_API void EdgeMirror(const uint8_t* source, uint8_t* destination, int32_t b, int32_t w,
                            int32_t h);
VELMORA_API void EdgeMirror(const int16_t* source, int16_t* destination, int32_t b, int32_t w,
                            int32_t h);
VELMORA_API void EdgeMirror(const float* source, float* destination, int32_t b, int32_t w,
                            int32_t h);

/// Fills the border of a padded plane whose interior is filled already, by the same rule.
///   plane  (w + 2b) * (h + 2b) samples; not null
///   b, w, h  as above
/// Any thread.
VELMORA_API void EdgeMirror(uint8_t* plane, int32_t b, int32_t w, int32_t h);
VELMORA_API void EdgeMirror(int16_t* plane, int32_t b, int32_t w, int32_t h);
VELMORA_API void EdgeMirror(float* plane, int32_t b, int32_t w, int32_t h);

/// One band of rows of two luma planes on their way into padded planes.
struct SR_LumaCopyBand {
  uint8_t* destination1;     ///< interior origin of the first padded plane
  uint8_t* destination2;     ///< of the second; not used without source2
  const uint8_t* source1;    ///< first sample of the band, pitch width
  const uint8_t* source2;    ///< the same in the second frame; null: one frame only
  int32_t width;             ///< samples per row, any width
  int32_t destinationPitch;  ///< samples from row to row of the padded planes
  int32_t firstRow;          ///< rows of the band, counted from the interior origin
  int32_t endRow;            ///< past the last one
};

/// Copies the rows of a band into the interiors; the borders stay as they are.
///   band         an SR_LumaCopyBand
///   threadIndex  not used: the band says which rows
/// A job for the thread pool; bands of one plane may run at once.
VELMORA_API void YNV12TO420EdgeMirror_ThreadFunc(void* band, int32_t threadIndex);

/// One band of rows of two interleaved chroma planes on their way into four padded planes.
struct SR_ChromaSplitBand {
  uint8_t* u1;               ///< interior origin of the plane that takes the first of each pair
  uint8_t* v1;               ///< the plane for the second; swap u1 and v1 for NV21, u2 and v2 too
  uint8_t* u2;               ///< the same for the second frame; not used without source2
  uint8_t* v2;               ///< likewise
  const uint8_t* source1;    ///< first pair of the band, rows of 2 * width bytes
  const uint8_t* source2;    ///< the same in the second frame; null: one frame only
  int32_t width;             ///< pairs per row, any width
  int32_t destinationPitch;  ///< samples from row to row of the padded planes
  int32_t firstRow;          ///< rows of the band, counted from the interior origin
  int32_t endRow;            ///< past the last one
};

/// Splits the pairs of a band into the interiors: byte 2j goes to U column j, byte 2j + 1 to V.
///   band         an SR_ChromaSplitBand
///   threadIndex  not used
/// A job for the thread pool; bands of one plane may run at once.
VELMORA_API void UVNV12TO420EdgeMirror_ThreadFunc(void* band, int32_t threadIndex);

/// One band of rows of two chroma planes on their way into one interleaved plane.
struct SR_ChromaMergeBand {
  const uint8_t* u;      ///< first sample of the band, pitch width; swap u and v for NV21
  const uint8_t* v;      ///< likewise
  uint8_t* destination;  ///< first pair of the band, rows of 2 * width bytes
  int32_t width;         ///< samples per row, any width
  int32_t firstRow;      ///< the band holds endRow - firstRow rows
  int32_t endRow;
};

/// Interleaves the samples of a band: U column j goes to byte 2j, V column j to byte 2j + 1.
///   band         an SR_ChromaMergeBand
///   threadIndex  not used
/// A job for the thread pool; bands of one plane may run at once.
VELMORA_API void UVNV12TO420_ThreadFunc(void* band, int32_t threadIndex);

#endif  // VELMORA_SR_PLANE_CONVERSION_H
