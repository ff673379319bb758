// How much work the reconstruction does, by noise, scale and number of frames.
#ifndef VELMORA_SRC_BURST_RECONSTRUCTION_RULES_H
#define VELMORA_SRC_BURST_RECONSTRUCTION_RULES_H

#include "burst/reconstruction/reconstruction.h"

namespace velmora::burst {

/// Back projections of one plane.
struct IterationRule {
  int32_t count;  ///< 0 .. kMostIterations
  double step;    ///< above 0, below 2
};
inline constexpr int32_t kMostIterations = 8;

/// What is done to one plane.
struct PlaneRule {
  IterationRule iterations;
  double sharpened;  ///< by how much frames were sharpened
  bool restored;
  double sigma;   ///< the standard deviation of noise that restoration removes
  bool wiener16;  ///< RestorationPlan::wiener16
};

struct Rules {
  int32_t frames;   ///< how many of them are used, the reference first
  int32_t factorX;  ///< samples of the grid for each of the picture, 1 or 2
  int32_t factorY;
  PlaneRule planes[kPlanes];
};

Rules rulesOf(int32_t frames, const ReconstructionSettings& settings);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RECONSTRUCTION_RULES_H
