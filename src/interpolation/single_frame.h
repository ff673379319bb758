// One-frame interpolation of a luma plane or a pair of chroma planes, in two steps: prepare() takes
// everything that can be refused, run() cannot fail. A driver prepares all planes before the first
// output sample is written.
#ifndef VELMORA_SRC_INTERPOLATION_SINGLE_FRAME_H
#define VELMORA_SRC_INTERPOLATION_SINGLE_FRAME_H

#include <array>

#include "interpolation/column_plan.h"
#include "interpolation/separable_passes.h"
#include "memory/call_buffer.h"

namespace velmora {

/// Planes that take the two passes together: luma is one, with the sharp table, chroma two, with
/// the plain one.
class SeparableInterpolation {
 public:
  enum class Planes { luma = 1, chroma = 2 };

  explicit SeparableInterpolation(Planes planes) : planes_(planes) {}

  /// Takes the intermediate planes and the column plan. The geometry is that of the planes
  /// themselves. SR_RET_SUCCEED, SR_RET_LOAD_CONFIG_FAILED (no kernel tables),
  /// SR_RET_PARAMS_OUT_OF_RANGE (geometry) or SR_RET_ALLOC_FAILED.
  Velmora_SR_ESR_RET prepare(const PlaneGeometry& geometry, const Allocator& allocator);
  /// Both passes, then returns the intermediate planes. With `strips.rows` the sources are only the
  /// memory that strips of the frame's rows pass through. Luma has the first of each pair alone.
  void run(const std::array<const uint8_t*, 2>& source, const std::array<uint8_t*, 2>& destination,
           int32_t destinationPitch, const StripWork& strips = {});

 private:
  [[nodiscard]] PhaseTable table() const {
    return planes_ == Planes::luma ? sharpTable() : plainTable();
  }

  Planes planes_;
  PlaneGeometry geometry_ = {};
  ColumnPlanOwner columns_;
  std::array<CallBuffer<int16_t>, 2> intermediate_;
};

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_SINGLE_FRAME_H
