// Lossless two-to-one scaling with residual planes, and a 3 x 3 linear solver.
//
// For hosts that build multi-resolution processing on top of the library; the pipeline itself does
// not call these functions. Planes are packed, row by row, belong to the caller and must not
// overlap one another. An empty plane (rows or cols below 1, or a null pointer) is left alone.
// Nothing is allocated and nothing kept: calls on separate buffers may run at once on any threads.
#ifndef VELMORA_SR_LOCAL_SCALING_H
#define VELMORA_SR_LOCAL_SCALING_H

#include <cstdint>

#include "velmora_sr/export.h"

/// Halves a plane in both directions and keeps what UpScaleWithError needs to restore it: every
/// sample becomes the residual from the rounded mean of its 2 x 2 block.
///
/// Mind the order: rows come before columns, and both describe `full`, the first plane of the call.
/// @param full      rows * cols samples
/// @param rows      rows of full; the last row of an odd number is left out, its residuals and half
///                  samples are not written
/// @param cols      columns of full; meant to be even, the last column of an odd number is left out
///                  likewise
/// @param half      (rows / 2) * (cols / 2) samples, written: (a + b + c + d + 2) >> 2
/// @param residual  rows * cols values, written: sample minus mean, -255 to 255
/// @return 0
VELMORA_API int32_t DownScaleWithError(const uint8_t* full, int32_t rows, int32_t cols,
                                       uint8_t* half, int16_t* residual);

/// Restores a plane from its half and the residuals: exactly the input of DownScaleWithError when
/// neither was changed.
///
/// Mind that rows and cols describe `half`, the first plane of the call.
/// @param half      rows * cols samples
/// @param rows      rows of half
/// @param cols      columns of half
/// @param full      (2 * rows) * (2 * cols) samples, written: sample plus residual as a 16-bit
///                  number (which wraps), clamped to 0..255
/// @param residual  (2 * rows) * (2 * cols) values, of any size
/// @return 0
VELMORA_API int32_t UpScaleWithError(const uint8_t* half, int32_t rows, int32_t cols, uint8_t* full,
                                     const int16_t* residual);

/// Solves one 3 x 3 system A x = b by Cramer's rule: the determinants in single precision with
/// fused multiply-adds, the final division and product in double. There is no pivoting and no test
/// for bad condition; a nearly singular A gives large values.
/// @param A  9 floats, row by row, not null
/// @param b  3 floats, not null
/// @param x  3 floats, written when solved; may be b; not null
/// The last three arguments are ignored.
/// @return 1 when solved; 0, with x untouched, when the determinant is exactly 0 or a pointer null
VELMORA_API int Solve(float* A, float* b, float* x, int, int, int);

#endif  // VELMORA_SR_LOCAL_SCALING_H
