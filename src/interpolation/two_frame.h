// Fusion of the luma planes of two registered frames; like single_frame.h in two steps.
#ifndef VELMORA_SRC_INTERPOLATION_TWO_FRAME_H
#define VELMORA_SRC_INTERPOLATION_TWO_FRAME_H

#include "interpolation/column_plan.h"

namespace velmora {

class LumaFusion {
 public:
  /// Takes the column plan; results as LumaInterpolation::prepare. Frames have at least one sample.
  Velmora_SR_ESR_RET prepare(const PlaneGeometry& geometry);
  /// Fuses; cannot fail.
  void run(const uint8_t* firstFrame, const uint8_t* secondFrame, uint8_t* destination,
           const int32_t* mapX, const int32_t* mapY) const;

 private:
  PlaneGeometry geometry_ = {};
  FusionColumnsOwner columns_;
};

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_TWO_FRAME_H
