// Fusion of the luma planes of two registered frames; like single_frame.h in two steps.
#ifndef VELMORA_SRC_INTERPOLATION_TWO_FRAME_H
#define VELMORA_SRC_INTERPOLATION_TWO_FRAME_H

#include "interpolation/column_plan.h"

namespace velmora {

/// Padded luma planes of two frames, the positions of the first's samples in the second, and where
/// the result goes: rows of outW samples.
struct FusionPlanes {
  const uint8_t* first;
  const uint8_t* second;
  uint8_t* destination;
  const int32_t* mapX;
  const int32_t* mapY;
};

/// One band of output rows: that of the thread with this index, 12..15.
void fuseBand(const PlaneGeometry& geometry, const PhaseTable& table, const FusionColumns& columns,
              const FusionPlanes& planes, int32_t threadIndex);

class LumaFusion {
 public:
  /// Takes the column plan; results as SeparableInterpolation::prepare. Frames have at least one
  /// sample.
  Velmora_SR_ESR_RET prepare(const PlaneGeometry& geometry);
  /// Fuses; cannot fail.
  void run(const FusionPlanes& planes) const;

 private:
  PlaneGeometry geometry_ = {};
  FusionColumnsOwner columns_;
};

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_TWO_FRAME_H
