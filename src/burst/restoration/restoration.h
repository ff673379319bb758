// Restoration: shrinks the coefficients of overlapping blocks by the noise that is left in them.
#ifndef VELMORA_SRC_BURST_RESTORATION_RESTORATION_H
#define VELMORA_SRC_BURST_RESTORATION_RESTORATION_H

#include <array>
#include <cstdint>

#include "burst/memory.h"
#include "burst/restoration/pass.h"

namespace velmora::burst {

/// Standard deviation of the noise in each coefficient of orthonormal 8 x 8 and 16 x 16 cosine
/// transforms, in grey levels; row by row, the lowest vertical frequency first.
struct CoefficientNoise {
  std::array<float, 64> of8 = {};
  std::array<float, 256> of16 = {};
};

/// How a plane is restored.
struct RestorationPlan {
  bool fast = false;      ///< 8 x 8 blocks only, stride 3
  bool fine = false;      ///< strides 1 and 2 in place of 2 and 4: for one frame before enlargement
  bool wiener16 = false;  ///< the second pass with 16 x 16 blocks: for strong noise
  /// [n - 1]: the noise where n frames were added up.
  std::array<CoefficientNoise, 8> noise;
  int32_t frames = 1;  ///< entries of `noise` in use
};

/// A part of a plane that is worked on at a time.
struct RestorationWindow {
  Plane<const int16_t> samples;  ///< the window; five fraction bits
  Plane<const uint8_t> frames;   ///< how many frames were added up at each sample, 1 .. 8; same
                                 ///< size, or data null: one everywhere
  int32_t left;                  ///< where the window lies in the plane
  int32_t top;
  Size plane;   ///< blocks lie at multiples of their stride in the plane, the last ones at its end
  Rect wanted;  ///< the part to be restored, in coordinates of the plane
};

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
  const RestorationPlan* plan_;
  PassTables of8_;
  PassTables of16_;
  PlaneBuffer<int16_t> pilot_;
  PassRunner passes_;
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RESTORATION_RESTORATION_H
