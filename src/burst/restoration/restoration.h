// Restoration: shrinks the coefficients of overlapping blocks by the noise that is left in them.
#ifndef VELMORA_SRC_BURST_RESTORATION_RESTORATION_H
#define VELMORA_SRC_BURST_RESTORATION_RESTORATION_H

#include <cstdint>
#include <optional>

#include "burst/memory.h"
#include "burst/restoration/low_band.h"
#include "burst/restoration/pass.h"
#include "burst/restoration/plan.h"

namespace velmora::burst {

/// How far around `wanted` the window must reach, but for the borders of the plane, so that the
/// result does not depend on where windows lie.
int32_t restorationHalo(const RestorationPlan& plan);

/// The scratch of one worker.
class Restorer {
 public:
  /// For windows of up to `largest` samples. Throws std::bad_alloc.
  Restorer(Memory& memory, const RestorationPlan& plan, Size largest);
  /// Writes the wanted part to `out`, whose sample (0, 0) is the first wanted one. The plan is the
  /// one of the constructor, still alive. `out` must not overlap the window.
  void run(const RestorationWindow& window, Plane<int16_t> out);

 private:
  /// The wanted samples as the small blocks leave them, valid until the next call.
  PlanePart<const int16_t> restoreBlocks(const RestorationWindow& window, const Rect& wanted);

  const RestorationPlan* plan_;
  PassTables of8_;
  PassTables of16_;
  PlaneBuffer<int16_t> samples_;  ///< the pilot, then the result
  PassRunner passes_;
  std::optional<LowBand> low_;
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RESTORATION_RESTORATION_H
