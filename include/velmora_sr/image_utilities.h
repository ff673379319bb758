// Shrinking of depth, image and mask planes, and 3 x 3 morphology.
//
// For planes that accompany a frame, such as a depth map or a mask; the pipeline itself does not
// call these functions. All planes are packed, row by row, a row being as long as the plane is
// wide, and belong to the caller. An empty plane (a width or height below 1, or a null pointer) is
// left alone. Nothing is allocated and nothing kept, so calls on separate planes may run on any
// threads at the same time.
#ifndef VELMORA_SR_IMAGE_UTILITIES_H
#define VELMORA_SR_IMAGE_UTILITIES_H

#include <cstdint>

#include "velmora_sr/export.h"

/// Resamples a depth plane bilinearly and scales its values by outW / inW, the ratio of the widths,
/// so that a depth given as a disparity fits the smaller plane.
///
/// Output sample (i, j) is taken at row i * (inH - 1) / outH and column j * (inW - 1) / outW, in
/// single precision. The divisor is the output size itself, so that the last output sample falls
/// short of the last input sample; a plane that gets smaller by one row and column is cropped.
/// Enlarging works by the same rule.
/// @param src   inH * inW values of any range; one that is not finite spoils the samples around it
/// @param dst   outH * outW values, written; must not overlap src
/// @param inW   columns of src, >= 1
/// @param inH   rows of src, >= 1
/// @param outW  columns of dst, >= 1
/// @param outH  rows of dst, >= 1
VELMORA_API void ShrinkDepthData(const float* src, float* dst, int inW, int inH, int outW,
                                 int outH);

/// Resamples an 8-bit plane bilinearly, at the positions of ShrinkDepthData; values are cut to
/// whole numbers, not rounded.
/// @param src   inH * inW samples, read as unsigned; the other parameters as in ShrinkDepthData
/// @param dst   outH * outW samples, written; must not overlap src
VELMORA_API void ShrinkImage(const char* src, char* dst, int inW, int inH, int outW, int outH);

/// Resamples a mask without making new values: each output sample is one input sample as it is.
///
/// Positions are kept with 12 fraction bits: they start at 0, grow by the step
/// floor((in - 1) / out * 4096 + 0.5) per output sample and are cut to whole samples.
/// @param src   inH * inW samples; the other parameters as in ShrinkDepthData
/// @param dst   outH * outW samples, written; must not overlap src
VELMORA_API void ShrinkBWImage(const unsigned char* src, unsigned char* dst, int inW, int inH,
                               int outW, int outH);

/// Erodes a plane with a 3 x 3 cross: each sample becomes the bitwise AND of itself and its four
/// neighbours, which on masks of 0 and 255 is their minimum. The outermost rows and columns become
/// 0 in every iteration, also when dilating; planes narrower or lower than 3 become 0 altogether.
/// @param image       height * width samples, overwritten with the result
/// @param scratch     room for height * width samples, not overlapping image; its contents are lost
/// @param width       columns, >= 1
/// @param height      rows, >= 1
/// @param iterations  how often to erode; below 1 the plane stays as it is
VELMORA_API void ErodeWith3x3Cross(uint8_t* image, uint8_t* scratch, int32_t width, int32_t height,
                                   int32_t iterations);

/// ErodeWith3x3Cross with all nine samples of the 3 x 3 block.
VELMORA_API void ErodeWith3x3Rect(uint8_t* image, uint8_t* scratch, int32_t width, int32_t height,
                                  int32_t iterations);

/// Dilates a plane with a 3 x 3 cross: the bitwise OR, which on masks is the maximum, in place of
/// the AND of ErodeWith3x3Cross; all else as there, the border of zeros included.
VELMORA_API void DilateWith3x3Cross(uint8_t* image, uint8_t* scratch, int32_t width, int32_t height,
                                    int32_t iterations);

/// DilateWith3x3Cross with all nine samples of the 3 x 3 block.
VELMORA_API void DilateWith3x3Rect(uint8_t* image, uint8_t* scratch, int32_t width, int32_t height,
                                   int32_t iterations);

#endif  // VELMORA_SR_IMAGE_UTILITIES_H
