// Registration: from two frames to a homography, its valid area and per-pixel position maps.
//
// RegisterImgOnePlane is what the process driver calls: HomographyRegistration (features, matching,
// RANSAC, refinement, valid area) and, when that succeeds, GetSubPixelPositionGlobalRegist. The
// first frame is the reference: homographies and position maps lead from its pixels to positions in
// the second frame.
//
// Registration is meant for frames of at least 400 x 400 pixels. Key points are looked for in a
// quarter-size picture and scaled back by four; smaller frames are analysed at full size and their
// positions are scaled by four all the same, so that they register only by chance. Every size from
// 1 x 1 up is safe.
//
// Common rules. Pointers are not null and belong to the caller unless a line says otherwise;
// nothing is kept after a call. A failed call leaves its rectangle outputs as the caller had them.
// Failures are logged (LogMsg in logging.h) and the steps print their progress to standard output.
// Only one registration may run at a time in a process: it uses the allocator of the process call
// in progress (zelkParamPrivate.pub in records.h) and the slots 12 to 15 of the thread pool.
#ifndef VELMORA_SR_REGISTRATION_H
#define VELMORA_SR_REGISTRATION_H

#include <cstddef>
#include <cstdint>

#include "velmora_sr/export.h"
#include "velmora_sr/features.h"
#include "velmora_sr/matching.h"
#include "velmora_sr/records.h"

/// Result of HomographyRegistration on any failure.
inline constexpr int32_t VELMORA_SR_RESULT_REGISTRATION_FAILED = 0x7FFFFFFF;

// The names _YUVIM and _WIDTHHEIGHT, although reserved, belong to the interface.

/// A semi-planar frame.
struct _YUVIM {
  int32_t unused;   ///< not read
  uint8_t* luma;    ///< width * height samples
  uint8_t* chroma;  ///< interleaved chroma, right behind the luma plane; not read
};

/// Size of a luma plane in pixels.
struct _WIDTHHEIGHT {
  int32_t width;
  int32_t height;
};

/// What ImgRegistration registers.
struct tagST_IMGREGISTRATION_PARAMS_IN {
  int32_t width;                        ///< of the frames, pixels
  int32_t height;                       ///< of the frames, pixels
  tagST_GETFEATURE_PARAMS_IN features;  ///< the driver's request to feature extraction; not read
  tagST_MATCH_PAIRS pairs;              ///< the correspondences that RANSAC left
};

/// The driver's copy of the frame description; ImgRegistration does not read it.
struct tagST_IMGREGISTRATION_PARAMS_OUT {
  tagST_PIC first;
  tagST_PIC second;
};

/// Job of GetPosThreadFunc: one band of rows of the position maps.
struct PositionBandJob {
  const float* homography;  ///< 9 values, row-major; the last is taken as 1
  int32_t* posY;            ///< vertical map of the whole frame
  int32_t* posX;            ///< horizontal map of the whole frame
  int32_t width;            ///< of the frame
  int32_t firstRow;
  int32_t endRow;  ///< behind the last row
};

#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(sizeof(_YUVIM) == 12);
static_assert(sizeof(_WIDTHHEIGHT) == 8);
static_assert(offsetof(tagST_IMGREGISTRATION_PARAMS_IN, features) == 8);
static_assert(sizeof(PositionBandJob) == 24);
#endif

/// Tells the memory that registration wants beforehand: none, it takes what it needs at run time.
/// @param input  not read
/// @param pub    not read
/// @param size   set to 0
/// @return 0
VELMORA_API int32_t Query_GlobalRegistration(Velmora_SR_CInputImage* input, SR_ParamsPublic* pub,
                                             uint32_t& size);

/// Registers the second frame of a request to the first.
/// @param input  leftData[0] and rightData[0] are the first and the second frame: width * height
///               luma samples each, followed by the chroma
/// @param priv   the library's record; its pub gives the allocator. registFailed is 1 from the
///               start of the call until the registration has succeeded, then 0
/// @param posX   width * height values, row-major: for each pixel of the first frame its column in
///               the second, 16.16. Positions beyond 16 bits of pixels saturate. Not written when
///               the registration fails
/// @param posY   the same for rows
/// @param left,top,right,bottom  the rectangle of the first frame, ends inclusive, that the second
///                               covers
/// @return 0, also when the frames cannot be registered; 6 when input, priv, a frame, a map or pub
///         is null (logged at error priority)
VELMORA_API int32_t RegisterImgOnePlane(Velmora_SR_CInputImage* input, SR_ParamsPrivate* priv,
                                        int32_t* posX, int32_t* posY, int32_t& left, int32_t& top,
                                        int32_t& right, int32_t& bottom);

/// Finds the homography of each part of the first frame.
/// @param second        the frame to be registered
/// @param first         the reference
/// @param size          of both frames
/// @param homographies  one pointer to 9 floats per part, row-major, last value 1; all zeros for a
///                      part that failed
/// @param left,top,right,bottom  the valid area of the last part, ends inclusive
/// @param partMap       width * height part numbers, 0 .. parts - 1, one per pixel of the first
///                      frame; null for one part. Key points outside it belong to no part
/// @param parts         number of parts; below 2 the whole frame is one part and the map is not
///                      read
/// @return 0 when the last part succeeded, whatever became of the others;
/// VELMORA_SR_RESULT_REGISTRATION_FAILED
///         otherwise
VELMORA_API int32_t HomographyRegistration(_YUVIM* second, _YUVIM* first, _WIDTHHEIGHT size,
                                           float** homographies, int32_t& left, int32_t& top,
                                           int32_t& right, int32_t& bottom, uint8_t* partMap,
                                           int32_t parts);

/// Tells the work memory that the driver reserves for ImgRegistration.
/// @param size          set to width * height * 3 / 2 bytes, rounded up to a multiple of 16
/// @param other         set to 0
/// @param width,height  of the frames
/// @return 0
VELMORA_API int32_t ImgRegistration_Query(int32_t* size, int32_t* other, int32_t width,
                                          int32_t height);

/// Refines the homography of the correspondences and accepts it if the frames share enough.
/// @param in          see the record; at least 5 pairs
/// @param out         not read, may be null
/// @param homography  9 values, row-major, last value 1; written on success only
/// @param left,top,right,bottom  the valid area, ends inclusive
/// @return 0; VELMORA_SR_RESULT_TOO_FEW_POINTS (2) for fewer than 5 pairs or a homography that
/// MatrixEstimation
///         rejects; VELMORA_SR_RESULT_ALLOC_FAILED (-1000)
VELMORA_API int32_t ImgRegistration(tagST_IMGREGISTRATION_PARAMS_IN* in,
                                    tagST_IMGREGISTRATION_PARAMS_OUT* out, float* homography,
                                    int32_t& left, int32_t& top, int32_t& right, int32_t& bottom);

/// Fills the position maps of a homography: for each pixel of the first frame its position in the
/// second, 16.16, cut toward zero. Positions beyond 32 bits saturate, and one that is not a number
/// becomes the smallest value: all of them lie outside any frame.
/// @param homography    9 values, row-major; the last is taken as 1
/// @param posY          vertical map, width * height values, row-major
/// @param posX          horizontal map, same shape
/// @param width,height  of the frame; nothing is written when one is below 1
/// Three quarters of the rows run on slots 12 to 14 of the thread pool.
VELMORA_API void GetSubPixelPositionGlobalRegist(float* homography, int32_t* posY, int32_t* posX,
                                                 int32_t width, int32_t height);

/// Thread job of the position maps.
/// @param bandContext  a PositionBandJob
/// @param threadIndex  not read
VELMORA_API void GetPosThreadFunc(void* bandContext, int32_t threadIndex);

#endif  // VELMORA_SR_REGISTRATION_H
