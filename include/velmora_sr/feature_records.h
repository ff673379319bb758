// Key points, descriptors and what their extraction is asked for.
#ifndef VELMORA_SR_FEATURE_RECORDS_H
#define VELMORA_SR_FEATURE_RECORDS_H

#include <cstddef>
#include <cstdint>

#include "velmora_sr/pictures.h"

/// Room for key points that every caller provides per picture; at most 11999 are ever returned.
inline constexpr int32_t VELMORA_SR_MAX_KEYPOINTS = 12000;
/// Values per descriptor.
inline constexpr int32_t VELMORA_SR_DESCRIPTOR_LENGTH = 64;
/// Result code of the stages of registration: an allocation failed.
inline constexpr int32_t VELMORA_SR_RESULT_ALLOC_FAILED = -1000;
/// Result code of the stages of registration: too few points or matches to go on.
inline constexpr int32_t VELMORA_SR_RESULT_TOO_FEW_POINTS = 2;

/// A key point of the analysed picture.
struct ST_KEYPOINT {
  int32_t reserved1;  ///< neither set nor read
  int32_t reserved2;  ///< neither set nor read
  int32_t x;          ///< column of the centre, Q6 pixels
  int32_t y;          ///< row of the centre, Q6 pixels
  int32_t size;       ///< filter size in whole pixels after scale interpolation
};

struct tagDISCRIPTOR_PARAMS {
  int32_t length;     ///< 64
  int32_t upright;    ///< 1
  int32_t unset;      ///< neither set nor read
  int32_t patchSize;  ///< 20
};

struct tagSURFParams {
  float hessianThreshold;  ///< default 280; 50 or 150 after the luma statistics
  float matchRatio;        ///< default 0.45; at most 0.4 after the luma statistics
  int32_t nOctaves;        ///< default 1
  int32_t nOctaveLayers;   ///< default 2: layers per octave that are searched for maxima
  tagDISCRIPTOR_PARAMS descriptor;
};

/// The responses (determinants of the Hessian) of one filter size.
struct tagOctaveLayer {
  int32_t* det;  ///< cols * rows responses, row-major; only the filter's grid points are written
  int32_t size;  ///< filter size in pixels, (9 + 6 * layer) << octave
  int32_t step;  ///< pixels from one grid point to the next, 1 << octave
  int32_t cols;  ///< picture width / step
  int32_t rows;  ///< picture height / step
};

/// Feature set of one picture; the arrays are the caller's.
struct ST_IMAGEFEATURES {
  ST_KEYPOINT* keypoints;  ///< room for VELMORA_SR_MAX_KEYPOINTS
  int32_t* descriptors;  ///< room for VELMORA_SR_MAX_KEYPOINTS * 64; point i has the 64 values from
                         ///< 64 * i on
  int32_t count;         ///< valid points
};

/// Request of a feature extraction. On the 32-bit device extractFirst is the 82nd word and
/// scaleFactor the 85th.
struct tagST_GETFEATURE_PARAMS_IN {
  tagST_PIC first;          ///< the reference picture
  tagST_PIC second;         ///< the picture to be registered
  int32_t driverWords[65];  ///< the registration driver's
  int32_t extractFirst;     ///< 0: the first set is already filled
  int32_t driverWords2[2];  ///< the registration driver's
  int32_t scaleFactor;      ///< reduction before analysis: 1 or 4
};

#if UINTPTR_MAX == 0xFFFFFFFFu
// On the 32-bit device the layouts are fixed to the byte.
static_assert(sizeof(ST_KEYPOINT) == 20);
static_assert(sizeof(tagDISCRIPTOR_PARAMS) == 16);
static_assert(sizeof(tagSURFParams) == 32);
static_assert(sizeof(tagOctaveLayer) == 20);
static_assert(sizeof(ST_IMAGEFEATURES) == 12);
static_assert(offsetof(tagST_GETFEATURE_PARAMS_IN, extractFirst) == 81 * 4);
static_assert(offsetof(tagST_GETFEATURE_PARAMS_IN, scaleFactor) == 84 * 4);
#endif

#endif  // VELMORA_SR_FEATURE_RECORDS_H
