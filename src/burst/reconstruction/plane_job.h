// One plane of the picture to be reconstructed.
#ifndef VELMORA_SRC_BURST_RECONSTRUCTION_PLANE_JOB_H
#define VELMORA_SRC_BURST_RECONSTRUCTION_PLANE_JOB_H

#include <array>

#include "burst/reconstruction/box_sums.h"
#include "burst/reconstruction/functions.h"
#include "burst/reconstruction/geometry.h"
#include "burst/reconstruction/rules.h"
#include "burst/resampling/samples.h"
#include "velmora_sr/burst.h"

namespace velmora::burst {

inline constexpr int32_t kMostFrames = VELMORA_SR_BURST_FRAMES;

/// The windows that frames are read with, and what divides their sums.
struct SumTables {
  WindowTable lanczos;
  WindowTable gaussian;
  Buffer<int32_t> spreads;       ///< sums of the Gaussian windows
  Buffer<uint16_t> reciprocals;  ///< ShareRow::reciprocals
  int32_t lowestSpread = 0;
  int32_t highestSpread = 0;
};
SumTables sumTables(Memory& memory);

/// ShareRow::steps for a step of back projection.
Buffer<uint16_t> stepTable(Memory& memory, const SumTables& tables, double step);

struct JobFrame {
  const FrameGrids* grids = nullptr;
  SampleSource source;
  Plane<const uint8_t> weights;  ///< half size; data null: 255 everywhere
};

struct PlaneJob {
  GridGeometry geometry;
  Size source = {};  ///< of the frames' planes
  const SumTables* tables = nullptr;
  const BoxSums* box = nullptr;
  const Buffer<uint16_t>* steps = nullptr;
  IterationRule iterations = {};
  int32_t sharpened = 0;  ///< Q10
  /// A picture of one frame is corrected with the windows it is enlarged with, one of several with
  /// those that tell how near a sample is.
  bool alone = false;
  int32_t frames = 0;
  std::array<JobFrame, kMostFrames> frame;
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RECONSTRUCTION_PLANE_JOB_H
