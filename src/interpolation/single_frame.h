// One-frame interpolation of a luma plane or a pair of chroma planes, in two steps: prepare() takes
// everything that can be refused, run() cannot fail. A driver prepares all planes before the first
// output sample is written.
#ifndef VELMORA_SRC_INTERPOLATION_SINGLE_FRAME_H
#define VELMORA_SRC_INTERPOLATION_SINGLE_FRAME_H

#include "interpolation/allocation.h"
#include "interpolation/column_plan.h"
#include "interpolation/separable_passes.h"

namespace velmora {

class LumaInterpolation {
 public:
  /// Takes the column plan and the intermediate plane. SR_RET_SUCCEED, SR_RET_LOAD_CONFIG_FAILED
  /// (no kernel tables), SR_RET_PARAMS_OUT_OF_RANGE (geometry) or SR_RET_ALLOC_FAILED.
  Velmora_SR_ESR_RET prepare(const PlaneGeometry& geometry, const Allocator& allocator);
  /// Both passes, then returns the intermediate plane. With `strips.rows` the source is only the
  /// memory that strips of the frame's rows pass through.
  void run(const uint8_t* source, uint8_t* destination, int32_t destinationPitch,
           const StripWork& strips = {});

 private:
  PlaneGeometry geometry_ = {};
  ColumnPlanOwner columns_;
  ProcessBuffer<int16_t> intermediate_;
};

/// The geometry is that of the chroma planes.
class ChromaInterpolation {
 public:
  Velmora_SR_ESR_RET prepare(const PlaneGeometry& geometry, const Allocator& allocator);
  void run(const uint8_t* uSource, const uint8_t* vSource, uint8_t* uDestination,
           uint8_t* vDestination, int32_t destinationPitch, const StripWork& strips = {});

 private:
  PlaneGeometry geometry_ = {};
  ColumnPlanOwner columns_;
  ProcessBuffer<int16_t> uIntermediate_;
  ProcessBuffer<int16_t> vIntermediate_;
};

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_SINGLE_FRAME_H
