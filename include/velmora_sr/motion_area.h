// The area that two registered frames share, and an output path that warps a frame onto it.
//
// A homography here is 9 floats, row-major, mapping pixels of the first (reference) frame to the
// second one, with its last entry taken as 1.
#ifndef VELMORA_SR_MOTION_AREA_H
#define VELMORA_SR_MOTION_AREA_H

#include <cstdint>

#include "velmora_sr/export.h"
#include "velmora_sr/features.h"

/// A rectangle of the first frame, in pixels.
struct tagST_REGISTRATION_AREA {
  int32_t startX;  ///< first column
  int32_t startY;  ///< first row
  int32_t realW;   ///< width
  int32_t realH;   ///< height
};

/// Finds the rectangle of first-frame pixels that the second frame covers.
///  - homography: 9 entries. width, height: of both frames, pixels.
///  - left, top, right, bottom: the rectangle, ends inclusive; written when step-by-step shrinking
///    came to an end, also when the rectangle found then fails the last test; else untouched.
/// Returns 0; 2 (logged through LogMsg) when the corners fold, when more than 300 pixels of a
/// dimension would be lost, or when the rectangle leaves the frame. Reentrant.
VELMORA_API int32_t MatrixEstimation(float* homography, int32_t width, int32_t height,
                                     int32_t& left, int32_t& top, int32_t& right, int32_t& bottom);

/// The same, printing "MotionEstimation" first and describing the rectangle by start and size.
///  - area: not null; written as the rectangle of MatrixEstimation is. Returns 0 or 2.
VELMORA_API int32_t MotionEstimation(float* homography, int32_t width, int32_t height,
                                     tagST_REGISTRATION_AREA* area);

/// Paints everything outside a rectangle: luma 255, chroma 128. Rows are handled in pairs from row
/// 0 on, so an odd startY or end reaches one row into the pair.
///  - pic: width, height, data, and two chroma planes of width / 2 bytes for each of height / 2 row
///    pairs (chroma1, chroma2); null planes are skipped. Nothing is written outside the planes.
///  - startX, startY, realW, realH: the rectangle, in luma pixels; may reach outside the picture.
VELMORA_API void FillBlank2(tagST_PIC* pic, int32_t startX, int32_t startY, int32_t realW,
                            int32_t realH);

/// Copies everything outside a rectangle from src to dst, rows in pairs as in FillBlank2.
///  - dst, src: luma in data, one interleaved chroma plane of width bytes for each of height / 2
///  row
///    pairs in chroma1; null planes are skipped. What lies outside either picture is left alone.
VELMORA_API void FillBlank(tagST_PIC* dst, tagST_PIC* src, int32_t startX, int32_t startY,
                           int32_t realW, int32_t realH);

/// Warps src onto the rectangle of dst, bilinear in luma (one projection for each 2 x 2 block),
/// nearest in chroma, after painting the outside with FillBlank2. Prints two progress lines.
///  - reference: its width bounds the columns that are written. src, dst: luma in data, interleaved
///    chroma in chroma1, as in FillBlank. Source positions outside src are clamped to its edge.
///  - homography: 9 entries. area: the rectangle. scratch: not used.
/// Returns 0.
VELMORA_API int32_t AffineTransform(tagST_PIC* reference, tagST_PIC* src, tagST_PIC* dst,
                                    float* homography, tagST_REGISTRATION_AREA* area,
                                    unsigned char* scratch);

#endif  // VELMORA_SR_MOTION_AREA_H
