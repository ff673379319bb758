// Jobs of the parallel forms of feature extraction, for the slots of the thread pool.
#ifndef VELMORA_SR_FEATURE_JOBS_H
#define VELMORA_SR_FEATURE_JOBS_H

#include <cstdint>

#include "velmora_sr/feature_records.h"

/// Job of IntegralMat_partH_multi_impl.
struct IntegralRowsJob {
  uint8_t* src;    ///< the picture
  int32_t* dst;    ///< row 1 of the integral image
  int32_t width;   ///< of the integral image
  int32_t height;  ///< of the integral image
};

/// Job of the CalcLayerDet_0123_neon_multi forms.
struct LayerDetJob {
  const tagIntegralMat* im;
  tagOctaveLayer* layer;
};

/// Job of FindMaximaInLayer_neon_multi.
struct LayerMaximaJob {
  const tagIntegralMat* im;
  const tagSURFParams* params;
  tagOctaveLayer* layers;
  int32_t layerIndex;
  ST_KEYPOINT* out;  ///< room for VELMORA_SR_MAX_KEYPOINTS
  int32_t count;     ///< in and out
};

/// Job of GenerateDiscriptor_Simple_neon_multi_inside.
struct DescriptorsJob {
  const tagST_PIC* pic;
  ST_KEYPOINT* keypoints;
  int32_t* descriptors;
  const tagDISCRIPTOR_PARAMS* params;
  const tagIntegralMat* im;
  int32_t count;   ///< of all points; the slot chooses its share
  int32_t result;  ///< written: 0 or VELMORA_SR_RESULT_ALLOC_FAILED
};

#endif  // VELMORA_SR_FEATURE_JOBS_H
