// Registration of two frames on one level of their pyramids.
#ifndef VELMORA_SRC_BURST_ALIGNMENT_LEVEL_ALIGNER_H
#define VELMORA_SRC_BURST_ALIGNMENT_LEVEL_ALIGNER_H

#include "burst/alignment/normal_equations.h"
#include "burst/alignment/pixel_set.h"
#include "burst/alignment/residual_bins.h"
#include "burst/motion.h"

namespace velmora::burst {

/// What makes one frame look like the reference.
struct Alignment {
  Homography homography;  ///< of frames' samples, whatever the level
  double gain = 1;
  double bias = 0;
};

/// A homography of frames as one of a level, whose samples are 2^level of the frames'.
Homography atLevel(const Homography& homography, int32_t level);

/// Row y of a level of `size`: where its pixels lie in a plane of another frame, by a homography of
/// the level.
WarpedRow warpedRow(const Homography& homography, Size size, int32_t y,
                    const Plane<const int16_t>& samples, const Plane<const uint8_t>& masked);

/// How well an alignment fits.
struct Fit {
  double score = 0;   ///< mean of r^2 q
  double misfit = 0;  ///< the score as a distance: by how many pixels of the level pictures with
                      ///< these gradients would have to be off to differ so much
  double pixels = 0;  ///< share of the pixels that have a residual
};

/// A level of the reference and the same level of a frame.
class LevelAligner {
 public:
  /// Throws std::bad_alloc and Cancelled, as all that follow do.
  LevelAligner(Memory& memory, Workers& workers, const Pyramid& reference, const Pyramid& frame,
               int32_t level);

  /// Improves an alignment by up to `steps` steps of iteratively weighted least squares, fewer
  /// when it moves no more. `photometric`: gain and bias, too. `weight`: of the call's work.
  void align(Alignment& alignment, Model model, int32_t steps, bool photometric, double weight);
  [[nodiscard]] Fit fit(const Alignment& alignment);
  /// Root mean square of residuals, each limited to 32 grey levels.
  [[nodiscard]] double residual(const Alignment& alignment);

 private:
  [[nodiscard]] int32_t rowStep() const;
  template <typename Row>
  void forSampledRows(const Row& row);
  double robustScale(const Alignment& alignment);
  NormalEquations equations(const Alignment& alignment, double limit, bool photometric,
                            double weight);
  WarpedRow warped(const Homography& atThisLevel, const Alignment& alignment, int32_t y) const;
  bool apply(const std::array<double, kParameters>& step, Alignment& alignment) const;

  Workers& workers_;
  int32_t level_;
  const PyramidLevel& frame_;
  PixelSet pixels_;
  PlaneBuffer<float> residuals_;  ///< a row for each worker
  PlaneBuffer<float> warped_;     ///< likewise
  Buffer<RowSums> rowSums_;       ///< one for each row
  ResidualBins bins_;
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_ALIGNMENT_LEVEL_ALIGNER_H
