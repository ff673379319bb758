// Feature extraction: integral image, SURF key points and descriptors of luma planes.
#ifndef VELMORA_SR_FEATURES_H
#define VELMORA_SR_FEATURES_H

#include <cstdint>

#include "velmora_sr/export.h"

/// Room for key points that every caller provides per picture; at most 11999 are ever returned.
constexpr int32_t kMaxKeypoints = 12000;
/// Values per descriptor.
constexpr int32_t kDescriptorLength = 64;

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
  int32_t nOctaveLayers;   ///< default 2
  tagDISCRIPTOR_PARAMS descriptor;
};

/// Feature set of one picture; the arrays are the caller's.
struct ST_IMAGEFEATURES {
  ST_KEYPOINT* keypoints;  ///< room for kMaxKeypoints
  int32_t* descriptors;  ///< room for kMaxKeypoints * 64; point i has the 64 values from 64 * i on
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

#endif  // VELMORA_SR_FEATURES_H
