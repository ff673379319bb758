// Reconstruction: one-frame and two-frame interpolation onto the output grid, and their drivers.
//
// Geometry. A region of the input, (x0, y0) .. (x1, y1) inclusive, is stretched onto the whole
// output grid. Along an axis the step is (end - start) * 65536 / (outSize - 1), truncated, in 16.16
// fixed point, 0 for an axis of fewer than two output samples; output sample k lies at start + k *
// step. The whole part selects the source sample, the fraction a phase of the installed kernel
// tables (kernel_tables.h). Chroma planes follow the same rule with all sizes and positions halved.
//
// Source planes are padded (plane_conversion.h) by half the kernel size, 2 samples. Reads are
// clamped to the padded plane: no region, however wrong, reads outside.
//
// Allocation. All blocks come from the allocator pair of the handle, those of the drivers from
// priv->pub and those of the plane functions from zelkParamPrivate.pub, and go back before the call
// returns; column positions and taps, a few bytes per output column, live on the C heap. What a
// function needs is taken before it writes, so that a function that fails has written nothing.
//
// Threads. Each function is called by one thread at a time and returns when its work is done; it
// runs its bands on fixed slots of the thread pool (on the calling thread if the pool is stopped).
#ifndef VELMORA_SR_INTERPOLATION_H
#define VELMORA_SR_INTERPOLATION_H

#include <cstdint>

#include "velmora_sr/export.h"
#include "velmora_sr/records.h"

// --- One frame ---

/// Resamples one padded planar 4:2:0 image onto the output grid: luma with the sharp 1D table, then
/// chroma with the plain one.
///   ySource, uSource, vSource  padded planes: (inW + pad) * (inH + pad) luma samples, chroma with
///                              inW >> 1 and inH >> 1 and the same border; not null
///   yDestination, ...          outH rows of outW samples with a row pitch of outW rounded up to a
///                              multiple of 8, chroma with outW >> 1 and outH >> 1; the samples
///                              between outW and the pitch are not written; not null, no overlap
///   pad                        kernel size, 4 with these tables; made even; at least 4
///   unused                     passed on and never read
///   inW, inH, outW, outH       0 .. 2^28; a plane without output samples writes nothing
///   x0, y0, x1, y1             region in unpadded luma samples, any values; halved for chroma,
///                              truncating
/// Returns 0; SR_RET_LOAD_CONFIG_FAILED when no kernel tables are installed; SR_RET_ALLOC_FAILED
/// when a block cannot be had; SR_RET_PARAMS_OUT_OF_RANGE for other sizes or a null plane. A
/// failure is logged as an error, and nothing is written.
VELMORA_API int32_t ShiftInvariantIntepolation1Frame(
    const uint8_t* ySource, const uint8_t* uSource, const uint8_t* vSource, uint8_t* yDestination,
    uint8_t* uDestination, uint8_t* vDestination, int32_t pad, int32_t unused, int32_t inW,
    int32_t inH, int32_t outW, int32_t outH, int32_t x0, int32_t y0, int32_t x1, int32_t y1);

/// The luma plane alone; parameters and results as above.
VELMORA_API int32_t ShiftInvariantIntepolationSeparateY1FrameLUTFix(
    const uint8_t* source, uint8_t* destination, int32_t pad, int32_t unused, int32_t inW,
    int32_t inH, int32_t outW, int32_t outH, int32_t x0, int32_t y0, int32_t x1, int32_t y1);

/// The two chroma planes alone. All sizes and positions are those of the chroma planes: nothing is
/// halved here.
VELMORA_API int32_t ShiftInvariantIntepolationSeparateUV1FrameLUTFix(
    const uint8_t* uSource, const uint8_t* vSource, uint8_t* uDestination, uint8_t* vDestination,
    int32_t pad, int32_t unused, int32_t inW, int32_t inH, int32_t outW, int32_t outH, int32_t x0,
    int32_t y0, int32_t x1, int32_t y1);

/// What the four bands of the luma passes share.
struct SR_LumaInterpolationBands {
  const uint8_t* source;  ///< padded plane
  uint8_t* destination;   ///< written by the vertical pass
  int32_t pad;            ///< kernel size; the border is pad / 2
  int32_t inW, inH, outW, outH;
  int32_t x0, y0, x1, y1;
  int16_t* intermediate;     ///< (inH + pad) rows of outW: row r is padded row r filtered
  int32_t destinationPitch;  ///< bytes from row to row; 0: outW rounded up to 8
};

/// The same for both chroma planes, all sizes and positions being those of the chroma planes.
struct SR_ChromaInterpolationBands {
  const uint8_t* uSource;
  const uint8_t* vSource;
  uint8_t* uDestination;
  uint8_t* vDestination;
  int32_t pad;
  int32_t inW, inH, outW, outH;
  int32_t x0, y0, x1, y1;
  int16_t* uIntermediate;
  int16_t* vIntermediate;
  int32_t destinationPitch;
};

/// One band of a pass: horizontal (H) from the source into the intermediate plane, vertical (V)
/// from there into the destination. All bands of H must be done before one of V begins.
///   bands        an SR_LumaInterpolationBands (Y) or SR_ChromaInterpolationBands (UV), valid as
///                the plane functions above have it; shared by the four bands and only read
///   threadIndex  12 (the caller's band, with the remainder rows, at the top) or the slot, 13..15;
///                any other index does nothing
/// Jobs for the thread pool; the bands of one pass write disjoint rows and may run at once. Each
/// works out the columns of the plane for itself, in scratch from the C heap. Without kernel tables
/// they do nothing; a band that gets no scratch logs an error and writes nothing.
VELMORA_API void InterPolationY1Frame_H_ThreadFunc(void* bands, int32_t threadIndex);
VELMORA_API void InterPolationY1Frame_V_ThreadFunc(void* bands, int32_t threadIndex);
VELMORA_API void InterPolationUV1Frame_H_ThreadFunc(void* bands, int32_t threadIndex);
VELMORA_API void InterPolationUV1Frame_V_ThreadFunc(void* bands, int32_t threadIndex);

// --- Two frames ---

/// Fuses two padded planar 4:2:0 images, the second registered to the first, onto the output grid.
/// Luma is a normalised sum of 4 x 4 samples of the first frame and 4 x 4 of the second at the
/// position that the maps give, both weighted by the sharp 2D table; where that position lies
/// outside the second frame, the first counts alone. Chroma comes from the first frame as in
/// ShiftInvariantIntepolation1Frame.
///   ySource1, ...  padded planes of the first frame, as above; not null
///   ySource2       padded luma of the second frame, same size; not null
///   uSource2, ...  not read
///   yDestination   outH rows of outW samples, without gaps (unlike the one-frame functions)
///   uDestination, vDestination   as in ShiftInvariantIntepolation1Frame, pitch rounded up to 8
///   taps           kernel size, 4 with these tables; made even; at least 4
///   unused, unusedFactor         not read
///   inW, inH       1 .. 2^28
///   outW, outH     0 .. 2^28
///   mapX, mapY     inW * inH positions in the second frame in 16.16, one per sample of the first
///                  frame, any values; the fraction of the output position is added; not null
///   x0, y0, x1, y1 region in unpadded luma samples of the first frame, any values
/// Results as ShiftInvariantIntepolation1Frame.
VELMORA_API int32_t ShiftInvariantIntepolation2Frame(
    const uint8_t* ySource1, const uint8_t* uSource1, const uint8_t* vSource1,
    const uint8_t* ySource2, const uint8_t* uSource2, const uint8_t* vSource2,
    uint8_t* yDestination, uint8_t* uDestination, uint8_t* vDestination, int32_t taps,
    int32_t unused, int32_t inW, int32_t inH, int32_t outW, int32_t outH, float unusedFactor,
    const int32_t* mapX, const int32_t* mapY, int32_t x0, int32_t y0, int32_t x1, int32_t y1);

/// The luma planes alone; parameters and results as above.
VELMORA_API int32_t ShiftInvariantIntepolationHighPerformanceFastY2FrameLUTFix(
    const uint8_t* ySource1, const uint8_t* ySource2, uint8_t* destination, int32_t taps,
    int32_t unused, int32_t inW, int32_t inH, int32_t outW, int32_t outH, float unusedFactor,
    const int32_t* mapX, const int32_t* mapY, int32_t x0, int32_t y0, int32_t x1, int32_t y1);

/// What the four bands of the fusion share.
struct SR_FusionBands {
  const uint8_t* firstFrame;   ///< padded luma planes
  const uint8_t* secondFrame;  //
  uint8_t* destination;        ///< rows of outW samples
  int32_t inW, inH, outW, outH;
  const int32_t* mapX;
  const int32_t* mapY;
  int32_t taps;  ///< kernel size; the border is taps / 2
  int32_t x0, y0, x1, y1;
};

/// One band of output rows.
///   bands        an SR_FusionBands, valid as the plane function has it; only read
///   threadIndex  12 (the caller's band, with the remainder rows, at the top) or the slot, 13..15;
///                any other index does nothing
/// A job for the thread pool like those of the one-frame passes: the bands write disjoint rows.
VELMORA_API void InterPolationY_ThreadFunc(void* bands, int32_t threadIndex);

// --- Drivers ---

/// Enlarges one frame, without registration: converts it to padded planes, runs
/// ShiftInvariantIntepolation1Frame's arithmetic, writes luma and chroma to the output.
///   input   leftData[0] is the frame: luma, then chroma of 2 * (width / 2) bytes in height / 2
///           rows (or two planes); it is only read. Format 4 (NV12), 5 (NV21) or 0 (planar). Frames
///           from 2 x 2; a frame one sample wide or high counts as grey.
///   output  data takes the frame of priv->pub's srImageWidth x srImageHeight without row padding,
///           in the input's format
///   priv    pub (allocator pair, output size, valid region) and kernelTaps (4) are read, nothing
///           is changed
/// A valid region outside the frame or below 100 x 100 samples is replaced, for this call, by an
/// inset of 150 samples with even ends; both are logged as errors.
/// Planar frames keep a long-standing flaw: their chroma rows come out shifted against each other.
/// Pass them as pairs.
/// Returns 0; otherwise, logged as an error, 7 for another format, SR_RET_LOAD_CONFIG_FAILED (no
/// kernel tables installed), SR_RET_ALLOC_FAILED (a block is missing) or SR_RET_PARAMS_OUT_OF_RANGE
/// (a null pointer, or a size below 1 or above 2^28). Only a result of 0 has written to the output;
/// all blocks go back in any case. Blocks, in this order: padded luma, padded U, padded V, output
/// U, output V; then 16-bit planes of output width by padded height for luma, U and V.
VELMORA_API int32_t SRInterpolation_Single(Velmora_SR_CInputImage* input,
                                           Velmora_SR_COutPutImage* output, SR_ParamsPrivate* priv);

/// Reconstructs one frame from two registered ones: converts both to padded planes, runs
/// ShiftInvariantIntepolation2Frame's arithmetic, writes luma and chroma to the output.
///   input   leftData[0] and rightData[0] are the frames, format 4 or 5; they are only read
///   output  as above
///   priv    as above; registFailed not 0 enlarges the first frame alone and needs neither
///           rightData nor maps; otherwise posMap1 (horizontal) and posMap2 (vertical) hold
///           width * height positions in the second frame, 16.16
/// The valid region is taken as it is; the process driver has checked it.
/// Pairs of NV12 frames are converted on slots 0, 1 and 2 and the caller, of NV21 on the caller
/// alone. Returns 0; 1 for another format (logged "UnSupport image format!\n"), whether
/// registration failed or not; otherwise as SRInterpolation_Single. Only a result of 0 has written
/// to the output. Blocks, in this order: padded luma, U and V of the first frame, the same of the
/// second, output U, output V; then 16-bit planes for U and V. With registFailed the blocks of
/// SRInterpolation_Single.
VELMORA_API int32_t SRInterpolation(Velmora_SR_CInputImage* input, Velmora_SR_COutPutImage* output,
                                    SR_ParamsPrivate* priv);

/// Reports the working memory that the drivers need at creation: none, they take theirs per call.
///   input, pub  not read
///   size        set to 0
/// Returns 0.
VELMORA_API int32_t Query_Interpolation(Velmora_SR_CInputImage* input, SR_ParamsPublic* pub,
                                        uint32_t& size);

#endif  // VELMORA_SR_INTERPOLATION_H
