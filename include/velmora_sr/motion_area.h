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

/// Finds the rectangle of first-frame pixels that the second frame covers, shrunk until its corners
/// map into the second frame. On frames of 300 pixels and less nothing bounds the loss: the
/// rectangle may come out empty (ends before starts).
/// @param homography    9 entries
/// @param width,height  of both frames, pixels
/// @param left,top,right,bottom  the rectangle, ends inclusive; untouched on a rejection
/// @return 0; 2 (logged) when the corners fold, when the frames do not overlap, when more than 300
///         pixels of a dimension would be lost, or when shrinking comes to no end
/// Any thread.
VELMORA_API int32_t MatrixEstimation(float* homography, int32_t width, int32_t height,
                                     int32_t& left, int32_t& top, int32_t& right, int32_t& bottom);

/// Calls MatrixEstimation and describes the rectangle by its start and size. Prints
/// "MotionEstimation" to standard output first.
/// @param homography    9 entries
/// @param width,height  of both frames, pixels
/// @param area          not null; untouched on a rejection
/// @return 0 or 2, as MatrixEstimation
VELMORA_API int32_t MotionEstimation(float* homography, int32_t width, int32_t height,
                                     tagST_REGISTRATION_AREA* area);

/// Paints everything outside a rectangle: luma 255, chroma 128. Rows are handled in pairs from row
/// 0 on, so an odd startY or end reaches one row into the pair.
/// @param pic            width, height, data, and two chroma planes (chroma1, chroma2) of width / 2
///                       bytes for each of height / 2 row pairs; null planes are skipped. Nothing
///                       is written outside the planes
/// @param startX,startY  first column and row of the rectangle, in luma pixels
/// @param realW,realH    its size; the rectangle may reach outside the picture
VELMORA_API void FillBlank2(tagST_PIC* pic, int32_t startX, int32_t startY, int32_t realW,
                            int32_t realH);

/// Copies everything outside a rectangle from src to dst, rows in pairs as in FillBlank2.
/// @param dst,src  luma in data, one interleaved chroma plane of width bytes for each of height / 2
///                 row pairs in chroma1; null planes are skipped. Pictures of different widths are
///                 left alone; of the rows those are copied that both have
/// @param startX,startY,realW,realH  the rectangle, as in FillBlank2
VELMORA_API void FillBlank(tagST_PIC* dst, tagST_PIC* src, int32_t startX, int32_t startY,
                           int32_t realW, int32_t realH);

/// Warps src onto the rectangle of dst, bilinear in luma (one projection for each 2 x 2 block),
/// nearest in chroma, after painting the outside with FillBlank2. Prints two progress lines. See
/// G. Wolberg, "Digital Image Warping", 1990, on inverse mapping.
/// @param reference   its width bounds the columns that are written; not null
/// @param src,dst     not null; luma in data, interleaved chroma in chroma1, as in FillBlank.
///                    Positions outside src are clamped to its edge
/// @param homography  9 entries, dst to src
/// @param area        the rectangle of dst; not null. What lies outside dst is left out
/// @param scratch     not used, may be null
/// @return 0, also when a luma plane is null or a picture has no pixels: nothing is warped then
VELMORA_API int32_t AffineTransform(tagST_PIC* reference, tagST_PIC* src, tagST_PIC* dst,
                                    float* homography, tagST_REGISTRATION_AREA* area,
                                    unsigned char* scratch);

#endif  // VELMORA_SR_MOTION_AREA_H
